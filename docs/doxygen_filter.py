#!/usr/bin/env python3
"""Gives Doxygen the headers' plain comments: one above a declaration documents it, one behind a member that member."""
import re
import sys

# What Doxygen would take for markup is meant as it stands in a plain comment.
MARKUP = str.maketrans({"\\": "\\\\", "@": "\\@", "<": "\\<", ">": "\\>", "#": "\\#", "%": "\\%", "&": "\\&", '"': '\\"'})


def documented(match):
    indent, behind, text = match.group("indent"), match.group("code"), match.group("text")
    text = text.translate(MARKUP)
    if behind.strip():
        return f"{indent}{behind}/**<{text}*/"
    section = re.fullmatch(r" ---- (.*) ---- ", text)
    return f"{indent}/*{text}*/" if section else f"{indent}/**{text}*/"


def main():
    with open(sys.argv[1], encoding="utf-8") as source:
        text = source.read()
    # The first comment is the file's.
    text = re.sub(r"^/\*(?!\*)\s*\n?", "/** @file\n * ", text, count=1)
    head, separator, rest = text.partition("*/")
    rest = re.sub(r"^(?P<indent>[ \t]*)(?P<code>[^\n/]*?)/\*(?P<text>.*?)\*/", documented, rest,
                  flags=re.MULTILINE | re.DOTALL)
    sys.stdout.write(head + separator + rest)


main()
