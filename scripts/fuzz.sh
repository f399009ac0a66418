#!/usr/bin/env bash
# Builds the fuzzers and runs them, each from its corpus in fuzz/corpus.
#   scripts/fuzz.sh [--seconds N | --runs N] [--build-dir DIR] [TARGET...]
# Without TARGET all of them; without a limit 60 seconds each. New inputs are kept in the build folder, and
# so is an input that finds something. Ends with a line of figures for each target; fails when one has
# found something.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

all_targets=(frames schedulings decoders path value yang registration server netconf)
seconds=60
runs=
build_dir=build-fuzz
ncdm_parse --seconds=N --runs=N --build-dir=DIR TARGET... -- "$@"
limit=("-max_total_time=$seconds")
[[ -z $runs ]] || limit=("-runs=$runs")
build=$build_dir
targets=("${ncdm_operands[@]}")
for target in "${targets[@]}"; do
  [[ " ${all_targets[*]} " == *" $target "* ]] ||
    ncdm_bad_usage "no target is called $target (targets: ${all_targets[*]})"
done
((${#targets[@]})) || targets=("${all_targets[@]}")

ncdm_setup fuzz
cmake --preset fuzz -B "$build"
cmake --build "$build" --parallel "$(nproc)" --target fuzz

# The fuzzers' sockets, which a finding would leave behind. A folder in memory costs an execution less.
sockets=$(mktemp -d -p "$([[ -w /dev/shm ]] && echo /dev/shm || echo "${TMPDIR:-/tmp}")")
trap 'rm -rf "$sockets"' EXIT

# What makes an execution cheaper by half and loses nothing that the checks here look for: less freed memory
# kept back, which fits a processor's cache, and no statistics of rare features.
export ASAN_OPTIONS=quarantine_size_mb=16:malloc_context_size=8${ASAN_OPTIONS:+:$ASAN_OPTIONS}
cheap=(-entropic=0)

figure() { sed -n "s/^stat::$1: *//p" "$2"; }

# One target; leaves its line of figures in its folder. Fails when the target does.
run_target() {
  local work=$build/fuzz/$1 log result=0
  log=$work/log
  mkdir -p "$work/corpus"
  rm -f "$work/figures"
  ncdm_say "$1"
  TMPDIR=$sockets "$build/bin/fuzz/$1" "${limit[@]}" "${cheap[@]}" -print_final_stats=1 -rss_limit_mb=2048 \
    -timeout=25 -artifact_prefix="$work/" "$work/corpus" "fuzz/corpus/$1" >"$log" 2>&1 || result=$?
  local runs rate coverage
  runs=$(figure number_of_executed_units "$log")
  rate=$(figure average_exec_per_sec "$log")
  coverage=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -n 1)
  if ((result)); then
    tail -n 60 "$log" >&2
    echo "$1: a finding, see $log; ${runs:-?} executions" >"$work/figures"
    return 1
  fi
  echo "$1: no finding, $runs executions, $rate a second, $coverage edges" >"$work/figures"
}

# As many at a time as there are processors.
running=0
failed=0
for target in "${targets[@]}"; do
  if ((running == $(nproc))); then
    wait -n || failed=1
    running=$((running - 1))
  fi
  run_target "$target" &
  running=$((running + 1))
done
while ((running)); do
  wait -n || failed=1
  running=$((running - 1))
done
for target in "${targets[@]}"; do
  ncdm_say "$(cat "$build/fuzz/$target/figures")"
done
exit "$failed"
