"""The walks of `run`, and what a release asks of each."""

import re


class Stage:
    """A walk that is gone in slices.

    The command is given the slice's number as its seed, and how many seconds it may take. What it found out it prints as
    lines "figure NAME NUMBER"; those of all slices are added up, but for a walk that knows by itself what it did before.
    """

    # pylint: disable-next=too-many-arguments
    def __init__(self, name, *, title, about, what, unit, asked, words, counted=".*", build="", sums=True, slice_s=90, patience=3):
        self.name = name
        self.title = title
        self.about = about
        self.what = what
        self.unit = unit
        self.asked = asked
        self.repeat = words
        self.build = build
        self.sums = sums
        self.slice_s = slice_s
        self.patience = patience # things found after which it is not gone on with
        self._counted = re.compile(counted)

    def command(self, seed):
        return self.repeat.replace("SEED", str(seed)).replace("SECONDS", str(self.slice_s)).split()

    def counts(self, figure):
        """Whether what a release asks for is counted in this figure, among others."""
        return self._counted.fullmatch(figure) is not None

    @staticmethod
    def figures(said):
        found = {}
        for name, value in re.findall(r"^figure (.+) ([0-9.]+)$", said, re.MULTILINE):
            found[name] = found.get(name, 0) + float(value)
        return found


DEFAULT = "cmake --build --preset default --parallel"

STAGES = [
    Stage("mutants",
          title="How much the tests of the rules hold",
          about="Small mistakes made in `time_check/*.cpp`, one at a time (decision 0220). Not noticed must be at most 3 of 100.",
          what="mistakes made in the daemon", unit="mistakes", asked=300, sums=False, slice_s=600,
          words="tests/mutants/run --count 300 --seed release --seconds SECONDS"),
    Stage("ground-mutants",
          title="How much the tests of the Linux ground hold",
          about="The same in `platform/linux` and `platform/common`.",
          what="mistakes made in the Linux ground", unit="mistakes", asked=300, sums=False, slice_s=600,
          words="tests/mutants/run --of ground --count 300 --seed release --seconds SECONDS"),
    Stage("busy",
          title="Beside eight busy processes",
          about="The usual tests and all stories of the box, which may not hang on what else the machine does.",
          what="whole runs beside eight busy processes", unit="runs in a row", asked=3,
          words="tests/proof/under_load busy", build=f"{DEFAULT}"),
    Stage("one-core",
          title="On one processor",
          about="The same on one processor.",
          what="whole runs on one processor", unit="runs in a row", asked=3,
          words="tests/proof/under_load one-core", build=f"{DEFAULT}"),
]
