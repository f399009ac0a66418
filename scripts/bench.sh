#!/usr/bin/env bash
# Builds and runs the benchmarks; ends with one line for each goal.
#   scripts/bench.sh [--quick] [--json FILE] [--only NAME]
# --quick  fewer sizes and shorter runs: a minute or two instead of twelve
# --json   writes all figures and goals to FILE, and those in process to FILE with .micro before its
#          extension
# --only   runs what has NAME in its name: read-leaf, read-list, get-id, entry, subtree, register,
#          hold, memory, instance, or a function such as BM_ParsePath
set -euo pipefail

called_from=$PWD
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/setup.sh

usage() { sed -n '2,8s/^# *//p' scripts/bench.sh; }

quick=()
json=
only=
while (($#)); do
  case $1 in
    --quick) quick=(--quick) ;;
    --json | --only)
      if (($# < 2)); then
        echo "bench: $1 needs a value" >&2
        exit 2
      fi
      if [[ $1 == --json ]]; then
        [[ $2 == /* ]] && json=$2 || json=$called_from/$2
      else
        only=$2
      fi
      shift
      ;;
    -h | --help)
      usage
      exit 0
      ;;
    *)
      echo "bench: unknown option $1" >&2
      usage >&2
      exit 2
      ;;
  esac
  shift
done

ncdm_setup
cmake --preset default
cmake --build --preset default --parallel "$(nproc)" --target bench
programs=build/bin/bench

run_micro() {
  local arguments=(--benchmark_color=false "--benchmark_filter=${only:-.}")
  if ((${#quick[@]})); then
    arguments+=(--benchmark_min_time=0.02)
    [[ -n $only ]] || arguments[1]='--benchmark_filter=-/1000000$'
  else
    arguments+=(--benchmark_min_time=0.1)
  fi
  if [[ -n $json ]]; then
    arguments+=("--benchmark_out=${json%.json}.micro.json" --benchmark_out_format=json)
  fi
  "$programs/micro" "${arguments[@]}"
}

if [[ -z $only || $only == BM_* ]]; then
  echo "bench: in process"
  run_micro
fi
if [[ $only != BM_* ]]; then
  echo "bench: end to end"
  "$programs/end-to-end" "${quick[@]}" ${only:+--only "$only"} ${json:+--json "$json"}
fi
