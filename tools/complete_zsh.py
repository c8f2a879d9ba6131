"""Completion for zsh, by _arguments."""

HEAD = """\
#compdef {program}
# zsh completion of {program}. tools/generate.py writes this file.

"""

KEYS = """
_@P@_keys()
{
    local -a keys=(
@KEYS@
    )
    compadd "$@" -a keys
}

# What the key $1 may be; the other words are compadd's.
_@P@_values()
{
    local -a words=()
    case $1 in
@VALUES@
    esac
    shift
    compadd "$@" -a words
}

# KEY=VALUE, or KEY and then VALUE.
_@P@_setting()
{
    if compset -P '*='; then
        _@P@_values "${IPREFIX%=}" "$@"
    elif [[ CURRENT -gt 2 && $words[CURRENT-1] != (*=*|-*) ]]; then
        _@P@_values "$words[CURRENT-1]" "$@"
    else
        _@P@_keys -S '' "$@"
    fi
}
"""


def quoted(text):
    return "'" + text.replace("'", "'\\''") + "'"


def told(text):
    """A text inside the words that zsh is given."""
    return "".join("\\" + sign if sign in "[]:\\" else sign for sign in text)


def action(argument, name):
    if argument.words and argument.listed:
        return f" _values -s , {argument.name} " + " ".join(argument.words)
    if argument.words:
        return "(" + " ".join(argument.words) + ")"
    return {"file": "_files", "program": "_command_names -e", "key": f"{name}_keys", "setting": f"{name}_setting"}.get(
        argument.kind, " ")


def option_specs(option, name):
    value = ""
    if option.value:
        many = "*:" if option.value.many and not option.value.listed else ""
        value = f":{many}{told(option.value.name)}:{action(option.value, name)}"
    about = f"[{told(option.about)}]"
    if len(option.names) == 1:
        sign = "=" if option.value and not (option.value.many and not option.value.listed) else ""
        return [quoted(option.name + sign + about + value)]
    others = "(" + " ".join(option.names) + ")"
    return [quoted(f"{others}{one}{about}{value}") for one in option.names]


def argument_specs(command, name):
    for number, argument in enumerate(command.arguments, 1):
        place = "*" if argument.many else f"{number}" if argument.required else f"{number}:"
        yield quoted(f"{place}:{told(argument.name)}:{action(argument, name)}")


def arguments_call(command, name, indent):
    specs = [spec for option in command.options for spec in option_specs(option, name)]
    specs += argument_specs(command, name)
    return f" \\\n{indent}    ".join([f"{indent}_arguments", *specs]) + "\n"


def with_commands(program, command, name):
    listed = "".join(f"        {quoted(one.name + ':' + told(one.about))}\n" for one in command.commands)
    options = " \\\n        ".join(spec for option in command.options for spec in option_specs(option, name))
    cases = "".join(f"        ({one.name})\n" + arguments_call(one, name, "            ") + "            ;;\n"
                    for one in command.commands)
    return f"""{name}()
{{
    local curcontext="$curcontext" state line
    typeset -A opt_args
    local -a commands=(
{listed}    )
    _arguments -C \\
        {options} \\
        '1:command:->command' '*::argument:->argument' && return
    case $state in
    (command) _describe -t commands '{program} command' commands ;;
    (argument)
        curcontext="${{curcontext%:*}}-$words[1]:"
        case $words[1] in
{cases}        esac
        ;;
    esac
}}
"""


def key_functions(name, keys):
    together = {}
    for key, words in keys.items():
        if words:
            together.setdefault(" ".join(words), []).append(key)
    values = "\n".join(f"    ({'|'.join(several)}) words=({words}) ;;" for words, several in together.items())
    return (KEYS.replace("_@P@", name).replace("@KEYS@", "\n".join(f"        {key}" for key in keys))
            .replace("@VALUES@", values))


def script(program, command, keys):
    name = "_" + program
    kinds = {argument.kind for one in [command, *command.commands] for argument in one.arguments}
    text = HEAD.format(program=program)
    if command.commands:
        text += with_commands(program, command, name)
    else:
        text += f"{name}()\n{{\n{arguments_call(command, name, '    ')}}}\n"
    if kinds & {"key", "setting"}:
        functions = key_functions(name, keys)
        text += functions if "setting" in kinds else functions[:functions.index("\n# What the key")]
    return text + f"\n{name} \"$@\"\n"
