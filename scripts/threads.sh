#!/usr/bin/env bash
# Builds with the thread sanitizer and lets four threads use every registration call while the event
# loop edits, reads and reconnects. Ends with one line of figures; fails on a race, on a deadlock and
# when a registration is lost.
#   scripts/threads.sh [--seconds N | --minutes N] [--seed N] [--build-dir DIR]
# Ten minutes without an option.
set -euo pipefail

called_from=$PWD
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/setup.sh

usage() { sed -n '2,6s/^# *//p' scripts/threads.sh; }

seconds=600
seed=1
build=build-tsan
while (($#)); do
  case $1 in
    --seconds | --minutes | --seed)
      if [[ $# -lt 2 || ! $2 =~ ^[1-9][0-9]*$ ]]; then
        echo "threads: $1 needs a number" >&2
        exit 2
      fi
      case $1 in
        --seconds) seconds=$2 ;;
        --minutes) seconds=$(($2 * 60)) ;;
        --seed) seed=$2 ;;
      esac
      shift
      ;;
    --build-dir)
      if (($# < 2)); then
        echo "threads: $1 needs a value" >&2
        exit 2
      fi
      [[ $2 == /* ]] && build=$2 || build=$called_from/$2
      shift
      ;;
    -h | --help)
      usage
      exit 0
      ;;
    *)
      echo "threads: unknown option $1" >&2
      usage >&2
      exit 2
      ;;
  esac
  shift
done

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
  echo "threads: failed, see $log; ${figures:-no figures}"
  exit 1
fi
echo "$figures"
