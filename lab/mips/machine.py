"""The emulated router as an object: starts it, runs commands in it over its second serial port, and ends it."""

import atexit
import base64
import os
import pathlib
import socket
import subprocess
import tempfile
import time

BUILD = pathlib.Path(__file__).resolve().parents[2] / "build" / "mips"


class MachineError(Exception):
    """The machine ended, or did not answer in time."""


class Machine:
    """One emulated router with a disk of its own, which is as the image was made at first and keeps what is written to
    it over restarts. The console is what qemu's -serial takes; memory in MiB."""

    def __init__(self, console, memory_mib=128):
        self._console = console
        self._memory_mib = memory_mib
        self._process = None
        self._agent = None
        self._requests = 0
        self._disk = tempfile.TemporaryFile(dir=BUILD)  # has no name, so nothing of it is ever left over
        atexit.register(self.end)
        subprocess.run(["cp", "--sparse=always", BUILD / "root.img", self._disk_path()], check=True)
        self._power_on()

    def _disk_path(self):
        return f"/proc/{os.getpid()}/fd/{self._disk.fileno()}"

    def _power_on(self):
        self._received = b""
        self._agent, theirs = socket.socketpair()
        with theirs:
            command = self._command(theirs.fileno())
            self._process = subprocess.Popen(command, stdin=subprocess.DEVNULL, pass_fds=[theirs.fileno()])

    # A restart ends the emulator: the board's timer can stay silent for minutes after a reset. A panic does not end it.
    # However this program ends, the kernel ends the emulator then.
    def _command(self, agent_fd):
        version = (BUILD / "kernel" / "version").read_text().strip()
        return [
            "setpriv", "--pdeathsig", "KILL",
            "qemu-system-mipsel", "-M", "malta", "-m", str(self._memory_mib), "-no-reboot",
            "-display", "none", "-vga", "none", "-monitor", "none", "-nic", "none",
            "-kernel", f"{BUILD}/kernel/boot/vmlinuz-{version}",
            "-initrd", f"{BUILD}/start.gz",
            "-append", "console=ttyS0 quiet nokaslr rdinit=/init",
            "-drive", f"file={self._disk_path()},format=raw,if=none,id=disk",
            "-device", "virtio-blk-pci,drive=disk",
            "-serial", self._console,
            "-chardev", f"socket,id=agent,fd={agent_fd}", "-serial", "chardev:agent",
        ]  # fmt: skip

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
        self._disk.close()

    def wait_ready(self, seconds=120):
        """Until a start of the router has come so far that it takes commands."""
        deadline = time.monotonic() + seconds
        while "READY" not in self._line(deadline):
            pass

    def wait_restart(self, seconds=120):
        """Until the router has restarted itself and takes commands again; its clock is the machine's then, as after
        any start of the emulator."""
        try:
            self._process.wait(seconds)
        except subprocess.TimeoutExpired as error:
            raise MachineError(f"the router has not restarted within {seconds} s") from error
        self._agent.close()
        self._power_on()
        self.wait_ready()

    def run(self, command, seconds=60):
        """Runs a shell command in the router. Returns its status and what it printed, both streams together."""
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
