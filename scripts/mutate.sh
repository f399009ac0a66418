#!/usr/bin/env bash
# Checks by mutation that the tests fail when the library's behaviour changes: changes its code in
# many places (in a copy, build-mutate/source), one at a time, and lists the changes that no test
# sees. Fails when fewer than 90 % are seen.
#   scripts/mutate.sh [--quick] [--all | --sample N [--seed S]] [--files REGEX] [--list] ...
# All options: scripts/mutate.sh --help. Changes that may survive stand, with the reason, in
# scripts/mutate/survivors.txt.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/setup.sh

ncdm_setup mutate
# Debian's python3-clang is seen by Debian's python3 alone.
python=python3
"$python" -c 'import clang.cindex' 2>/dev/null || python=/usr/bin/python3
exec "$python" -B scripts/mutate "$@"
