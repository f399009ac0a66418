#!/usr/bin/env bash
# Builds and runs all tests: as released, then with the address and undefined-behaviour sanitizers.
#   scripts/test.sh [--release-only | --asan-only]
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

release_only=0
asan_only=0
ncdm_parse --release-only --asan-only -- "$@"
presets=(default asan)
((release_only)) && presets=(default)
((asan_only)) && presets=(asan)

ncdm_setup
jobs=$(nproc)

run_preset() {
  ncdm_say "configuring $1" &&
    cmake --preset "$1" &&
    ncdm_say "building $1" &&
    cmake --build --preset "$1" --parallel "$jobs" &&
    ncdm_say "running the tests of $1" &&
    ctest --preset "$1" --parallel "$jobs" --output-on-failure --no-tests=error
}

failed=()
for preset in "${presets[@]}"; do
  run_preset "$preset" || failed+=("$preset")
done

if ((${#failed[@]})); then
  ncdm_say "failed: ${failed[*]}" >&2
  exit 1
fi
