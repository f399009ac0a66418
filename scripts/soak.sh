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
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

seconds=600
minutes=
rounds=1000
restarts=
floods=
without_server=
seed=1
hostile=0
attackers=0
hostile_agents=0
output=
build_dir=build
ncdm_parse --seconds=N --minutes=N --rounds=N --restarts=N --floods=N --without-server=N --seed=N \
  --output=DIR --build-dir=DIR --hostile --attackers --hostile-agents -- "$@"
tests=(soak)
((hostile)) && tests=(hostile attackers hostile_agents)
((attackers)) && tests=(attackers)
((hostile_agents)) && tests=(hostile_agents)
[[ -z $restarts ]] || tests=(restarts)
[[ -z $floods ]] || tests=(floods) rounds=$floods
[[ -z $without_server ]] || tests=(without_server) rounds=$without_server
[[ -z $minutes ]] || seconds=$((minutes * 60))
build=$build_dir
output=${output:-$build/soak}

ncdm_setup plot
cmake --preset default -B "$build"
targets=("${tests[@]/#/soak_}")
cmake --build "$build" --parallel "$(nproc)" --target "${targets[@]/%/_test}"

mkdir -p "$output"
samples=$output/samples.csv
# What the allocator keeps for the thread would count as used.
export GLIBC_TUNABLES=glibc.malloc.tcache_count=0
# A socket that is made on a disk waits for whoever writes to it.
if [[ -d /dev/shm && -w /dev/shm ]]; then export NCDM_TEST_TMP=/dev/shm; fi
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
      ncdm_say "cannot draw $plot.svg" >&2
  done
  figures=$(grep "^$test: " "$log" || true)
  if ((result)) || [[ -z $figures ]]; then
    tail -n 60 "$log" >&2
    ncdm_say "failed, see $log; ${figures:-no figures}"
    return 1
  fi
  echo "$figures"
}

failed=0
for test in "${tests[@]}"; do
  run_test "$test" || failed=1
done
exit "$failed"
