#!/usr/bin/env bash
# Builds and runs all tests: as released, then with the address and undefined-behaviour sanitizers.
#   scripts/test.sh [--release-only | --asan-only]
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/setup.sh

usage() { sed -n '2,3s/^# *//p' scripts/test.sh; }

presets=(default asan)
for argument in "$@"; do
  case $argument in
    --release-only) presets=(default) ;;
    --asan-only) presets=(asan) ;;
    -h | --help)
      usage
      exit 0
      ;;
    *)
      echo "test: unknown option $argument" >&2
      usage >&2
      exit 2
      ;;
  esac
done

ncdm_setup
jobs=$(nproc)

run_preset() {
  echo "test: configuring $1" &&
    cmake --preset "$1" &&
    echo "test: building $1" &&
    cmake --build --preset "$1" --parallel "$jobs" &&
    echo "test: running the tests of $1" &&
    ctest --preset "$1" --parallel "$jobs" --output-on-failure --no-tests=error
}

failed=()
for preset in "${presets[@]}"; do
  run_preset "$preset" || failed+=("$preset")
done

if ((${#failed[@]})); then
  echo "test: failed: ${failed[*]}" >&2
  exit 1
fi
