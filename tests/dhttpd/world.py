"""dhttpd on the loopback interface, with a status page of the test's own. Addresses of 127/8 are so many clients."""

import http.client
import os
import pathlib
import socket
import subprocess
import tempfile
import time
import unittest

ADDRESS = "127.0.0.1"
SECONDS = 30  # for what must happen in the end, on however busy a machine

# Verdicts by their numbers in platform/verdicts.
ONLINE, NO_FAULT, FAULT_GONE, FAULT_LASTS = 0, 3, 5, 8


def free_port():
    with socket.socket() as found:
        found.bind((ADDRESS, 0))
        return found.getsockname()[1]


class World(unittest.TestCase):
    """A page that is held, and a server of it; classes below say with which options."""

    dhttpd = holder = None  # the programs
    options = ()

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="dhttpd-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.page_file = self.folder / "run-status/status"  # where a group may read it
        self.page_file.parent.mkdir()
        self.holding = subprocess.Popen([self.holder, self.page_file], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)
        self.addCleanup(self.end, self.holding)
        self.is_so(f"fault=1 verdict={FAULT_LASTS} since=700 wan1=1 interface=eth1")
        self.start()

    def start(self):
        self.port = free_port()
        self.server = subprocess.Popen(
            [self.dhttpd, "--listen", f"{ADDRESS}:{self.port}", *self.options], stderr=subprocess.PIPE,
            env={**os.environ, "TIME_CHECK_RUN_DIR": str(self.folder / "run"), "TZ": "UTC"})
        self.addCleanup(self.end, self.server)
        deadline = time.monotonic() + SECONDS
        while True:
            try:
                socket.create_connection((ADDRESS, self.port)).close()
                return
            except ConnectionRefusedError:
                self.assertIsNone(self.server.poll(), "the server has ended")
                self.assertLess(time.monotonic(), deadline)
                time.sleep(0.01)

    @staticmethod
    def end(process):
        if process.poll() is None:
            process.kill()
        for stream in (process.stdin, process.stdout, process.stderr):
            if stream:
                stream.close()
        process.wait()

    def is_so(self, line):
        self.holding.stdin.write(line + "\n")
        self.holding.stdin.flush()
        self.assertEqual(self.holding.stdout.readline(), "ok\n")

    def ask(self, path="/", host="example.org", method="GET", **headers):
        """An answer with its text as .text."""
        connection = http.client.HTTPConnection(ADDRESS, self.port, timeout=SECONDS)
        try:
            connection.request(method, path, headers={"Host": host, **{
                name.replace("_", "-"): value for name, value in headers.items()}})
            answer = connection.getresponse()
            answer.text = answer.read().decode()
            return answer
        finally:
            connection.close()

    def own(self, path="/", **headers):
        return self.ask(path, f"{ADDRESS}:{self.port}", **headers)

    def raw(self, request, source=ADDRESS):
        """All that is answered to these bytes."""
        with socket.create_connection((ADDRESS, self.port), timeout=SECONDS, source_address=(source, 0)) as client:
            client.sendall(request)
            answer = b""
            try:
                while part := client.recv(65536):
                    answer += part
            except ConnectionResetError:
                pass
            return answer


def main(words):
    """words: the test's name, the two programs, and what is for unittest."""
    World.dhttpd, World.holder = words[1], words[2]
    unittest.main(argv=[words[0], *words[3:]])
