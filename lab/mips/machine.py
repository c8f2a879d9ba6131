"""The emulated router."""

import os
import pathlib
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

from emulated import Emulated, MachineError  # noqa: E402, F401: who starts a router also catches its errors

BUILD = pathlib.Path(__file__).resolve().parents[2] / "build" / "mips"


class Machine(Emulated):
    """One emulated router with a disk of its own, which is as the image was made at first and keeps what is written to
    it over restarts. The console is what qemu's -serial takes; memory in MiB."""

    def __init__(self, console, memory_mib=128):
        self._console = console
        self._memory_mib = memory_mib
        self._disk = tempfile.TemporaryFile(dir=BUILD)  # has no name, so nothing of it is ever left over
        subprocess.run(["cp", "--sparse=always", BUILD / "root.img", self._disk_path()], check=True)
        super().__init__()

    def _disk_path(self):
        return f"/proc/{os.getpid()}/fd/{self._disk.fileno()}"

    # A restart ends the emulator: the board's timer can stay silent for minutes after a reset. A panic does not end it.
    def command(self, agent_fd):
        version = (BUILD / "kernel" / "version").read_text().strip()
        return [
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

    def wait_restart(self, seconds=120):
        """Until the router has restarted itself and takes commands again; its clock is the machine's then, as after
        any start of the emulator."""
        self.wait_power_off(seconds)
        self.power_on()
        self.wait_ready()
