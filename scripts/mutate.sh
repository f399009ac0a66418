#!/usr/bin/env bash
# Checks by mutation that the tests fail when the library's behaviour changes: changes its code in
# many places (in a copy, build-mutate/source), one at a time, and lists the changes that no test
# sees. Fails when fewer than 90 % are seen.
#   scripts/mutate.sh [OPTION...]
# --files REGEX       only files of lib/ that match
# --sample N          how many changes, spread over the areas (400)
# --seed S            which sample
# --all               every change
# --quick             a sample of 200, a minute's work behind the build
# --sanitize          a second build, with sanitizers, for what is left
# --slow              run also the integration tests that take long, for what is left
# --again             only those that the last run did not see
# --list              list the changes; run nothing
# --at-least PERCENT  fail when fewer are seen (90)
# --jobs N            how many at a time
# --build-dir DIR     the copy's folder
# Changes that may survive stand, with the reason, in scripts/mutate/survivors.txt.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

ncdm_parse --files=REGEX --sample=N --seed=S --all --quick --sanitize --slow --again --list \
  --at-least=PERCENT --jobs=N --build-dir=DIR -- "$@"

ncdm_setup mutate
# Debian's python3-clang is seen by Debian's python3 alone.
python=python3
"$python" -c 'import clang.cindex' 2>/dev/null || python=/usr/bin/python3
exec "$python" -B scripts/mutate "$@"
