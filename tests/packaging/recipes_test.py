#!/usr/bin/python3
"""The recipes for firmwares' build systems, as far as they can be tried without one: each installs what this build made, by
stand-ins for what the build system brings, and asks for options that the project has (decision 0202).

Usage: recipes_test.py PROJECT BUILD FOLDER, FOLDER being emptied.
"""

import ast
import os
import pathlib
import re
import shutil
import subprocess
import sys

import kconfiglib

# What the stand-ins have of the build systems' own files: the names that the recipes use, and nothing more.
FEED_RULES = """
INSTALL_DIR=install -d -m0755
INSTALL_BIN=install -m0755
INSTALL_DATA=install -m0644
"""
FEED_PACKAGE = """
PKG_BUILD_DIR=$(WORK)/copied
PKG_INSTALL_DIR=$(WORK)/staged
define BuildPackage
.PHONY: prepare package options
prepare:
	$(Build/Prepare)
package:
	$(call Package/$(1)/install,$(WORK)/root)
options:
	@echo '$(CMAKE_OPTIONS)'
fields: export FIELDS=$$(Package/$(1))
fields:
	@echo "$$$$FIELDS"; echo '$(PKG_NAME) $(PKG_VERSION) $(PKG_RELEASE) $(PKG_LICENSE)'
endef
"""
EXTERNAL_TREE = """
INSTALL = install
qstrip = $(strip $(subst ",,$(1)))
define sep


endef
define cmake-package
install:
	$$(TIME_CHECK_INSTALL_TARGET_CMDS)
	$$(TIME_CHECK_INSTALL_INIT_SYSV)
options:
	@echo '$(TIME_CHECK_CONF_OPTS)'
fields:
	@echo '$(TIME_CHECK_VERSION) $(TIME_CHECK_SITE) $(TIME_CHECK_DEPENDENCIES)'
endef
include $(BR2_EXTERNAL_TIME_CHECK_PATH)/external.mk
"""

WANTED = {"usr/sbin/time_check", "usr/bin/cfm", "usr/bin/tcctl", "etc/iproute2/rt_tables.d/time_check.conf"}
LICENCES = ("LICENSE*", "LICENCE*", "COPYING*")


class Trial:
    def __init__(self, project, build, folder):
        self.project = project
        self.build = build
        self.folder = folder
        cmake = (project / "CMakeLists.txt").read_text() + "".join(
            path.read_text() for path in [*project.glob("cmake/*.cmake"), *project.glob("*/*/CMakeLists.txt")]
        )
        self.options = set(re.findall(r"(?:option|set)\((TIME_CHECK_\w+)", cmake))
        self.version = re.search(r"VERSION (\d+\.\d+\.\d+)", cmake).group(1)

    def new(self, name):
        path = self.folder / name
        path.mkdir(parents=True)
        return path

    def check_options(self, text):
        """Each -D is the project's; the ones that every recipe must switch off are."""
        given = dict(re.findall(r"-D(\w+)=(\S*)", text))
        assert len(given) >= 4, text
        assert given.keys() <= self.options, given.keys() - self.options
        for name in ("TESTS", "BENCH", "PREVIEW"):
            assert given[f"TIME_CHECK_{name}"] == "OFF", text
        assert given["TIME_CHECK_PLATFORM"] in ("linux", "/a/ground.cmake"), text

    def check_root(self, root, more):
        """What is wanted is there, programs can be run, and what integrators get is not there."""
        files = {str(path.relative_to(root)) for path in root.rglob("*") if path.is_file()}
        assert WANTED | more <= files, (WANTED | more) - files
        for name in files:
            assert not name.startswith(("usr/share/time_check/src", "usr/include")), name
            if "bin/" in name or "init.d/" in name:
                assert os.access(root / name, os.X_OK), name


def run(*words, **environment):
    done = subprocess.run([str(word) for word in words], env={**os.environ, **environment}, text=True, capture_output=True)
    if done.returncode != 0:
        raise SystemExit(f"status {done.returncode} of {words}:\n{done.stdout}{done.stderr}")
    return done.stdout


def try_feed(trial):
    work = trial.new("feed")
    for name, text in (("rules.mk", FEED_RULES), ("package.mk", FEED_PACKAGE), ("cmake.mk", "")):
        (work / name).write_text(text)
    make = ["make", "-s", "-C", trial.project / "packaging" / "openwrt",
            f"TOPDIR={work}", f"INCLUDE_DIR={work}", f"WORK={work}"]  # fmt: skip
    commands = run(*make, "-n", "prepare", "package")
    assert "tar -C" in commands and "install -m0755" in commands, commands
    trial.check_options(run(*make, "options"))
    trial.check_options(run(*make, "options", "TIME_CHECK_GROUND=/a/ground.cmake", "CONFIG_USE_MIPS16=y"))
    fields = run(*make, "fields")
    for name in ("SECTION", "CATEGORY", "TITLE", "DEPENDS"):
        assert re.search(rf"^\s*{name}:=\S", fields, re.MULTILINE), fields
    assert fields.splitlines()[-1] == f"time_check {trial.version} 1 ", fields  # and no licence

    for component in ("daemon", "tools"):
        run("cmake", "--install", trial.build, "--prefix", work / "staged/usr", "--component", component)
    run(*make, "prepare", "package")
    assert (work / "copied/time_check/CMakeLists.txt").exists() and not (work / "copied/build").exists()
    trial.check_root(work / "root", {"etc/init.d/time_check"})
    shutil.rmtree(work / "root")
    run(*make, "package", "TIME_CHECK_GROUND=/a/ground.cmake")
    assert not (work / "root/usr/bin/cfm").exists() and (work / "root/usr/sbin/time_check").exists()


def choices(config, values):
    """What is chosen in the build system's menu by these values."""
    kconfig = kconfiglib.Kconfig(str(config), warn_to_stderr=False)
    for name, value in values.items():
        assert kconfig.syms[name].set_value(value), name
    return {name for name, symbol in kconfig.syms.items() if symbol.str_value == "y"}


def try_external_tree(trial):
    work = trial.new("external")
    here = trial.project / "packaging" / "buildroot"
    (work / "Makefile").write_text(EXTERNAL_TREE)
    make = ["make", "-s", "-C", work, f"BR2_EXTERNAL_TIME_CHECK_PATH={here}", f"TIME_CHECK_BUILDDIR={trial.build}",
            f"TARGET_DIR={work}/root", "BR2_CMAKE=cmake"]  # fmt: skip
    commands = run(*make, "-n", "install")
    assert commands.count("--install") == 2 and "-m 0755" in commands, commands
    trial.check_options(run(*make, "options"))
    trial.check_options(run(*make, "options", 'BR2_PACKAGE_TIME_CHECK_GROUND="/a/ground.cmake"', "BR2_INIT_SYSTEMD=y"))
    version, site, *needs = run(*make, "fields").split()
    assert version == trial.version and pathlib.Path(site) == trial.project, (version, site)
    run(*make, "install")
    trial.check_root(work / "root", {"etc/init.d/S95time_check"})
    own = run(*make, "-n", "install", "fields", 'BR2_PACKAGE_TIME_CHECK_GROUND="/a/ground.cmake"')
    assert own.count("--install") == 1 and "lmdb" not in own, own

    # The menu chooses what the recipe depends on, when it can be chosen at all.
    outside = ["INSTALL_LIBSTDCPP", "TOOLCHAIN_GCC_AT_LEAST_10", "TOOLCHAIN_HAS_THREADS", "USE_MMU"]
    packages = ["PACKAGE_" + name.upper().replace("-", "_") for name in needs]
    (work / "Config.in").write_text(
        "".join(f'config BR2_{name}\n\tbool "{name}"\n' for name in outside + packages) + f'source "{here}/Config.in"\n'
    )
    chosen = {"BR2_" + name: "y" for name in outside} | {"BR2_PACKAGE_TIME_CHECK": "y"}
    assert {"BR2_" + name for name in packages} <= choices(work / "Config.in", chosen)
    own = choices(work / "Config.in", chosen | {"BR2_PACKAGE_TIME_CHECK_GROUND": "/a/ground.cmake"})
    assert "BR2_PACKAGE_LMDB" not in own and "BR2_PACKAGE_TIME_CHECK" in own
    for name in outside:
        assert "BR2_PACKAGE_TIME_CHECK" not in choices(work / "Config.in", chosen | {"BR2_" + name: "n"}), name
    assert re.search(r"^name: TIME_CHECK$", (here / "external.desc").read_text(), re.MULTILINE)


class Recipe:
    """A bb file or a layer's conf: assignments, in their order, `inherit`, and functions of the shell."""

    def __init__(self, path):
        self.values = {}
        self.functions = {}
        self.inherited = []
        lines = iter(path.read_text().replace("\\\n", "").splitlines())
        for line in lines:
            assigned = re.fullmatch(r'([\w:${}.-]+) *(\?=|:=|\.=|\+=|=) *"(.*)"', line)
            function = re.fullmatch(r"(\w+)\(\) \{", line)
            if assigned:
                self.values[assigned.group(1)] = assigned.group(3).strip()
            elif function:
                self.functions[function.group(1)] = "\n".join(iter(lambda: next(lines), "}"))
            elif line.startswith("inherit "):
                self.inherited += line.split()[1:]
            else:
                assert line == "" or line.startswith("#"), f"{path}: not understood: {line}"

    def python(self):
        return [text for value in self.values.values() for text in re.findall(r"\$\{@(.*?)\}", value)]

    def value(self, name, **others):
        """With what is Python in it worked out, as far as these recipes have it."""

        class Data:
            @staticmethod
            def getVar(asked):  # noqa: N802, the build system's name
                return others.get(asked, self.values.get(asked))

        class bb:  # noqa: N801
            class utils:  # noqa: N801
                @staticmethod
                def contains(_variable, item, yes, no, _data):
                    return yes if item in others.get("features", "") else no

        text = re.sub(r"\$\{@(.*?)\}", lambda found: eval(found.group(1), {"d": Data, "bb": bb}), self.values[name])
        return re.sub(r"\$\{(TIME_CHECK_\w+)\}", lambda found: others.get(found.group(1), self.values.get(found.group(1), "")), text)


def try_layer(trial):
    here = trial.project / "packaging" / "yocto"
    layer = Recipe(here / "conf" / "layer.conf")
    recipes = list(here.glob("recipes-*/*/*.bb"))
    assert len(recipes) == 1 and recipes[0].stem == f"time-check_{trial.version}", recipes
    recipe = Recipe(recipes[0])
    for name in ("SUMMARY", "DESCRIPTION", "SECTION", "LICENSE", "DEPENDS", "EXTRA_OECMAKE", "RDEPENDS:${PN}", "FILES:${PN}"):
        assert recipe.values[name] != "", name
    for text in recipe.python():
        ast.parse(text, mode="eval")
    assert {"cmake", "externalsrc", "systemd"} <= set(recipe.inherited)
    collection = layer.values["BBFILE_COLLECTIONS"]
    for name in ("BBFILE_PATTERN", "BBFILE_PRIORITY", "LAYERDEPENDS", "LAYERSERIES_COMPAT"):
        assert layer.values[f"{name}_{collection}"] != "", name
    # Sources are this tree, and nobody's server.
    source = layer.values[recipe.values["EXTERNALSRC"].strip("${}")].replace("${LAYERDIR}", str(here))
    assert pathlib.Path(source).resolve() == trial.project and "SRC_URI" not in recipe.values
    trial.check_options(recipe.value("EXTRA_OECMAKE"))
    trial.check_options(recipe.value("EXTRA_OECMAKE", TIME_CHECK_GROUND="/a/ground.cmake", features="systemd"))
    assert "lmdb" in recipe.value("DEPENDS") and recipe.value("DEPENDS", TIME_CHECK_GROUND="/a/ground.cmake") == ""
    install_layer(trial, recipe)


def install_layer(trial, recipe):
    """do_install as the shell reads it, where units lie below / and where they lie below /usr."""
    for number, units in enumerate(("/lib/systemd/system", "/usr/lib/systemd/system")):
        root = trial.new(f"layer{number}")
        variables = {
            "D": root, "B": trial.build, "S": trial.project, "prefix": "/usr", "sysconfdir": "/etc",
            "systemd_system_unitdir": units, "TIME_CHECK_COMPONENTS": recipe.value("TIME_CHECK_COMPONENTS"),
        }  # fmt: skip
        script = recipe.functions["do_install"]
        assert set(re.findall(r"\$\{(\w+)\}", script)) == set(variables), script
        run("sh", "-eu", "-c", script, **{name: str(value) for name, value in variables.items()})
        services = recipe.values["SYSTEMD_SERVICE:${PN}"].split()
        trial.check_root(root, {f"{units[1:]}/{service}" for service in services})
        packaged = ["usr/sbin", "usr/bin", "usr/libexec", "etc", units[1:], "usr/share"]  # by the build system or FILES
        packaged += re.findall(r"\$\{prefix\}/(\S+)", recipe.values["FILES:${PN}"].replace("${prefix}/", "${prefix}/usr/"))
        for path in root.rglob("*"):
            name = str(path.relative_to(root))
            assert path.is_dir() or name.startswith(tuple(packaged)), f"in no package: {name}"


def try_script(trial):
    """What BusyBox's init starts: its tools are stood in for by ones that print."""
    tools = trial.new("tools")
    for name in ("start-stop-daemon", "cfm", "sleep"):
        (tools / name).write_text(f'#!/bin/sh\necho "{name} $*"\n')
        (tools / name).chmod(0o755)
    script = trial.project / "packaging" / "buildroot" / "S95time_check"
    own = {"PATH": f"{tools}:{os.environ['PATH']}", "TIME_CHECK_PIDFILE": str(tools / "pid")}
    said = run("sh", script, "start", **own).replace(str(tools), "")
    assert said == (
        "Starting time_check: start-stop-daemon -S -q -b -m -p /pid -x /usr/sbin/time_check\nOK\n"
        "cfm post time_check time_check_led?relate_module_id=19,string_info=first_time_start\n"
    ), said
    said = run("sh", script, "stop", **own).replace(str(tools), "")
    assert said == "Stopping time_check: start-stop-daemon -K -q -p /pid\nOK\n", said


def check_licence(trial):
    """The recipes say what the project says: none. One that comes into the project has to come into the recipes."""
    stated = [path for pattern in LICENCES for path in trial.project.glob(pattern)]
    assert not stated, f"a licence is stated in {stated}; the recipes and packaging/debian/copyright say that none is"
    assert Recipe(next(trial.project.glob("packaging/yocto/recipes-*/*/*.bb"))).values["LICENSE"] == "CLOSED"
    assert "License: none-stated" in (trial.project / "packaging/debian/copyright").read_text()


def main(project, build, folder):
    shutil.rmtree(folder, ignore_errors=True)
    trial = Trial(project, build, folder)
    for each in (check_licence, try_feed, try_external_tree, try_layer, try_script):
        each(trial)
        print(f"{each.__name__}: as it should be", flush=True)


if __name__ == "__main__":
    main(*(pathlib.Path(word).resolve() for word in sys.argv[1:4]))
