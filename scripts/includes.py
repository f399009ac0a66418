#!/usr/bin/env python3
"""Checks that includes point one way: agent -> kernel -> stub -> util -> platform headers, and
yang -> util. What stands outside the library reaches in through include/ alone, and no files of one
floor stand in a circle. Prints each include that does not; fails when there is one.
"""

import argparse
import pathlib
import re
import subprocess
import sys

PLATFORM = ["zu_thread.h", "printk_syslog.h", "flash_home.h"]
UTIL = PLATFORM + ["netconf_dm_agent.h", "netconf_dm_util.h"]
STUB = UTIL + ["netconf_dm_kernel/records.h", "netconf_dm_kernel/bodies.h"]
KERNEL = STUB + [f"netconf_dm_kernel/{part}.h"
                 for part in ("edit", "indexes", "matching", "read", "registration", "tree")]

# Where a floor's files lie: the public headers and the floors of lib/ that they may include.
# netconf_dm_agent.h holds the types that applications share with every floor. The kernel takes the
# parts of its header that it needs; connection.h, though one of them, is the agent's.
RULES = {
    "lib/netconf_dm_util": (UTIL, ["netconf_dm_util"]),
    "lib/netconf_dm_yang": (UTIL + ["netconf_dm_yang.h"], ["netconf_dm_yang", "netconf_dm_util"]),
    "lib/netconf_dm_stub": (STUB, ["netconf_dm_stub", "netconf_dm_util"]),
    "lib/netconf_dm_kernel": (KERNEL, ["netconf_dm_kernel", "netconf_dm_stub", "netconf_dm_util"]),
    "lib/netconf_dm_agent": (None, ["netconf_dm_agent", "netconf_dm_kernel", "netconf_dm_stub",
                                    "netconf_dm_util"]),
    "platform": (PLATFORM, []),
    "options": (None, []),
    "server": (None, []),
    "bench": (None, []),
    "examples": (None, []),
    "yang": (None, []),
    # Tests and fuzzers use the ground's templates; what a floor hides is for the tests of that floor.
    "tests/netconf_dm_kernel": (None, ["netconf_dm_kernel", "netconf_dm_util"]),
    "tests/netconf_dm_agent": (None, ["netconf_dm_agent", "netconf_dm_util"]),
    "tests/netconf_dm_stub": (None, ["netconf_dm_stub", "netconf_dm_util"]),
    "tests": (None, ["netconf_dm_util"]),
    "fuzz": (None, ["netconf_dm_util"]),
}

# The watch over the connection looks at every task that may wait, and the tasks ask for it.
MUTUAL = {("lib/netconf_dm_agent/tasks", "lib/netconf_dm_agent/link_watch"),
          ("lib/netconf_dm_agent/registration_task", "lib/netconf_dm_agent/link_watch")}

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def tracked(folder):
    names = subprocess.run(["git", "ls-files", "--", f"{folder}/*.h", f"{folder}/*.cc", f"{folder}/*.c"],
                           check=True, capture_output=True, text=True).stdout.split()
    return [path for path in map(pathlib.Path, names) if path.exists()]


def is_public(name):
    return any((folder / name).exists() for folder in (pathlib.Path("include"), pathlib.Path("platform/include")))


def is_allowed(path, name, public, floors):
    if is_public(name):
        return public is None or name in public
    hidden = pathlib.Path("lib") / name
    if not hidden.exists():
        return True
    return hidden.parts[1] in floors


def circles(graph):
    """Each circle of units once, as the list of its units."""
    found, done = [], set()

    def visit(at, way):
        if at in way:
            found.append(way[way.index(at):] + [at])
            return
        if at in done:
            return
        for after in sorted(graph.get(at, ())):
            visit(after, way + [at])
        done.add(at)

    for start in sorted(graph):
        visit(start, [])
    return found


def main():
    argparse.ArgumentParser(prog="scripts/includes.py", description=__doc__).parse_args()
    complaints, graph = [], {}
    seen = set()
    for folder, (public, floors) in RULES.items():
        for path in tracked(folder):
            if path in seen:
                continue
            seen.add(path)
            text = path.read_text()
            for match in INCLUDE.finditer(text):
                name = match.group(1)
                if not is_allowed(path, name, public, floors):
                    line = text.count("\n", 0, match.start(1)) + 1
                    complaints.append(f'{path}:{line}: error: "{name}" is above this floor or hidden from it')
                edge = str(path.with_suffix("")), "lib/" + str(pathlib.Path(name).with_suffix(""))
                if path.parts[0] == "lib" and edge[0] != edge[1] and edge not in MUTUAL:
                    graph.setdefault(edge[0], set()).add(edge[1])
    for circle in circles(graph):
        complaints.append(f"{circle[0]}:1: error: includes go round: " + " -> ".join(circle))
    print("\n".join(complaints))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
