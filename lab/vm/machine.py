"""The emulated Debian machine, with systemd."""

import datetime
import pathlib
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

from emulated import Emulated, MachineError  # noqa: E402, F401: who starts a machine also catches its errors

BUILD = pathlib.Path(__file__).resolve().parents[2] / "build" / "vm"


class Machine(Emulated):
    """One Debian machine. What it writes to its disk is kept over its restarts, and gone with this object; outside is
    the image of a second disk, which it may only read. Its clock begins at the given time in UTC, which must be later
    than its systemd was built, or systemd takes that moment instead. lan names a tap device, which is the other end of its
    only network card; without it the machine has none."""

    def __init__(self, console, outside, clock, lan=None):
        self._console = console
        self._outside = outside
        self._clock = clock
        self._lan = lan
        super().__init__()

    # Not every machine's own virtualisation works where it says that it is there, so it is not asked for.
    def command(self, agent_fd):
        disks = [
            f"file={BUILD}/base.img,if=virtio,format=raw,snapshot=on,cache=unsafe",
            f"file={self._outside},if=virtio,format=raw,readonly=on",
        ]
        card = ["-nic", "none"]
        if self._lan is not None:
            card = ["-netdev", f"tap,id=lan,ifname={self._lan},script=no,downscript=no", "-device", "virtio-net-pci,netdev=lan,romfile="]
        return [
            "qemu-system-x86_64", "-accel", "tcg,thread=multi", "-cpu", "max", "-smp", "2", "-m", "512",
            "-display", "none", "-vga", "none", "-monitor", "none", *card,
            "-rtc", f"base={self._clock:%Y-%m-%dT%H:%M:%S}",
            "-kernel", f"{BUILD}/kernel",
            "-initrd", f"{BUILD}/initrd",
            "-append", "root=/dev/vda rw console=ttyS0 quiet systemd.show_status=0 mitigations=off panic=-1",
            *(word for disk in disks for word in ("-drive", disk)),
            "-serial", self._console,
            "-chardev", f"socket,id=agent,fd={agent_fd}", "-serial", "chardev:agent",
        ]  # fmt: skip

    def wait_restart(self, seconds=120):
        """Until the machine has restarted and takes commands again. The emulator stays, and with it the clock."""
        self.wait_ready(seconds)


def main():
    """Starts a machine for who looks on: its console is this terminal. machine.py OUTSIDE-IMAGE"""
    with Machine("stdio", sys.argv[1], datetime.datetime.now(datetime.timezone.utc)) as machine:
        while True:
            machine.wait_ready(seconds=3600)
            time.sleep(1)


if __name__ == "__main__":
    main()
