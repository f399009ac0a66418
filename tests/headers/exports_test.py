#!/usr/bin/env python3
"""The shared library as others meet it: what it exports, what it loads, how large it is.

    exports_test.py LIBRARY SOURCE_DIR COMPILER [MAX_STRIPPED_BYTES]
"""
import os
import re
import subprocess
import sys
import tempfile

PLATFORM = {"libzu-thread.so.1", "libzu-platform.so.1"}
LIBC = re.compile(r"libc\.so\.\d+|ld-linux.*|ld64\.so.*")
VERSION = "NETCONF_DM_AGENT_1"


def output(*command, text=None):
    return subprocess.run(command, check=True, capture_output=True, text=True, input=text).stdout


def declared(compiler, source):
    """The names that the five headers mark with NC_DM_API."""
    headers = sorted(name for name in os.listdir(f"{source}/include") if name.endswith(".h"))
    text = "".join(f'#include "{name}"\n' for name in headers)
    code = output(compiler, "-E", "-P", "-xc", f"-I{source}/include", f"-I{source}/platform/include", "-",
                  text=text)
    names = set()
    for declaration in re.findall(r'__attribute__\(\(visibility\("default"\)\)\)([^;{]*)', code):
        declaration = declaration.split("__attribute__")[0]
        # Either name(arguments), or a variable's name before its end or its bounds.
        match = re.search(r"(\w+)\s*\(", declaration) or re.search(r"(\w+)\s*(\[[^]]*\])*\s*$", declaration)
        names.add(match.group(1))
    return names


def exported(library):
    names = set()
    for line in output("nm", "-D", "--defined-only", library).splitlines():
        name = line.split()[-1]
        if name == VERSION or name.startswith(VERSION + "@"):
            continue
        name, _, version = name.partition("@@")
        if version != VERSION:
            names.add(f"{name} without the version {VERSION}")
        names.add(name)
    return names


def loaded(library):
    return set(re.findall(r"\(NEEDED\).*\[(.*)\]", output("readelf", "-dW", library)))


def everything_loaded(library):
    return set(re.findall(r"^\s*(\S+)", output("ldd", library), re.MULTILINE))


def stripped_size(library):
    with tempfile.NamedTemporaryFile() as copy:
        subprocess.run(["strip", "-o", copy.name, library], check=True)
        return os.path.getsize(copy.name)


def main():
    library, source, compiler = sys.argv[1:4]
    findings = []
    in_headers, in_library = declared(compiler, source), exported(library)
    if len(in_headers) < 100:
        findings.append(f"only {len(in_headers)} declarations found: the search itself is at fault")
    findings += [f"exported, but in no header: {name}" for name in sorted(in_library - in_headers)]
    findings += [f"declared, but not exported: {name}" for name in sorted(in_headers - in_library)]
    if len(sys.argv) > 4:
        others = {name for name in loaded(library) - PLATFORM if not LIBC.fullmatch(name)}
        findings += [f"loads {name} besides libc and the platform" for name in sorted(others)]
        if any("stdc++" in name for name in everything_loaded(library)):
            findings.append("loads libstdc++ by way of the platform")
        size, limit = stripped_size(library), int(sys.argv[4])
        print(f"{len(in_library)} names, {size} bytes stripped, at most {limit}")
        if size > limit:
            findings.append(f"{size} bytes stripped, more than {limit}")
    for finding in findings:
        print(f"exports_test: {finding}", file=sys.stderr)
    return 1 if findings else 0


sys.exit(main())
