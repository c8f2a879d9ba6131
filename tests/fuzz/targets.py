"""The fuzz targets of a build folder, as CMake wrote them down."""
import pathlib
import sys
from dataclasses import dataclass

HERE = pathlib.Path(__file__).resolve().parent
PROJECT = HERE.parents[1]


@dataclass
class Target:
    name: str
    program: pathlib.Path
    flags: list[str]  # of the fuzzer
    units: list[str]  # own ones: FILE or FILE:FUNCTION,FUNCTION

    @property
    def corpus(self):
        return HERE / "corpus" / self.name

    @property
    def dictionary(self):
        return HERE / "dictionaries" / self.name


def read_targets(build, names=()):
    """All of them, or those of these names; ends the program when there is no such one."""
    written = build / "tests/fuzz/targets"
    if not written.exists():
        sys.exit(f"{build} has no fuzz targets: build its target fuzz_programs first")
    found = []
    for line in written.read_text().splitlines():
        name, flags, units = line.split("|")
        found.append(Target(name, build / "bin" / f"fuzz_{name}", flags.split(), units.split()))
    unknown = set(names) - {target.name for target in found}
    if unknown:
        sys.exit(f"no such target: {' '.join(sorted(unknown))}; there are {' '.join(target.name for target in found)}")
    return [target for target in found if not names or target.name in names]
