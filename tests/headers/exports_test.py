#!/usr/bin/env python3
"""The shared libraries as others meet them: what they export, what the agent's loads, how large it is.

    exports_test.py agent LIBRARY SOURCE_DIR COMPILER [MAX_STRIPPED_BYTES]
    exports_test.py model LIBRARY,LIBRARY SOURCE_DIR COMPILER
"""
import os
import re
import subprocess
import sys
import tempfile

PLATFORM = {"libzu-thread.so.1", "libzu-platform.so.1"}
LIBC = re.compile(r"libc\.so\.\d+|ld-linux.*|ld64\.so.*")
VERSIONS = {"agent": "NETCONF_DM_AGENT_1", "model": "NCDM_MODEL_1"}


def output(*command, text=None):
    return subprocess.run(command, check=True, capture_output=True, text=True, input=text).stdout


def declared(compiler, source, headers):
    """The names that the headers mark with NC_DM_API."""
    text = "".join(f'#include "{name}"\n' for name in headers)
    folders = [f"-I{source}/{folder}" for folder in ("include", "platform/include", "yang/runtime")]
    code = output(compiler, "-E", "-P", "-xc", *folders, "-", text=text)
    names = set()
    for declaration in re.findall(r'__attribute__\(\(visibility\("default"\)\)\)([^;{]*)', code):
        declaration = declaration.split("__attribute__")[0]
        # Either name(arguments), or a variable's name before its end or its bounds.
        match = re.search(r"(\w+)\s*\(", declaration) or re.search(r"(\w+)\s*(\[[^]]*\])*\s*$", declaration)
        names.add(match.group(1))
    return names


def declared_by(what, compiler, source):
    """Those of the agent's five headers, or those that a generated application's header has besides."""
    agent = sorted(name for name in os.listdir(f"{source}/include") if name.endswith(".h"))
    names = declared(compiler, source, agent)
    return names if what == "agent" else declared(compiler, source, ["ncdm_model.h"]) - names


def exported(library, expected):
    names = set()
    for line in output("nm", "-D", "--defined-only", library).splitlines():
        name = line.split()[-1]
        if name == expected or name.startswith(expected + "@"):
            continue
        name, _, version = name.partition("@@")
        if version != expected:
            names.add(f"{name} without the version {expected}")
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


def findings_of_release(library, limit):
    """What is wrong with the agent's library as it is released."""
    findings = []
    others = {name for name in loaded(library) - PLATFORM if not LIBC.fullmatch(name)}
    findings += [f"loads {name} besides libc and the platform" for name in sorted(others)]
    if any("stdc++" in name for name in everything_loaded(library)):
        findings.append("loads libstdc++ by way of the platform")
    size = stripped_size(library)
    print(f"{size} bytes stripped, at most {limit}")
    if size > limit:
        findings.append(f"{size} bytes stripped, more than {limit}")
    return findings


def main():
    what, libraries, source, compiler = sys.argv[1:5]
    libraries = libraries.split(",")
    findings = []
    in_headers = declared_by(what, compiler, source)
    in_libraries = set().union(*(exported(library, VERSIONS[what]) for library in libraries))
    if len(in_headers) < {"agent": 100, "model": 20}[what]:
        findings.append(f"only {len(in_headers)} declarations found: the search itself is at fault")
    findings += [f"exported, but in no header: {name}" for name in sorted(in_libraries - in_headers)]
    findings += [f"declared, but not exported: {name}" for name in sorted(in_headers - in_libraries)]
    print(f"{len(in_libraries)} names")
    if len(sys.argv) > 5:
        findings += findings_of_release(libraries[0], int(sys.argv[5]))
    for finding in findings:
        print(f"exports_test: {finding}", file=sys.stderr)
    return 1 if findings else 0


sys.exit(main())
