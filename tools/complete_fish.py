"""Completion for fish: a line for each thing that may stand somewhere."""

HEAD = """\
# fish completion of {program}. tools/generate.py writes this file.

"""

# Which command it is, and which argument comes next: options and what is no argument are not counted.
ENGINE = """\
function __@P@_is # COMMAND [NUMBER]
    set -l words (commandline -opc)
    test (count $words) -ge 2; and test "$words[2]" = "$argv[1]"; or return 1
    test (count $argv) -eq 1; and return 0
    set -l arguments (string match -v -- '-*' $words[3..-1])
    test (count $arguments) -eq (math $argv[2] - 1)
end

function __@P@_is_bare
    test (count (string match -v -- '-*' (commandline -opc))) -eq 1
end

"""

LIST = """\
function __@P@_listed # WORD...: several with commas between
    set -l head (string replace -r '[^,]*$' '' -- (commandline -ct))
    printf '%s\\n' $head$argv
end

"""

KEYS = """\
function __@P@_keys
    printf '%s\\n' @KEYS@
end

"""

SETTINGS = """\
function __@P@_values # KEY: what it may be
    switch $argv[1]
@VALUES@
    end
end

function __@P@_settings # KEY=VALUE, or KEY and then VALUE
    set -l before (commandline -opc)[-1]
    set -l typed (string split -m 1 = -- (commandline -ct))
    if test (count $typed) -eq 2
        set -l values (__@P@_values $typed[1])
        printf '%s\\n' $typed[1]=$values
    else if test (count (commandline -opc)) -gt 2; and not string match -q -- '*=*' $before; and not string match -q -- '-*' $before
        __@P@_values $before
    else
        printf '%s=\\n' (__@P@_keys)
    end
end

"""


def quoted(text):
    return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"


def offered(argument, name):
    """What stands behind complete's condition."""
    if argument.words and argument.listed:
        return f"-x -a {quoted(f'(__{name}_listed ' + ' '.join(argument.words) + ')')}"
    if argument.words:
        return f"-x -a {quoted(' '.join(argument.words))}"
    return {"file": "-r -F", "program": "-x -a '(__fish_complete_command)'", "key": f"-x -a '(__{name}_keys)'",
            "setting": f"-x -a '(__{name}_settings)'"}.get(argument.kind, "-x")


def option_line(program, condition, option, name):
    names = " ".join("-l " + one[2:] if one.startswith("--") else "-s " + one[1:] for one in option.names)
    value = " " + offered(option.value, name) if option.value else ""
    line = f"complete -c {program}{condition} {names}{value} -d {quoted(option.about)}\n"
    if option.value and option.value.many and option.value.kind == "file": # fish gives an option one word alone
        seen = f"__fish_contains_opt {option.name.removeprefix('--')}"
        also = f"{condition.removesuffix(chr(39))}; and {seen}'" if condition else f" -n '{seen}'"
        line += f"complete -c {program}{also} -F\n"
    return line


def command_lines(program, command, name, is_whole):
    condition = "" if is_whole else f" -n '__{name}_is {command.name}'"
    lines = [option_line(program, condition, option, name) for option in command.options]
    for number, argument in enumerate(command.arguments, 1):
        counted = condition if argument.many or is_whole else f" -n '__{name}_is {command.name} {number}'"
        how = offered(argument, name)
        if how != "-x":
            lines.append(f"complete -c {program}{counted} {how.removeprefix('-r ').removeprefix('-x ')}\n")
    return lines


def key_functions(name, keys, has_settings):
    text = KEYS.replace("@KEYS@", " \\\n        ".join(keys))
    if has_settings:
        together = {}
        for key, words in keys.items():
            if words:
                together.setdefault(" ".join(words), []).append(key)
        text += SETTINGS.replace("@VALUES@", "\n".join(
            f"        case {' '.join(several)}\n            printf '%s\\n' {words}" for words, several in together.items()))
    return text.replace("@P@", name)


def script(program, command, keys):
    name = program.replace("-", "_")
    everything = [command, *command.commands]
    kinds = {argument.kind for one in everything for argument in one.arguments}
    text = HEAD.format(program=program)
    if command.commands:
        text += ENGINE.replace("@P@", name)
    if any(option.value and option.value.listed for one in everything for option in one.options):
        text += LIST.replace("@P@", name)
    if kinds & {"key", "setting"}:
        text += key_functions(name, keys, "setting" in kinds)
    lines = [f"complete -c {program} -f\n"]
    if not command.commands:
        return text + "".join(lines + command_lines(program, command, name, True))
    lines += [option_line(program, f" -n __{name}_is_bare", option, name) for option in command.options]
    for one in command.commands:
        lines.append(f"complete -c {program} -n __{name}_is_bare -a {one.name} -d {quoted(one.about)}\n")
        lines += command_lines(program, one, name, False)
    return text + "".join(lines)
