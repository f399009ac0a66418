#!/usr/bin/env bash
# Builds with the thread sanitizer and lets four threads use every registration call while the event
# loop edits, reads and reconnects. Ends with one line of figures; fails on a race, on a deadlock and
# when a registration is lost.
#   scripts/threads.sh [--seconds N | --minutes N] [--seed N] [--build-dir DIR]
# Ten minutes without an option.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

seconds=600
minutes=
seed=1
build_dir=build-tsan
ncdm_parse --seconds=N --minutes=N --seed=N --build-dir=DIR -- "$@"
[[ -z $minutes ]] || seconds=$((minutes * 60))
build=$build_dir

ncdm_setup
cmake --preset tsan -B "$build"
cmake --build "$build" --parallel "$(nproc)" --target soak_threads_test

log=$build/threads.log
result=0
NCDM_SOAK_SECONDS=$seconds NCDM_SOAK_SEED=$seed TSAN_OPTIONS=second_deadlock_stack=1 \
  "$build/bin/tests/soak_threads_test" --gtest_color=no >"$log" 2>&1 || result=$?

figures=$(grep '^threads: ' "$log" || true)
if ((result)) || [[ -z $figures ]]; then
  tail -n 100 "$log" >&2
  ncdm_say "failed, see $log; ${figures:-no figures}"
  exit 1
fi
echo "$figures"
