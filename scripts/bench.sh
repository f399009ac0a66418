#!/usr/bin/env bash
# Builds and runs the benchmarks; ends with one line for each goal.
#   scripts/bench.sh [--quick] [--json FILE] [--plots DIRECTORY] [--only NAME]
# --quick  fewer sizes and shorter runs: about a minute instead of ten
# --json   writes all figures and goals to FILE
# --plots  draws cost against the number of entries into DIRECTORY, as SVG
# --only   runs what has NAME in its name: read-leaf, read-list, get-id, entry, subtree, register,
#          hold, memory, instance, or a function such as BM_ParsePath
# bench/netconf.py compares ncdm-netconf with the console, once they are built.
set -euo pipefail

called_from=$PWD
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/setup.sh

usage() { sed -n '2,9s/^# *//p' scripts/bench.sh; }

quick=()
json=
plots=
only=
absolute() { [[ $1 == /* ]] && echo "$1" || echo "$called_from/$1"; }
while (($#)); do
  case $1 in
    --quick) quick=(--quick) ;;
    --json | --plots | --only)
      if (($# < 2)); then
        echo "bench: $1 needs a value" >&2
        exit 2
      fi
      case $1 in
        --json) json=$(absolute "$2") ;;
        --plots) plots=$(absolute "$2") ;;
        --only) only=$2 ;;
      esac
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

ncdm_setup ${plots:+plot}
cmake --preset default -DNCDM_BENCH=ON
cmake --build --preset default --parallel "$(nproc)" --target bench
programs=build/bin/bench

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

run_micro() {
  local filter=${only:-.} seconds=0.1
  if ((${#quick[@]})); then
    seconds=0.02
    [[ -n $only ]] || filter='-n:1000000?$'
  fi
  "$programs/micro" --benchmark_color=false "--benchmark_filter=$filter" \
    --benchmark_min_time=$seconds --benchmark_out="$work/micro.json" --benchmark_out_format=json
}

run_end_to_end() {
  "$programs/end-to-end" "${quick[@]}" ${only:+--only "$only"} --json "$work/end_to_end.json"
}

# Both programs' files as one.
merge_json() {
  python3 - "$work" "$1" <<'END'
import json, os, sys
work, target = sys.argv[1:]
merged = {"figures": [], "goals": [], "functions": []}
for name in ("end_to_end", "micro"):
    path = os.path.join(work, name + ".json")
    if os.path.exists(path):
        with open(path) as file:
            content = json.load(file)
        merged["functions"] += content.pop("benchmarks", [])
        merged.update(content)
with open(target, "w") as file:
    json.dump(merged, file, indent=1)
END
}

if [[ -z $only || $only == BM_* ]]; then
  echo "bench: in process"
  run_micro
fi
if [[ $only != BM_* ]]; then
  echo "bench: end to end"
  run_end_to_end
fi
[[ -z $json ]] || merge_json "$json"
if [[ -n $plots ]]; then
  merge_json "$work/all.json"
  bench/plots.py "$work/all.json" "$plots"
fi
