#!/usr/bin/env bash
# Builds and runs a long run against the library; ends with one line of figures. Fails on any
# difference from the model, when memory or descriptors grow, and when the event loop is held.
#   scripts/soak.sh [--seconds N | --minutes N] [--hostile [--rounds N]] [--seed N] [--output DIR] [--build-dir DIR]
#   scripts/soak.sh --attackers | --hostile-agents [--rounds N] [--output DIR] [--build-dir DIR]
#   scripts/soak.sh --restarts N [--seed N] [--output DIR] [--build-dir DIR]
#   scripts/soak.sh --floods N | --without-server N [--output DIR] [--build-dir DIR]
# Without an option ten minutes of random requests, announcements and losses of the server.
# --hostile   servers that never read, close, split, flood and talk nonsense, for that time; then the two below
# --attackers  floods, threads, logs, reconnections against the agent: 1,000 rounds of each, with its hold of the
#             event loop and its memory
# --hostile-agents  agents that flood, lie, do not read: the same of the server
# --restarts  N restarts of the server, at any moment; the agent's timers run out at once
# --floods    N servers that send segments without end and go; what the agent keeps is bounded
# --without-server  N instances that come and go before there is a server
# --output    where samples.csv, memory.svg and latency.svg go; build/soak otherwise
set -euo pipefail

called_from=$PWD
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/setup.sh

usage() { sed -n '2,16s/^# *//p' scripts/soak.sh; }

tests=(soak)
seconds=600
rounds=1000
restarts=
seed=1
output=
build=build
absolute() { [[ $1 == /* ]] && echo "$1" || echo "$called_from/$1"; }

take_value() {
  case $1 in
    --output) output=$(absolute "$2") ;;
    --build-dir) build=$(absolute "$2") ;;
    *)
      if [[ ! $2 =~ ^[1-9][0-9]*$ ]]; then
        echo "soak: $1 needs a number" >&2
        exit 2
      fi
      case $1 in
        --seconds) seconds=$2 ;;
        --minutes) seconds=$(($2 * 60)) ;;
        --restarts) tests=(restarts) restarts=$2 ;;
        --floods) tests=(floods) rounds=$2 ;;
        --without-server) tests=(without_server) rounds=$2 ;;
        --rounds) rounds=$2 ;;
        --seed) seed=$2 ;;
      esac
      ;;
  esac
}

while (($#)); do
  case $1 in
    --seconds | --minutes | --rounds | --restarts | --floods | --without-server | --seed | --output | \
      --build-dir)
      if (($# < 2)); then
        echo "soak: $1 needs a value" >&2
        exit 2
      fi
      take_value "$1" "$2"
      shift
      ;;
    --hostile) tests=(hostile attackers hostile_agents) ;;
    --attackers) tests=(attackers) ;;
    --hostile-agents) tests=(hostile_agents) ;;
    -h | --help)
      usage
      exit 0
      ;;
    *)
      echo "soak: unknown option $1" >&2
      usage >&2
      exit 2
      ;;
  esac
  shift
done
output=${output:-$build/soak}

ncdm_setup plot
cmake --preset default -B "$build"
targets=("${tests[@]/#/soak_}")
cmake --build "$build" --parallel "$(nproc)" --target "${targets[@]/%/_test}"

mkdir -p "$output"
samples=$output/samples.csv
# What the allocator keeps for the thread would count as used.
export GLIBC_TUNABLES=glibc.malloc.tcache_count=0
export NCDM_SOAK_CSV=$samples NCDM_SOAK_SEED=$seed

# Runs one test; prints its lines of figures. False when it fails.
run_test() {
  local test=$1 log=$output/$1.log result=0 figures plot plots=(memory latency)
  local limit=NCDM_SOAK_SECONDS=$seconds
  case $test in
    restarts) limit=NCDM_SOAK_RESTARTS=$restarts ;;
    hostile) plots=(memory) ;;
    floods | without_server) limit=NCDM_SOAK_ROUNDS=$rounds plots=(memory) ;;
    attackers | hostile_agents) limit=NCDM_SOAK_ROUNDS=$rounds plots=() ;;  # rounds are all alike: no samples
  esac
  env "$limit" "$build/bin/tests/soak_${test}_test" --gtest_color=no >"$log" 2>&1 || result=$?
  for plot in "${plots[@]}"; do
    gnuplot -e "samples='$samples'; target='$output/$plot.svg'" "tests/soak/$plot.gp" ||
      echo "soak: cannot draw $plot.svg" >&2
  done
  figures=$(grep "^$test: " "$log" || true)
  if ((result)) || [[ -z $figures ]]; then
    tail -n 60 "$log" >&2
    echo "soak: failed, see $log; ${figures:-no figures}"
    return 1
  fi
  echo "$figures"
}

failed=0
for test in "${tests[@]}"; do
  run_test "$test" || failed=1
done
exit "$failed"
