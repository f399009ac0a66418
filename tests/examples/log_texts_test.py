#!/usr/bin/env python3
"""Every text that docs/log.md explains is one that the agent writes.

    log_texts_test.py SOURCE_DIR
"""
import pathlib
import re
import sys

source = pathlib.Path(sys.argv[1])
code = "\n".join(path.read_text() for path in sorted((source / "lib").rglob("*.cc")))
code = re.sub(r'"\s*\n?\s*"', "", code)  # texts that go on in the next line
texts = []
for line in (source / "docs/log.md").read_text().splitlines():
    if line.startswith("| `"):
        texts += re.findall(r"`([^`]+)`", line.split(" | ")[0])
missing = [text for text in texts if text.removesuffix("...") not in code]
if len(texts) < 50:
    missing.append(f"only {len(texts)} texts found in docs/log.md")
for text in missing:
    print(f"log_texts_test: the agent does not write: {text}", file=sys.stderr)
sys.exit(1 if missing else 0)
