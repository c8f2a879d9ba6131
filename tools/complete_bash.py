"""Completion for bash, which needs nothing but bash: one function a program, with what it goes by in tables beside it."""

HEAD = """\
# bash completion of {program}. tools/generate.py writes this file.

"""

# Joins what bash has split at "=" and ":", finds the command, the option whose value comes next and the number of the
# argument, and then asks the tables.
ENGINE = r"""
# Sets COMPREPLY to those of the words that begin with what is typed.
_@P@_offer() # TYPED WORD...
{
    local typed=$1 word cut='' signs=${COMP_WORDBREAKS//[!=:]/}
    shift
    [[ $signs && $typed == *[$signs]* ]] && cut=${typed%"${typed##*["$signs"]}"} # bash has the rest alone
    COMPREPLY=()
    for word; do
        [[ $word == "$typed"* ]] && COMPREPLY+=("${word#"$cut"}")
    done
    return 0
}

_@P@_offer_files() # TYPED
{
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "${1##*=}")
}

# FORM is a line of the tables below; ARGUMENT the one before, for "KEY VALUE".
_@P@_offer_form() # TYPED FORM ARGUMENT
{
    local typed=$1 form=$2 before=$3 words
    case $form in
    file) _@P@_offer_files "$typed" ;;
    program) mapfile -t COMPREPLY < <(compgen -c -- "$typed") ;;
    key) mapfile -t words < <(_@P@_keys) && _@P@_offer "$typed" "${words[@]}" ;;
    setting)
        if [[ $typed == *=* ]]; then
            read -ra words < <(_@P@_values "${typed%%=*}")
            _@P@_offer "$typed" "${words[@]/#/${typed%%=*}=}"
        elif [[ $before && $before != *=* ]]; then
            read -ra words < <(_@P@_values "$before")
            _@P@_offer "$typed" "${words[@]}"
        else
            mapfile -t words < <(_@P@_keys) && _@P@_offer "$typed" "${words[@]}"
            compopt -o nospace 2>/dev/null
        fi
        ;;
    listed\ *)
        read -ra words <<<"${form#listed }"
        local head=
        [[ $typed == *,* ]] && head=${typed%,*},
        _@P@_offer "$typed" "${words[@]/#/$head}"
        ;;
    words\ *) read -ra words <<<"${form#words }" && _@P@_offer "$typed" "${words[@]}" ;;
    esac
    return 0
}

# Sets words to what has been typed, up to the cursor.
_@P@_read_words()
{
    local i word glued=''
    words=()
    for ((i = 0; i <= COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ $i -gt 1 && ($glued || $word == [=:]*) && (-n $word || ${COMP_LINE:0:COMP_POINT} != *[[:space:]]) ]]; then
            words[-1]+=$word
        else
            words+=("$word")
        fi
        glued=
        [[ $word == *[=:] && $i -gt 0 ]] && glued=yes
    done
    [[ $i -gt 1 && ${#words[@]} -eq 1 ]] && words+=("")
    return 0
}

_@P@()
{
    local -a words
    local i word form command='' option='' many='' before='' number=1 typed
    COMPREPLY=()
    _@P@_read_words
    typed=${words[-1]}
    for ((i = 1; i < ${#words[@]} - 1; i++)); do
        word=${words[i]}
        if [[ $option && $word != -* ]]; then
            [[ $many ]] || option=
        elif [[ $word == -* ]]; then
            option=$word many=''
            form=$(_@P@_value "$command" "$word")
            [[ $form == many\ * ]] && many=yes
            [[ $form && $word != *=* ]] || option=
        elif [[ ! $command ]] && _@P@_is_command "$word"; then
            command=$word
        else
            before=$word number=$((number + 1))
        fi
    done
    if [[ $typed == --*=* ]]; then
        form=$(_@P@_value "$command" "${typed%%=*}")
        form=${form#many }
        if [[ $form == words\ * ]]; then
            read -ra words <<<"${form#words }"
            _@P@_offer "$typed" "${words[@]/#/${typed%%=*}=}"
        else
            _@P@_offer_form "${typed#*=}" "$form" ''
        fi
    elif [[ $option && $typed != -* ]]; then
        form=$(_@P@_value "$command" "$option")
        _@P@_offer_form "$typed" "${form#many }" ''
    elif [[ $typed == -* ]]; then
        read -ra words < <(_@P@_options "$command")
        _@P@_offer "$typed" "${words[@]}"
    else
        _@P@_offer_form "$typed" "$(_@P@_argument "$command" "$number")" "$before"
    fi
}

complete -F _@P@ @PROGRAM@
"""


def form(argument):
    if argument.words:
        return ("listed " if argument.listed else "words ") + " ".join(argument.words)
    return argument.kind or "any"


def cases(name, what, asked, rows):
    """A function that prints what stands for its arguments."""
    lines = [f"{name}() # {what}\n{{\n    case {asked} in\n"]
    lines += [f"    {pattern}) echo '{text}' ;;\n" for pattern, text in rows]
    return "".join(lines + ["    esac\n}\n\n"])


def value_form(value):
    return ("many " if value.many and not value.listed else "") + form(value)


def values_of(command, own):
    return [("|".join(f"'{own} {name}'" for name in option.names), value_form(option.value))
            for option in command.options if option.value]


def arguments_of(command, own):
    rows = [(f"'{own} '*" if argument.many else f"'{own} {number}'", form(argument))
            for number, argument in enumerate(command.arguments, 1)]
    return [row for row in rows if row[1] != "any"]


def key_tables(name, keys):
    rows = [(key, " ".join(words)) for key, words in keys.items() if words]
    together = {}
    for key, words in rows:
        together.setdefault(words, []).append(key)
    list_of_keys = "".join(f"{key}\n" for key in keys)
    return (f"{name}_keys()\n{{\n    cat <<'KEYS'\n{list_of_keys}KEYS\n}}\n\n" +
            cases(f"{name}_values", "KEY: what it may be", '"$1"',
                  [(" | ".join(several), words) for words, several in together.items()]))


def script(program, command, keys):
    """The whole file. keys: every key's name with the words that it may be."""
    name = "_" + program.replace("-", "_")
    all_commands = [("", command)] + [(each.name, each) for each in command.commands]
    commands = " ".join(each.name for each in command.commands)
    options = [(f"'{own}'", " ".join(name for option in one.options for name in option.names)) for own, one in all_commands]
    values = [row for own, one in all_commands for row in values_of(one, own)]
    arguments = [row for own, one in all_commands for row in arguments_of(one, own)]
    if commands:
        arguments.insert(0, ("' 1'", "words " + commands))
    uses_keys = any(argument.kind in ("key", "setting") for _, one in all_commands for argument in one.arguments)
    text = HEAD.format(program=program)
    text += f"{name}_is_command() # WORD\n{{\n    [[ ' {commands} ' == *\" $1 \"* ]]\n}}\n\n"
    text += cases(name + "_options", "COMMAND", '"$1"', options)
    text += cases(name + "_value", "COMMAND OPTION: what its value is", '"$1 $2"', values)
    text += cases(name + "_argument", "COMMAND NUMBER: what the argument is", '"$1 $2"', arguments)
    text += key_tables(name, keys if uses_keys else {})
    return text.rstrip("\n") + "\n" + ENGINE.replace("@PROGRAM@", program).replace("_@P@", name)
