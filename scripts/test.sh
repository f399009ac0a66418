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

build() {
  ncdm_say "configuring $1" &&
    cmake --preset "$1" -DNCDM_TESTS_ONCE="$once" &&
    ncdm_say "building $1" &&
    cmake --build --preset "$1" --parallel "$jobs"
}

# The scripts among the tests wait more than they work, so two tests more are run than there are processors.
run_tests() {
  ncdm_say "running the tests of $1" &&
    ctest --preset "$1" --parallel "$((jobs + 2))" --output-on-failure --no-tests=error
}

# While the tests of a build wait, the next one is compiled with what they leave of the processors, in a process group
# of its own, which ends with this script.
builder=
log=$(mktemp)
trap '[[ -z $builder ]] || kill -- "-$builder" 2>/dev/null; rm -f "$log"' EXIT
start_build() {
  set -m
  (renice -n 10 -p "$BASHPID" >/dev/null && build "$1") >"$log" 2>&1 </dev/null &
  set +m
  builder=$!
}
finish_build() {
  local rc=0
  tail -n +1 -f --pid="$builder" --sleep-interval=0.2 "$log"
  wait "$builder" || rc=$?
  builder=
  return "$rc"
}

failed=()
for ((i = 0; i < ${#presets[@]}; i++)); do
  preset=${presets[i]}
  built=1
  if ((i == 0)); then
    build "$preset" || built=0
  else
    finish_build || built=0
  fi
  ((i + 1 == ${#presets[@]})) || start_build "${presets[i + 1]}"
  if ((!built)) || ! run_tests "$preset"; then
    failed+=("$preset")
  fi
done

if ((${#failed[@]})); then
  ncdm_say "failed: ${failed[*]}" >&2
  exit 1
fi
