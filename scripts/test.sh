#!/usr/bin/env bash
# Builds and runs the tests: as released, then with the address and undefined-behaviour sanitizers. Those that say as
# much in one of the two builds as in both run in that one alone; tests/CMakeLists.txt says which.
#   scripts/test.sh [--everything | --release-only | --asan-only]
# --everything runs every test in both builds; with one build alone every test runs in it.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

everything=0
release_only=0
asan_only=0
ncdm_parse --everything --release-only --asan-only -- "$@"
presets=(default asan)
((release_only)) && presets=(default)
((asan_only)) && presets=(asan)
once=ON
((everything || release_only || asan_only)) && once=OFF

ncdm_setup
jobs=$(nproc)

# The scripts among the tests wait more than they work, so two tests more are run than there are processors.
run_preset() {
  ncdm_say "configuring $1" &&
    cmake --preset "$1" -DNCDM_TESTS_ONCE="$once" &&
    ncdm_say "building $1" &&
    cmake --build --preset "$1" --parallel "$jobs" &&
    ncdm_say "running the tests of $1" &&
    ctest --preset "$1" --parallel "$((jobs + 2))" --output-on-failure --no-tests=error
}

failed=()
for preset in "${presets[@]}"; do
  run_preset "$preset" || failed+=("$preset")
done

if ((${#failed[@]})); then
  ncdm_say "failed: ${failed[*]}" >&2
  exit 1
fi
