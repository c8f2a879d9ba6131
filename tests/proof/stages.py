"""The walks of `run`, and what a release asks of each."""

import re

FIGURE = (r"^figure (?P<name>.+) (?P<number>[0-9.]+)$", r"\g<name>")


class Stage:
    """A walk that is gone in slices.

    In its words {seed} stands for the slice's number, {seconds} for how long the slice may take. `reading` is pairs of what a
    line of its says and the name of the figure in that. Figures of all slices are added up, but for a walk that knows by
    itself what it did before. `build` is a preset, and what of it to build.
    """

    # pylint: disable-next=too-many-arguments
    def __init__(self, name, *, title, about, what, unit, asked, words, reading=(FIGURE,), counted=".*", build="",
                 sums=True, slice_s=120, patience=3):
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
        self._reading = [(re.compile(line, re.MULTILINE), figure) for line, figure in reading]
        self._counted = re.compile(counted)

    def command(self, seed):
        return self.repeat.format(seed=seed, seconds=self.slice_s).split()

    def counts(self, figure):
        """Whether what a release asks for is counted in this figure, among others."""
        return self._counted.fullmatch(figure) is not None

    def figures(self, said):
        found = {}
        for line, figure in self._reading:
            for each in line.finditer(said):
                name = each.expand(figure)
                found[name] = found.get(name, 0) + float(each["number"].replace(",", ""))
        return found


DEFAULT = "default"

STAGES = [
    Stage("mutants",
          title="How much the tests of the rules hold",
          about="Small mistakes made in `time_check/*.cpp`, one at a time (decision 0220). Not noticed must be at most 3 of 100.",
          what="mistakes made in the daemon", unit="mistakes", asked=300, sums=False, slice_s=600,
          words="tests/mutants/run --count 300 --seed release --seconds {seconds}"),
    Stage("ground-mutants",
          title="How much the tests of the Linux ground hold",
          about="The same in `platform/linux` and `platform/common`.",
          what="mistakes made in the Linux ground", unit="mistakes", asked=300, sums=False, slice_s=600,
          words="tests/mutants/run --of ground --count 300 --seed release --seconds {seconds}"),
    Stage("libc",
          title="The virtual router against the machine",
          about="Random sequences of calls, told to the virtual router and to libc or the plain-Linux ground (decision 0221). All were alike.",
          what="sequences of calls told to the model and the machine", unit="sequences", asked=1000000,
          words="tests/contract/pair/walk build/default/bin --seconds {seconds} --seed {seed}000000", build=DEFAULT,
          reading=[(r"^(?P<name>[a-z]+): (?P<number>\d+) sequences ", r"\g<name>")]),
    Stage("faults",
          title="Mixed faults",
          about="Simulated years in which up to four faults stand at a time: how often each of them was met (`docs/faults.md`).",
          what="years of mixed faults", unit="years", asked=100, counted="years", sums=False, slice_s=600,
          words="tests/scenario/fault_years 100 --seconds {seconds}", build=DEFAULT,
          reading=[(r"^(?P<number>[0-9.]+) years of \d+ faults", "years"),
                   (r"^\| (?P<kind>[^|]+) \| (?P<name>[^|]+) \| (?P<number>\d+) \|", r"\g<kind>: \g<name>")]),
    Stage("kills",
          title="Killed at any instruction",
          about="`kill -9` at instructions spread evenly over operations on the store (decision 0224): the old or the new contents each time.",
          what="processes killed that work on the store", unit="kills", asked=10000,
          words="env TIME_CHECK_KILLS=1000 TIME_CHECK_SEED={seed} build/default/bin/store_steps_test", build=DEFAULT,
          reading=[(r"^(?P<name>\w+): (?P<number>\d+) kills over", r"\g<name>")]),
    Stage("ledger",
          title="What a killed daemon leaves outside",
          about="Daemons killed at steps of their lives, and followed by another: what was outside before is there again (decision 0227).",
          what="daemons killed at a step", unit="kills", asked=10000,
          words="env LEDGER_SECONDS={seconds} LEDGER_FIRST={seed}0000 tests/program/ledger.py build/default/bin walk", build=DEFAULT,
          reading=[(r": (?P<number>\d+) kills at steps", "kills")]),
    Stage("fuzzing",
          title="Fuzzing",
          about="Executions of each target, with its dictionary and its kept corpus (decision 0226).",
          what="executions of fuzz targets", unit="executions", asked=1e9, sums=False, slice_s=600,
          words="tests/fuzz/walk --seconds {seconds} --goal 1000000000",
          build="clang --target fuzz_programs",
          reading=[(r"^(?P<name>[a-z_]+) +(?P<number>[0-9,]+) +[0-9]+ +[0-9]+ +[0-9]+ +[0-9]+$", r"\g<name>")]),
    Stage("hostile",
          title="Hostile values in commands",
          about="The daemon's commands with values that want to be commands, through real shells (`docs/security.md`). None was.",
          what="commands of the daemon with hostile values", unit="commands", asked=10000000,
          words="build/default/bin/hostile_commands --commands 200000 --seed {seed}", build=DEFAULT,
          reading=[(r"^hostile values: (?P<number>\d+) commands", "commands")]),
    Stage("hostile-router",
          title="Hostile values in the router's programs",
          about="The same for what netctrl runs, and for the hooks of the line.",
          what="runs of the router's programs with hostile values", unit="runs", asked=100000,
          words="tests/security/hostile_router.py router --runs 4000 --seed {seed}",
          reading=[(r"^hostile values: (?P<number>\d+) runs", "runs")]),
    Stage("busy",
          title="Beside eight busy processes",
          about="The usual tests and all stories of the box, which may not hang on what else the machine does.",
          what="whole runs beside eight busy processes", unit="runs in a row", asked=3,
          words="tests/proof/under_load busy", build=DEFAULT),
    Stage("one-core",
          title="On one processor",
          about="The same on one processor.",
          what="whole runs on one processor", unit="runs in a row", asked=3,
          words="tests/proof/under_load one-core", build=DEFAULT),
]
