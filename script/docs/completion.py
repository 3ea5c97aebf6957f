"""The completions of krctl for bash, zsh and fish.

Everything about commands and options comes from the help of krctl, and the texts that an option accepts from
krctl's message about a wrong one. A new command or option needs nothing here, unless its value is something
that only a recorder knows, such as a camera.
"""

import re
import subprocess

from docs import programs

# What the value of an option, or an argument, is: by the name of the value in the help.
VALUES = {"CAMERA": "cameras", "ID": "cameras", "RUN": "runs", "FILE": "files", "DIR": "folders",
          "SET": "folders",
          "COMMAND": "commands"}
# A new camera needs an unused id, so none is offered.
NO_VALUES = {("camera add", "--id")}

BY = "written by script/completion"
CAMERAS = r"""krctl camera list --json 2>/dev/null | sed -nE 's/^ *"id": ([0-9]+),?$/\1/p'"""
RUNS = r"""krctl runs --json 2>/dev/null | sed -nE 's/^ *"run": ([0-9]+),?$/\1/p'"""


def files(krctl):
    """Returns the files, as texts by their names in the project."""
    commands = list(_all(programs.krctl(krctl)))
    values = {command.words: _values(krctl, command) for command in commands}
    return {"packaging/completion/krctl": _bash(commands, values),
            "packaging/completion/_krctl": _zsh(commands, values),
            "packaging/completion/krctl.fish": _fish(commands, values)}


def _all(command):
    yield command
    for inner in command.commands.values():
        yield from _all(inner)


def _values(krctl, command):
    """Returns what the value of each option is, by the option's name, and of the arguments by "": "cameras",
    "cameras -1", "runs", "files", "folders", "commands", "words a b c", or "" for any other text."""
    values = {"": ""}
    for argument in command.described["Arguments"]:
        values[""] = values[""] or VALUES.get(re.sub(r"\W", "", argument.names[0]), "")
    for option in command.described["Options"]:
        if option.value:
            for name in option.names:
                values[name] = _value(krctl, command, name, option)
    return values


def _value(krctl, command, name, option):
    if (command.words, name) in NO_VALUES:
        return ""
    value = VALUES.get(option.value, "")
    if value:
        return value + (" -1" if "-1 for all" in option.text else "")
    # The unknown option makes the command end before it does anything.
    refusal = subprocess.run([krctl, *command.words.split(), f"{name}=", "--no-such-option"],
                             check=False, capture_output=True, text=True)
    if refusal.returncode != 64:
        raise SystemExit(f"script/completion: krctl {command.words} accepted a wrong option")
    words = re.search(r"expected one of ([\w, -]+), not", refusal.stderr)
    return "words " + words[1].replace(",", "") if words else ""


def _function(words):
    return "_krctl" + "".join("_" + word.replace("-", "_") for word in words.split())


# --- bash ----------------------------------------------------------------------------------------

BASH_HEAD = f"""\
# bash completion for krctl; {BY}

# Nothing is offered if the recorder can't be read.
_krctl_cameras() {{ {CAMERAS}; }}
_krctl_runs() {{ {RUNS}; }}
"""

BASH_TAIL = """\
# Offers the values of this kind for the word $2.
_krctl_offer() {
    case $1 in
    cameras*) mapfile -t COMPREPLY < <(compgen -W "$(_krctl_cameras) ${1#cameras}" -- "$2") ;;
    runs) mapfile -t COMPREPLY < <(compgen -W "$(_krctl_runs)" -- "$2") ;;
    files) mapfile -t COMPREPLY < <(compgen -f -- "$2") && compopt -o filenames ;;
    folders) mapfile -t COMPREPLY < <(compgen -d -- "$2") && compopt -o filenames ;;
    words*) mapfile -t COMPREPLY < <(compgen -W "${1#words}" -- "$2") ;;
    esac
}

_krctl() {
    local cur prev command word value
    COMPREPLY=()
    cur=${COMP_WORDS[COMP_CWORD]}
    prev=${COMP_WORDS[COMP_CWORD - 1]}

    # The command is the first word, or the first two for a command with subcommands.
    command=
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $command,$word in
        *,-*) break ;;
        ,* | @GROUPS@) command=${command:+$command }$word ;;
        *) break ;;
        esac
    done
    if [[ $command = help* && $cur != -* ]]; then
        command=${command#help}
        mapfile -t COMPREPLY < <(compgen -W "$(_krctl_commands "${command# }")" -- "$cur")
        return
    fi

    if value=$(_krctl_value "$command" "$prev"); then
        _krctl_offer "$value" "$cur"
        return
    fi
    value=$(_krctl_value "$command" argument)
    if [[ $value && $cur != -* ]]; then
        # An option's value is no argument. The number of a run is the first word.
        [[ $value = runs && $prev != "${command##* }" ]] || _krctl_offer "$value" "$cur"
        return
    fi
    mapfile -t COMPREPLY < <(
        compgen -W "$(_krctl_commands "$command") $(_krctl_options "$command") --help" -- "$cur")
} && complete -F _krctl krctl
"""


def _bash(commands, values):
    named, options, kinds = [], [], []
    for command in commands:
        offered = [name for entry in command.described["Options"] for name in entry.names
                   if name not in ("-h", "--help")]
        if command.commands:
            named.append(f"    '{command.words}') echo '{' '.join(command.commands)}' ;;")
        if offered:
            options.append(f"    '{command.words}') echo '{' '.join(offered)}' ;;")
        for name, value in values[command.words].items():
            if name or value not in ("", "commands"):
                kinds.append(f"    '{command.words},{name or 'argument'}') echo '{value}' ;;")
    groups = [command.words + ",*" for command in commands if command.words and command.commands]
    groups += ["help,*", "'help '*"]
    return "\n".join([
        BASH_HEAD, "_krctl_commands() {", '    case $1 in', *named, "    esac", "}", "",
        "_krctl_options() {", '    case $1 in', *options, "    esac", "}", "",
        "# What the value of option $2 of a command is. Fails if that is no option with a value.",
        "_krctl_value() {", '    case $1,$2 in', *kinds, "    *) return 1 ;;", "    esac", "}", "",
        BASH_TAIL.replace("@GROUPS@", " | ".join(groups))])


# --- zsh -----------------------------------------------------------------------------------------

ZSH_HEAD = f"""\
#compdef krctl
# zsh completion for krctl; {BY}

# Nothing is offered if the recorder can't be read.
_krctl__cameras() {{
    local -a ids
    ids=(${{(f)"$({CAMERAS})"}})
    compadd "$@" -a ids
}}

_krctl__all_cameras() {{
    compadd "$@" -- -1
    _krctl__cameras "$@"
}}

_krctl__runs() {{
    local -a runs
    runs=(${{(f)"$({RUNS})"}})
    compadd "$@" -a runs
}}
"""

ZSH_TAIL = """\
if [ "$funcstack[1]" = _krctl ]; then
    _krctl "$@"
else
    compdef _krctl krctl
fi
"""


def _zsh_action(value):
    if value.startswith("words "):
        return "(" + value.partition(" ")[2] + ")"
    return {"": " ", "cameras": "_krctl__cameras", "cameras -1": "_krctl__all_cameras",
            "runs": "_krctl__runs", "files": "_files", "folders": "_files -/"}[value]


def _quoted(text):
    return "'" + text.replace("'", "'\\''") + "'"


def _zsh_text(text):
    return re.sub(r"([\[\]:\\])", r"\\\1", text)


def _zsh_arguments(command, values):
    """Yields the specifications of the options and arguments for _arguments."""
    for entry in command.described["Options"]:
        repeated = "*" if "can be repeated" in entry.text else ""
        for name in entry.names:
            others = "" if repeated else f"({' '.join(entry.names)})"
            equals = "=" if entry.value and name.startswith("--") else ""
            text = f"{repeated or others}{name}{equals}[{_zsh_text(entry.text)}]"
            if entry.value:
                text += f":{_zsh_text(entry.value)}:{_zsh_action(values[name])}"
            yield _quoted(text)
    for argument in command.described["Arguments"]:
        if values[""] != "commands":
            yield _quoted(f":{_zsh_text(argument.names[0])}:{_zsh_action(values[''])}")


def _zsh_group(command, values):
    described = [f"        {_quoted(_zsh_text(name) + ':' + _zsh_text(inner.text))}"
                 for name, inner in command.commands.items()]
    calls = [f"        {name}) {_function(inner.words)} ;;" for name, inner in command.commands.items()]
    return [f"{_function(command.words)}() {{", "    local context state line curcontext=\"$curcontext\"",
            "    typeset -A opt_args", "    local -a commands=(", *described, "    )",
            "    _arguments -C \\",
            *[f"        {text} \\" for text in _zsh_arguments(command, values)],
            "        '1:command:->command' '*::argument:->argument'",
            "    case $state in", "    command) _describe command commands ;;", "    argument)",
            "        case $words[1] in", *calls, "        esac", "        ;;", "    esac", "}", ""]


def _zsh(commands, values):
    lines = [ZSH_HEAD]
    for command in reversed(commands):
        ofs = values[command.words]
        if command.words == "help":
            # The words after help are those of a command line.
            lines += ["_krctl_help() { _krctl }", ""]
        elif command.commands:
            lines += _zsh_group(command, ofs)
        else:
            lines += [f"{_function(command.words)}() {{", "    _arguments \\",
                      " \\\n".join(f"        {text}" for text in _zsh_arguments(command, ofs)), "}", ""]
    return "\n".join([*lines, ZSH_TAIL])


# --- fish ----------------------------------------------------------------------------------------

FISH_HEAD = f"""\
# fish completion for krctl; {BY}

# Nothing is offered if the recorder can't be read.
function __krctl_cameras
    {CAMERAS}
end
function __krctl_runs
    {RUNS}
end

# True if the words that name a command are these.
function __krctl_is
    set -l command
    for word in (commandline -opc)[2..]
        string match -q -- '-*' $word; and break
        contains -- "$command" '' @GROUPS@; or break
        set command (string join ' ' $command $word)
    end
    test "$command" = "$argv"
end

complete -c krctl -f
"""


def _fish_value(value):
    """Returns the options of complete for the value of an option, or for an argument."""
    words = value.partition(" ")[2]
    return {"": [], "cameras": ["-a", "(__krctl_cameras)"], "cameras -1": ["-a", "-1 (__krctl_cameras)"],
            "runs": ["-a", "(__krctl_runs)"], "files": ["-F"],
            "folders": ["-a", "(__fish_complete_directories)"]}.get(value, ["-a", words])


def _fish_line(command, *options):
    quoted = " ".join(option if re.fullmatch(r"-[a-zA-Z]", option) else
                      "'" + option.replace("\\", "\\\\").replace("'", "\\'") + "'" for option in options)
    condition = f'__krctl_is {command.words}'.strip()
    return f"complete -c krctl -n '{condition}' {quoted}"


def _fish_name(name):
    return ["-l", name[2:]] if name.startswith("--") else ["-s", name[1:]]


def _fish_lines(command, values):
    for name, inner in command.commands.items():
        yield _fish_line(command, "-a", name, "-d", inner.text)
    for entry in command.described["Options"]:
        called = [word for name in entry.names for word in _fish_name(name)]
        value = values[entry.names[0]] if entry.value else None
        required = [] if value is None else ["-r"] if value == "files" else ["-x"]
        yield _fish_line(command, *called, *required, *(_fish_value(value) if value else []),
                         "-d", entry.text)
    if command.described["Arguments"] and values[""] not in ("", "commands"):
        yield _fish_line(command, *_fish_value(values[""]))


def _fish(commands, values):
    groups = [f"'{command.words}'" for command in commands if command.words and command.commands]
    lines = [FISH_HEAD.replace("@GROUPS@", " ".join(groups))]
    for command in commands:
        lines += _fish_lines(command, values[command.words])
        if command.words == "help":
            lines += [_fish_line(command, "-a", name, "-d", inner.text)
                      for name, inner in commands[0].commands.items()]
    return "\n".join([*lines, ""])
