"""The instrumented copy of the project, and its builds: a plain one, where allocations can be made
to fail, and one with sanitizers, which also see reads behind an end."""

import glob
import hashlib
import json
import re
import shutil
import subprocess
from pathlib import Path

import source

AREAS = {
    "codec": ["lib/netconf_dm_util/codec.cc", "lib/netconf_dm_util/transfer.cc",
              "lib/netconf_dm_stub/*.cc"],
    "path": ["lib/netconf_dm_util/path*.cc", "lib/netconf_dm_util/rooted_path.cc",
             "lib/netconf_dm_util/id_array*.cc"],
    "value": ["lib/netconf_dm_util/value.cc", "lib/netconf_dm_util/decimal.cc"],
    "instances": ["lib/netconf_dm_kernel/instances/*.cc"],
    "match": ["lib/netconf_dm_kernel/paths/match.cc",
              "lib/netconf_dm_kernel/paths/application_matchers.cc"],
    "edit": ["lib/netconf_dm_kernel/edit/*.cc"],
    "dispatch": ["lib/netconf_dm_agent/dispatch.cc", "lib/netconf_dm_agent/handle_*.cc"],
}
COPIED = ["CMakeLists.txt", "cmake", "docs", "examples", "include", "lib", "options", "packaging", "platform",
          "server", "tests", "yang"]
# The wider tests last.
TEST_FOLDERS = ["netconf_dm_util", "netconf_dm_stub", "netconf_dm_kernel", "netconf_dm_agent",
                "allocation", "integration"]
NUMBERS_A_FILE = 4096
PARSED_AS = ["-x", "c++", "-std=c++20", "-D_GNU_SOURCE"]
INCLUDES = ["include", "platform/include", "lib"]


class TreeError(Exception):
    pass


def write_if_changed(path, content):
    """Keeps the time of a file that stays as it is, so that it is not compiled again."""
    if path.exists() and path.read_bytes() == content:
        return
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(content)


class Tree:
    def __init__(self, root, build):
        self.root = root
        self.build = build
        self.copy = build / "source"
        self.numbered = sorted(str(p.relative_to(root)) for p in root.glob("lib/**/*.cc"))
        self.room = NUMBERS_A_FILE * len(self.numbered)
        self.arguments = PARSED_AS + [f"-I{root / name}" for name in INCLUDES]
        self.files = {}  # name: (text, sites)

    # ---- Mutants ----

    def area(self, name):
        for area, patterns in AREAS.items():
            if any(glob.fnmatch.fnmatch(name, pattern) for pattern in patterns):
                return area
        return "other"

    def selected(self, pattern):
        """The files of the areas; with a pattern all files of the library that match it."""
        if pattern is None:
            return [name for name in self.numbered if self.area(name) != "other"]
        return [name for name in self.numbered if re.search(pattern, name)]

    def find(self, names):
        dropped = self.read_dropped()
        for name in names:
            text, sites = source.find_sites(self.root, name, self.arguments)
            known = dropped.get(name, {})
            gone = set(known["mutants"]) if known.get("hash") == self.hash(text) else set()
            base = NUMBERS_A_FILE * self.numbered.index(name)
            count = 0
            for site in sites:
                for mutant, _ in site.mutants:
                    mutant.number = base + count
                    mutant.area = self.area(name)
                    count += 1
                site.mutants = [m for m in site.mutants if m[0].number - base not in gone]
            if count > NUMBERS_A_FILE:
                raise TreeError(f"{name}: more than {NUMBERS_A_FILE} mutants")
            self.files[name] = (text, sites)

    def mutants(self, names):
        return [mutant for name in names for site in self.files[name][1]
                for mutant, _ in site.mutants]

    # ---- Those that do not compile ----

    def hash(self, text):
        code = Path(source.__file__).read_text()
        return hashlib.sha256((code + text).encode()).hexdigest()

    def read_dropped(self):
        path = self.build / "dropped.json"
        return json.loads(path.read_text()) if path.exists() else {}

    def drop(self, name, lines):
        """Drops the mutants of the lines that the compiler complains of."""
        text, sites = self.files[name]
        gone = set()
        for line in lines:
            starting = [s for s in sites if s.mutants and s.mutants[0][0].line == line]
            around = [s for s in sites if s.mutants and s.mutants[0][0].line <= line
                      <= text.count("\n", 0, s.end) + 1]
            for site in starting or around:
                gone.update(mutant.number for mutant, _ in site.mutants)
                site.mutants = []
        if not gone:
            return False
        dropped = self.read_dropped()
        known = dropped.get(name, {})
        before = known["mutants"] if known.get("hash") == self.hash(text) else []
        base = NUMBERS_A_FILE * self.numbered.index(name)
        numbers = sorted(set(before) | {number - base for number in gone})
        dropped[name] = {"hash": self.hash(text), "mutants": numbers}
        (self.build / "dropped.json").write_text(json.dumps(dropped))
        return True

    # ---- Building ----

    def write(self):
        kept = set()
        for entry in COPIED:
            origin = self.root / entry
            paths = [origin] if origin.is_file() else sorted(p for p in origin.rglob("*") if p.is_file())
            for path in paths:
                name = str(path.relative_to(self.root))
                kept.add(name)
                if name not in self.files:
                    write_if_changed(self.copy / name, path.read_bytes())
                    shutil.copymode(path, self.copy / name)
        for path in [p for p in self.copy.rglob("*") if p.is_file()]:
            if str(path.relative_to(self.copy)) not in kept:
                path.unlink()
        switch = Path(__file__).parent / "switch.h"
        write_if_changed(self.build / "include" / "mutation_switch.h", switch.read_bytes())
        self.write_instrumented()

    def write_instrumented(self):
        for name, (text, sites) in self.files.items():
            content = source.instrument(name, text, sites)
            write_if_changed(self.copy / name, content.encode())

    def run(self, *command):
        return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)

    def must_run(self, *command):
        done = self.run(*command)
        if done.returncode != 0:
            raise TreeError(f"{' '.join(command)}\n{done.stdout[-6000:]}")

    def compile(self, variant, jobs, sanitize=""):
        directory = self.build / variant
        self.must_run("cmake", "-S", str(self.copy), "-B", str(directory), "-G", "Ninja",
                      "-DCMAKE_BUILD_TYPE=Debug", f"-DCMAKE_CXX_FLAGS=-w -I{self.build}/include",
                      "-DCMAKE_CXX_FLAGS_DEBUG=-O1", "-DBUILD_TESTING=ON",
                      f"-DNCDM_SANITIZE={sanitize}")
        ninja = ["ninja", "-C", str(directory), f"-j{jobs}"]
        self.compile_library(ninja)
        self.must_run(*ninja, *[f"tests/{folder}/all" for folder in TEST_FOLDERS])

    def compile_library(self, ninja):
        while True:
            done = self.run(*ninja, "-k0", "netconf_dm_agent_objects")
            if done.returncode == 0:
                return
            lines = {}
            for name, line in re.findall(r"^(?:\S*/)?(lib/\S+?):(\d+):\d+: (?:fatal )?error:",
                                         done.stdout, re.MULTILINE):
                lines.setdefault(name, set()).add(int(line))
            if not any([self.drop(name, at) for name, at in lines.items() if name in self.files]):
                raise TreeError(f"the library does not compile:\n{done.stdout[-6000:]}")
            self.write_instrumented()

    def programs(self, variant):
        """The test programs: (folder, path)."""
        found = []
        linked = set(re.findall(r"^build (bin/tests/\w+):",
                                (self.build / variant / "build.ninja").read_text(), re.MULTILINE))
        for folder in TEST_FOLDERS:
            for directory in sorted((self.build / variant / "tests" / folder).glob("CMakeFiles/*.dir")):
                program = self.build / variant / "bin" / "tests" / directory.stem
                if f"bin/tests/{directory.stem}" in linked:
                    found.append((folder, program))
        return found
