#!/usr/bin/env python3
"""told.py SOURCE BIN_FOLDER: the hooks and watches that are told what pppd and systemd-networkd do, with the real store. The
rest of the machine that they see is a folder of the test's own.
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

BINARIES = sys.argv.pop(2)
SOURCE = pathlib.Path(sys.argv.pop(1)).resolve()
HOOKS = SOURCE / "router/hooks"
SECONDS = 30
# As journald prints lines of pppd: what the provider says stands inside of them.
HOSTILE = "$(touch {0}/planted)`touch {0}/planted`;touch {0}/planted;'\"\\ * ../.. -n"


class Told(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="told-")
        self.addCleanup(self.folder.cleanup)  # at last, when the watches have ended
        self.world = pathlib.Path(self.folder.name)
        for name in ("proc", "ppp/peers", "net/wan1", "netif/links", "netif/leases", "run", "bin"):
            (self.world / name).mkdir(parents=True)
        (self.world / "run").chmod(0o700)
        self.noresp = self.world / "dhcpc/noresp"
        self.environment = {
            "PATH": f"{self.world}/bin:{BINARIES}:{os.environ['PATH']}", "TC_PACKAGE": str(SOURCE / "router/programs"),
            "TIME_CHECK_RUN_DIR": str(self.world / "run"), "TIME_CHECK_CONF_DIR": str(self.world / "conf"),
            "TIME_CHECK_ROUTER_CONF": str(self.world / "router.conf"), "PROC_DIR": str(self.world / "proc"),
            "PPP_DIR": str(self.world / "ppp"), "NET_DIR": str(self.world / "net"), "LINE_NORESP": str(self.noresp),
            "NETWORKD_DIR": str(self.world / "netif"), "LOOK_EVERY": "0.05"}
        self.process(7, "pppd", "call", "dsl")
        self.peer("dsl", 'plugin rp-pppoe.so "wan1"\nuser somebody\n')

    def tearDown(self):
        self.assertFalse((self.world / "planted").exists(), "something that the network says was run")

    # ---- the machine ----

    def run_program(self, *words, said="", status=0):
        done = subprocess.run(words, input=said, env=self.environment, text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, check=False, timeout=60)
        self.assertEqual(done.returncode, status, done.stdout)
        return done.stdout

    def line(self, *words, status=0):
        return self.run_program(HOOKS / "line", *words, status=status)

    def process(self, number, *words):
        (self.world / f"proc/{number}").mkdir(exist_ok=True)
        (self.world / f"proc/{number}/cmdline").write_text("\0".join(words) + "\0")

    def peer(self, name, text):
        (self.world / "ppp/peers" / name).write_text(text)

    def set(self, key, value):
        self.run_program("cfm", "set", key, value)

    def get(self, key):
        done = subprocess.run(["cfm", "get", key], env=self.environment, capture_output=True, text=True, check=False)
        return done.stdout.strip() if done.returncode == 0 else None

    def say(self, *lines, pid=7, program="pppd"):
        """pppd's lines as the journal has them."""
        self.run_program(HOOKS / "pppd-watch", "-", said="".join(f"1.5 router {program}[{pid}]: {line}\n" for line in lines))

    def noted(self):
        return self.noresp.read_text() if self.noresp.exists() else None

    def wait_for(self, what, holds):
        deadline = time.monotonic() + SECONDS
        while not holds():
            self.assertLess(time.monotonic(), deadline, what)
            time.sleep(0.01)

    def test_hooks_that_are_sourced_are_clean(self):
        self.run_program("shellcheck", "-x", HOOKS / "dhclient", HOOKS / "dhcpcd")  # other scripts: tidy.shell_scripts

    # ---- what pppd says ----

    def test_failures_are_told_apart(self):
        for text, code in (("PAP authentication failed", "2"), ("Timeout waiting for PADO packets", "4"),
                           ("CHAP authentication failed: go away", "2"), ("Unable to complete PPPoE Discovery", "4"),
                           ("EAP: peer reports authentication failure", "2"), ("LCP: timeout sending Config-Requests", "4"),
                           ("Terminating on signal 15", "0"), ("MS-CHAP authentication failed: E=691", "2")):
            self.say(text)
            self.assertEqual(self.get("wan1_err_check"), code, text)

    def test_what_the_provider_says_is_no_line_of_its_own(self):
        self.say("Timeout waiting for PADO packets")
        for text in ("Remote message: PAP authentication failed", "CHAP peer authentication failed for x",
                     "PAP peer authentication failed for x", f"Remote message: {HOSTILE}".format(self.world)):
            self.say(text)
            self.assertEqual(self.get("wan1_err_check"), "4", text)
        self.say(f"CHAP authentication failed: {HOSTILE}".format(self.world))
        self.assertEqual(self.get("wan1_err_check"), "2")

    def test_lines_that_are_none(self):
        self.run_program(HOOKS / "pppd-watch", "-", said="\n \nx\n1 router pppd[a*]: PAP authentication failed\n"
                         "1 router pppd[]: PAP authentication failed\n1 router sshd[7]: PAP authentication failed\n"
                         "1 router pppd[../7]: PAP authentication failed\n" + "y" * 100000 + "\n")
        self.assertIsNone(self.get("wan1_err_check"))

    def test_each_wan_has_its_own(self):
        self.process(8, "pppd", "plugin", "pppoe.so", "nic-wan2", "user", "somebody")
        self.process(9, "pppoe", "-I", "wan1", "-T", "80")
        self.process(10, "pppd", "pty", "/usr/sbin/pppoe -n -I provider -e 1", "file", "options")
        self.say("PAP authentication failed", pid=8)
        self.assertEqual((self.get("wan1_err_check"), self.get("wan2_err_check")), (None, "2"))
        self.say("Timeout waiting for PADO packets", pid=9, program="pppoe")
        self.assertEqual((self.get("wan1_err_check"), self.get("wan2_err_check")), ("4", "2"))
        self.say("LCP: timeout sending Config-Requests", pid=10)
        self.assertEqual((self.get("wan1_err_check"), self.get("wan2_err_check")), ("4", "2"))

    def test_interfaces_are_as_the_settings_name_them(self):
        self.set("wan1.ifname", "enp1s0")
        self.say("PAP authentication failed")
        self.assertIsNone(self.get("wan1_err_check"))
        self.peer("dsl", "plugin rp-pppoe.so\n# nic-wan1\nnic-enp1s0\n")
        self.say("PAP authentication failed")
        self.assertEqual(self.get("wan1_err_check"), "2")

    def test_a_process_that_has_ended_is_the_only_dialled_wans(self):
        self.say("Timeout waiting for PADO packets", pid=99)
        self.assertIsNone(self.get("wan1_err_check"))
        self.set("wan1.connecttype", "2")
        self.say("Timeout waiting for PADO packets", pid=99)
        self.assertEqual(self.get("wan1_err_check"), "4")

    def test_a_process_of_the_same_number_is_looked_at_again(self):
        watch = subprocess.Popen([HOOKS / "pppd-watch", "-"], env=self.environment, stdin=subprocess.PIPE, text=True)
        self.addCleanup(watch.wait)
        self.addCleanup(watch.stdin.close)

        def say(text):
            watch.stdin.write(f"1 router pppd[7]: {text}\n")
            watch.stdin.flush()
        say("PAP authentication failed")
        self.wait_for("WAN 1", lambda: self.get("wan1_err_check") == "2")
        self.process(7, "pppd", "nic-wan2")
        say("pppd 2.4.9 started by root, uid 0")
        say("PAP authentication failed")
        self.wait_for("WAN 2", lambda: self.get("wan2_err_check") == "2")

    def test_a_peers_file_outside_of_its_folder_is_not_read(self):
        (self.world / "ppp/secret").write_text("nic-wan1\n")
        self.process(7, "pppd", "call", "../secret")
        self.say("PAP authentication failed")
        self.assertIsNone(self.get("wan1_err_check"))

    def test_the_journal_is_read(self):
        journal = self.world / "bin/journalctl"
        journal.write_text("#!/bin/sh\necho \"$*\" >>\"$TIME_CHECK_RUN_DIR/asked\"\n"
                           "echo '1.5 router pppd[7]: PAP authentication failed'\n")
        journal.chmod(0o755)
        self.run_program(HOOKS / "pppd-watch")
        self.assertEqual(self.get("wan1_err_check"), "2")
        self.assertIn("--follow", (self.world / "run/asked").read_text())

    # ---- sessions: pppd's own folders of scripts, as Debian's ip-up calls them ----

    def test_sessions(self):
        """In namespaces, with the line's programs where the scripts look for them."""
        place = self.world / "usr_libexec/time_check"
        shutil.copytree(HOOKS, place / "hooks")
        shutil.copytree(SOURCE / "router/programs", place / "netctrl")
        script = f"""set -e
            unset TC_PACKAGE
            mount -t tmpfs tmpfs /mnt
            cp /etc/ppp/ip-up /etc/ppp/ip-down /mnt/
            mkdir /mnt/ip-up.d /mnt/ip-down.d
            mount --bind /mnt /etc/ppp
            mount --bind {self.world}/usr_libexec /usr/libexec
            cp {HOOKS}/ip-up /etc/ppp/ip-up.d/time_check
            cp {HOOKS}/ip-down /etc/ppp/ip-down.d/time_check
            sed -i 's|^PATH=|PATH={BINARIES}:|' /etc/ppp/ip-up /etc/ppp/ip-down
            for way in "$@"; do
                "/etc/ppp/$way" "$PPP" /dev/pts/0 0 10.95.0.100 10.95.0.1 '{HOSTILE.replace("'", "").format(self.world)}'
                cfm get wan1_err_check
            done"""
        root = [] if os.getuid() == 0 else ["--user", "--map-root-user"]

        def session(*ways, interface="ppp0"):
            self.environment["PPP"] = interface
            return self.run_program("unshare", *root, "--mount", "sh", "-c", script, "sh", *ways)
        self.line("wan", "1", "refused")
        self.assertEqual(session("ip-up", "ip-down"), "3\n0\n")
        self.line("wan", "1", "silent")
        self.assertEqual(session("ip-up", interface="tun0"), "4\n", "another interface's session says nothing")

    # ---- what the store gets ----

    def test_what_nobody_says_is_no(self):
        notes = ("wan1.pppoe.auth.changed", "wan1.onln.beforestart", "wan1.down.flag", "reboot.flag")
        self.set("wan1.down.flag", "1")
        self.line("dialled", "ppp0", "refused")
        self.assertEqual([self.get(key) for key in notes], ["0", "0", "1", "0"], "and what somebody says stays")

    def test_a_wans_dialled_interface_is_as_its_setting_says(self):
        self.set("wan1.ppp.ifname", "ppp7")
        self.line("dialled", "ppp0", "connected")
        self.assertIsNone(self.get("wan1_err_check"))
        self.line("dialled", "ppp7", "connected")
        self.assertEqual(self.get("wan1_err_check"), "3")

    def test_the_note_of_a_silent_server(self):
        self.line("dhcp", "wan2", "silent")
        self.assertIsNone(self.noted())
        self.line("dhcp", "wan1", "silent")
        self.assertEqual(self.noted(), "1\n")
        self.line("dhcp", "wan1", "answers")
        self.assertEqual(self.noted(), "0\n")

    def test_the_note_goes_where_a_link_leads(self):
        self.noresp.parent.mkdir()
        self.noresp.symlink_to(self.world / "run/time_check/noresp")
        self.line("dhcp", "wan1", "silent")
        self.assertTrue(self.noresp.is_symlink())
        self.assertEqual((self.world / "run/time_check/noresp").read_text(), "1\n")

    def test_who_asks_is_waited_for(self):
        self.environment["LINE_PATIENCE"] = "0.2"
        self.line("dhcp", "wan1", "asking")
        self.assertEqual(self.noted(), "0\n")
        self.wait_for("silent in the end", lambda: self.noted() == "1\n")
        self.line("dhcp", "wan1", "asking")
        self.line("dhcp", "wan1", "answers")
        time.sleep(0.5)
        self.assertEqual(self.noted(), "0\n", "an answer came in time")

    def test_wrong_words(self):
        for words in ((), ("dhcp", "wan1"), ("dhcp", "wan1", "maybe"), ("dialled", "ppp0", "maybe"), ("wan", "3", "silent"),
                      ("what", "wan1", "silent"), ("wan", "1", "silent", "x")):
            self.assertIn("usage", self.line(*words, status=2))
        self.assertIn("usage", self.run_program(HOOKS / "pppd-watch", "--what", status=2))

    # ---- systemd-networkd ----

    def networkd(self, state="configuring"):
        (self.world / "net/wan1/ifindex").write_text("3\n")
        (self.world / "net/wan1/carrier").write_text("1\n")
        (self.world / "netif/links/3").write_text(f"# private\nADMIN_STATE={state}\nOPER_STATE=degraded\n")

    def watch(self):
        watch = subprocess.Popen([HOOKS / "networkd-watch"], env=self.environment)
        self.addCleanup(watch.wait)
        self.addCleanup(watch.terminate)
        return watch

    def test_networkds_lease(self):
        self.networkd()
        self.watch()
        self.wait_for("no lease for a while: silent", lambda: self.noted() == "1\n")
        lease = self.world / "netif/leases/3"
        lease.write_text(f"HOSTNAME={HOSTILE}\n".format(self.world))
        self.wait_for("a lease", lambda: self.noted() == "0\n")
        lease.unlink()
        self.wait_for("lost again", lambda: self.noted() == "1\n")
        (self.world / "net/wan1/carrier").write_text("0\n")
        self.wait_for("no cable: not known", lambda: self.noted() == "0\n")

    def test_an_interface_that_is_not_networkds(self):
        self.networkd("unmanaged")
        self.line("dhcp", "wan1", "silent")
        watch = self.watch()
        time.sleep(0.6)
        self.assertEqual(self.noted(), "1\n", "another client's note stays")
        watch.terminate()
        watch.wait()
        self.assertEqual(self.noted(), "1\n", "also when it ends")

    def test_the_end_of_the_watch_takes_its_note_back(self):
        self.networkd()
        watch = self.watch()
        self.wait_for("silent", lambda: self.noted() == "1\n")
        watch.terminate()
        watch.wait()
        self.assertEqual(self.noted(), "0\n")


if __name__ == "__main__":
    unittest.main()
