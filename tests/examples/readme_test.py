#!/usr/bin/env python3
"""The code that README.md shows is that of the examples.

    readme_test.py SOURCE_DIR
"""
import re
import sys

SOURCES = {"c": "examples/minimal/minimal.c", "cpp": "examples/vlans/operations.cc"}


def missing_lines(block, source):
    """Lines of the block that do not follow each other in the source."""
    lines = iter(source)
    return [line for line in block if line.strip() and line not in lines]


def main():
    root = sys.argv[1]
    with open(f"{root}/README.md") as file:
        blocks = re.findall(r"^```(c|cpp)\n(.*?)^```$", file.read(), re.MULTILINE | re.DOTALL)
    findings = [f"no block of {language}" for language in SOURCES if language not in dict(blocks)]
    for language, text in blocks:
        with open(f"{root}/{SOURCES[language]}") as file:
            source = file.read().splitlines()
        findings += [f"not in {SOURCES[language]}, or not there: {line}"
                     for line in missing_lines(text.splitlines(), source)[:1]]
    for finding in findings:
        print(f"readme_test: {finding}", file=sys.stderr)
    return 1 if findings else 0


sys.exit(main())
