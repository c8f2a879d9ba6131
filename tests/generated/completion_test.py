#!/usr/bin/env python3
"""completion_test.py COMPLETION PROGRAMS: what bash, zsh and fish offer behind a line, each asked itself.

COMPLETION is packaging/completion, PROGRAMS a folder with the programs: fish completes what it finds alone.
"""

import os
import pathlib
import pty
import re
import select
import subprocess
import sys
import tempfile
import time
import unittest

COMPLETION, PROGRAMS = (str(pathlib.Path(argument).resolve()) for argument in sys.argv[1:3])
MODULES = {"reboot", "power", "wifi", "led", "guest", "cpu", "daemon", "uplink", "ap", "stoppage", "wan1", "wan2"}
COMMANDS = {"cfm": {"get", "set", "unset", "list", "diff", "import", "export", "commit", "watch", "wait", "post", "listen"}}

# A line up to the cursor, and what all three shells offer; a word of the line that begins a file's name is in the test's
# folder, where there are settings.txt and settings.old.
EXACTLY = {
    "cfm ": COMMANDS["cfm"],
    "cfm co": {"commit"},
    "cfm get sys.sched.l": {"sys.sched.led.type", "sys.sched.led.closetype"},
    "cfm watch wan2_i": {"wan2_isonln"},
    "cfm unset a sys.schedulereboot.en": {"sys.schedulereboot.enable", "sys.schedulereboot.end_time"},
    "cfm get nkgw.led.offtime.list2": {"nkgw.led.offtime.list2", "nkgw.led.offtime.list20"},
    "cfm set sys.sched.led.type ": {"open", "close", "time"},
    "cfm set sys.sched.led.type=": {"sys.sched.led.type=" + word for word in ("open", "close", "time")},
    "cfm set a=b wan1.connecttype=": {f"wan1.connecttype={number}" for number in range(6)},
    "cfm wait wan1_isonln=": {"wan1_isonln=0", "wan1_isonln=1"},
    "cfm set lan.ip ": set(),
    "cfm list --s": {"--settings", "--state", "--secrets"},
    "cfm listen ": {"netctrl", "time_check"},
    "cfm import sett": {"settings.txt", "settings.old"},
    "cfm commit ": set(),
    "tcctl st": {"status"},
    "tcctl status ": MODULES,
    "tcctl status wan1 wa": {"wan1", "wan2"},
    "tcctl why re": {"reboot"},
    "tcctl why cpu re": set(),
    "tcctl events wan1 ": MODULES | {"router", "clash"},
    "tcctl events --event wan_o": {"wan_offline", "wan_online"},
    "tcctl check --level ": {"error", "warning", "note"},
    "tcctl check --json settings.o": {"settings.old"},
    "tcctl events --state settings.t": {"settings.txt"},
    "tcctl keys sys.powersleep.t": {"sys.powersleep.type"},
    "tcctl preview --format ": {"text", "json", "svg", "html"},
    "tcctl preview --days ": set(),
    "tcctl replay settings.t": {"settings.txt"},
    "tcctl fleet --format ": {"text", "json", "svg"},
    "tcctl metrics --": {"--openmetrics", "--textfile", "--help"},
    "tcctl-preview --ti": set(),
    "tcctl-preview --t": {"--tz"},
    "tcctl-preview settings.t": {"settings.txt"},
    "tcctl-fleet --merge settings.txt settings.o": {"settings.old"},
    "tcctl-fleet --s": {"--seed", "--shard"},
    "time_check --": {"--help", "--version"},
}
# Settings: the key, ready for its value.
KEYS = {"cfm set sys.powersleep.t": "sys.powersleep.type", "cfm wait wan1_isonl": "wan1_isonln",
        "cfm set x=y sys.sched.w": "sys.sched.wifi.enable"}


class Bash:
    """Its own function, called as bash calls it."""

    SCRIPT = r"""
        . "$1/bash/${COMP_LINE%% *}" && complete -p "${COMP_LINE%% *}" >&2 || exit 1
        shift
        COMP_WORDBREAKS=$' \t\n"\'><=;|&(:' COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMP_POINT=${#COMP_LINE}
        function=$(complete -p "${COMP_LINE%% *}")
        function=${function#*-F }
        "${function%% *}"
        printf '%s\n' "${COMPREPLY[@]}"
    """

    def offers(self, line, folder):
        words = re.findall(r"[=:]+|[^\s=:]+", line)
        if line[-1].isspace():
            words.append("")
        done = subprocess.run(["bash", "--norc", "-c", self.SCRIPT, "bash", COMPLETION, *words], cwd=folder, check=True,
                              env={**os.environ, "COMP_LINE": line}, capture_output=True, text=True, timeout=20)
        assert f"complete -F _{words[0].replace('-', '_')} {words[0]}" in done.stderr
        typed = line.split(" ")[-1]
        begun = re.match(r".*[=:]|", typed)[0]  # stays on the line
        return {begun + word for word in done.stdout.splitlines() if word}

    def end(self):
        pass


class Fish:
    def offers(self, line, folder):
        done = subprocess.run(["fish", "--no-config", "-c", f"set fish_complete_path {COMPLETION}/fish; complete -C \"$LINE\""],
                              cwd=folder, check=True, capture_output=True, text=True, timeout=20,
                              env={**os.environ, "PATH": PROGRAMS + ":" + os.environ["PATH"], "HOME": folder, "LINE": line})
        return {word.split("\t")[0] for word in done.stdout.splitlines()}

    def end(self):
        pass


class Zsh:
    """One on a terminal, whose compadd notes what it is given."""

    SETUP = r"""
        PS1= PS2= fpath=($COMPLETION/zsh $fpath)
        autoload -Uz compinit && compinit -D -u
        zstyle ':completion:*' menu no
        setopt no_beep no_list_ambiguous
        compadd() {
            if [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then
                builtin compadd "$@"
                return $?
            fi
            local -a hits
            builtin compadd -O hits "$@"
            [[ -z $hits ]] || print -rl -- "${(@)hits/#/$IPREFIX}" >>$OFFERED
            return 1
        }
        finish() { print . >>$OFFERED }
        offer() { zle complete-word; finish }
        zle -N offer
        bindkey '^I' offer
        bindkey '^U' kill-whole-line
        print . >>$OFFERED
    """

    def __init__(self, folder):
        self.place = tempfile.TemporaryDirectory()
        self.offered = pathlib.Path(self.place.name) / "offered"
        pathlib.Path(self.place.name, ".zshrc").write_text(self.SETUP, encoding="utf-8")
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.chdir(folder)
            os.execvpe("zsh", ["zsh", "-d", "-i"], {**os.environ, "ZDOTDIR": self.place.name, "TERM": "dumb",
                                                   "COMPLETION": COMPLETION, "OFFERED": str(self.offered)})
        self.wait()

    def wait(self):
        """Until it has said that it is done; what the terminal shows is nobody's."""
        end = time.monotonic() + 30
        while time.monotonic() < end:
            if select.select([self.terminal], [], [], 0.01)[0]:
                os.read(self.terminal, 65536)
            if self.offered.exists() and self.offered.read_text(encoding="utf-8").endswith(".\n"):
                return
        raise TimeoutError("zsh does not answer")

    def offers(self, line, _):
        self.offered.write_text("", encoding="utf-8")
        os.write(self.terminal, b"\x15" + line.encode() + b"\t")
        self.wait()
        return {word for word in self.offered.read_text(encoding="utf-8").splitlines() if word != "."}

    def end(self):
        os.write(self.terminal, b"\x15exit\n")
        end = time.monotonic() + 10
        while time.monotonic() < end and os.waitpid(self.process, os.WNOHANG)[0] == 0:
            time.sleep(0.01)
        os.close(self.terminal)
        self.place.cleanup()


class Offered(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        for name in ("settings.txt", "settings.old"):
            pathlib.Path(cls.folder.name, name).touch()
        cls.shells = [Bash(), Zsh(cls.folder.name), Fish()]

    @classmethod
    def tearDownClass(cls):
        for shell in cls.shells:
            shell.end()
        cls.folder.cleanup()

    def test_is_what_may_stand_there(self):
        for shell in self.shells:
            for line, wanted in EXACTLY.items():
                with self.subTest(shell=type(shell).__name__, line=line):
                    typed = line.split(" ")[-1]
                    offered = {word for word in shell.offers(line, self.folder.name)
                               if word.startswith(typed) and word.startswith("-") == typed.startswith("-")}
                    self.assertEqual(offered, wanted)

    def test_a_setting_waits_for_its_value(self):
        for shell in self.shells:
            for line, key in KEYS.items():
                with self.subTest(shell=type(shell).__name__, line=line):
                    self.assertEqual({word.rstrip("=") for word in shell.offers(line, self.folder.name)}, {key})

    def test_events_go_on_behind_a_comma(self):
        for shell in self.shells:
            with self.subTest(shell=type(shell).__name__):
                offered = shell.offers("tcctl events --event wan_offline,leds_o", self.folder.name)
                self.assertEqual({word.rpartition(",")[2] for word in offered}, {"leds_off", "leds_on"})


class Files(unittest.TestCase):
    def test_are_free_of_mistakes(self):
        for shell, call in (("bash", ["bash", "-n"]), ("zsh", ["zsh", "-n"]), ("fish", ["fish", "--no-config", "-n"]),
                            ("bash", ["shellcheck", "-s", "bash"])):
            files = sorted(pathlib.Path(COMPLETION, shell).iterdir())
            self.assertGreaterEqual(len(files), 5)
            for file in files:
                with self.subTest(file=file, call=call):
                    done = subprocess.run([*call, file], capture_output=True, text=True)
                    self.assertEqual((done.returncode, done.stdout + done.stderr), (0, ""))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
