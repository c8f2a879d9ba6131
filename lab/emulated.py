"""An emulated machine as an object: starts it, runs commands in it over its second serial port, and ends it."""

import atexit
import base64
import socket
import subprocess
import time


class MachineError(Exception):
    """The machine ended, or did not answer in time."""


class Emulated:
    """A machine in an emulator. What it consists of is said by those that derive from it: command(agent_fd) gives the
    emulator's arguments, where the descriptor is the machine's second serial port, on which lab/agent waits."""

    def __init__(self):
        self._process = None
        self._agent = None
        self._requests = 0
        atexit.register(self.end)
        self.power_on()

    def command(self, agent_fd):
        raise NotImplementedError

    # However this program ends, the kernel ends the emulator then.
    def power_on(self):
        """Starts the emulator."""
        self._received = b""
        self._agent, theirs = socket.socketpair()
        with theirs:
            command = ["setpriv", "--pdeathsig", "KILL", *self.command(theirs.fileno())]
            self._process = subprocess.Popen(command, stdin=subprocess.DEVNULL, pass_fds=[theirs.fileno()])

    def wait_power_off(self, seconds):
        """Until the machine has ended by itself."""
        try:
            self._process.wait(seconds)
        except subprocess.TimeoutExpired as error:
            raise MachineError(f"the machine has not ended within {seconds} s") from error
        self._agent.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()

    def end(self):
        """Ends the machine at once. Safe to call twice."""
        atexit.unregister(self.end)
        if self._process is not None:
            self._process.kill()
            self._process.wait()
        if self._agent is not None:
            self._agent.close()

    def wait_ready(self, seconds=120):
        """Until a start of the machine has come so far that it takes commands."""
        deadline = time.monotonic() + seconds
        while "READY" not in self._line(deadline):
            pass

    def run(self, command, seconds=60):
        """Runs a shell command in the machine. Returns its status and what it printed, both streams together."""
        self._requests += 1
        text = base64.b64encode(command.encode()).decode()
        self._agent.sendall(f"{self._requests} {text}\n".encode())
        deadline = time.monotonic() + seconds
        while True:
            words = self._line(deadline).split()
            if words[:1] == [str(self._requests)] and len(words) >= 2:
                output = base64.b64decode(words[2]) if len(words) > 2 else b""
                return int(words[1]), output.decode(errors="replace").rstrip("\n")

    def _line(self, deadline):
        while b"\n" not in self._received:
            self._agent.settimeout(max(0.01, deadline - time.monotonic()))
            try:
                data = self._agent.recv(65536)
            except TimeoutError as error:
                raise MachineError(f"no answer in time; so far: {self._received[-200:]!r}") from error
            if not data:
                raise MachineError("the machine has ended")
            self._received += data
        line, self._received = self._received.split(b"\n", 1)
        return line.decode(errors="replace").strip()
