#!/usr/bin/env bash
# Every script says what it does when it is asked for --help, at once and with success.
#   help_test.sh SOURCE_DIR
set -euo pipefail
failures=0
for script in "$1"/scripts/*.sh; do
  name=$(basename "$script")
  # The first is sourced alone, the second runs in a clean Debian; the third's help is its program's, which needs clang.
  case $name in common.sh | package_try.sh | mutate.sh) continue ;; esac
  output=$(timeout 20 "$script" --help 2>&1) || {
    echo "help_test: $name --help ended with $?" >&2
    failures=1
  }
  [[ $output == *"scripts/$name"* ]] || {
    echo "help_test: $name --help does not say how to call it: $output" >&2
    failures=1
  }
done
exit $failures
