#!/usr/bin/env bash
# Builds and runs the benchmarks; ends with one line for each goal.
#   scripts/bench.sh [--quick] [--json FILE] [--plots DIRECTORY] [--only NAME]
#   scripts/bench.sh --peers [--quick] [--json FILE]
# --quick  fewer sizes and shorter runs: about a minute instead of ten
# --json   writes all figures and goals to FILE, from which bench/tables.py writes the documents' tables
# --plots  draws cost against the number of entries into DIRECTORY, as SVG
# --only   runs what has NAME in its name: read-leaf, read-list, get-id, entry, subtree, register,
#          hold, memory, instance, or a function such as BM_ParsePath
# --peers  measures instead, in turns, the same list served by this library and by AgentX subagents behind an
#          snmpd that is started for it; two minutes. It installs Debian's snmpd, whose own service it does not use.
# bench/netconf.py compares ncdm-netconf with the console, once they are built.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

quick=0
json=
plots=
only=
peers=0
ncdm_parse --quick --json=FILE --plots=DIR --only=NAME --peers -- "$@"

programs=build/bin/bench

run_peers() {
  local options=(--entries 10000 --seconds 40)
  ((quick)) && options=(--entries 1000 --seconds 3)
  ncdm_say "beside AgentX subagents, ${options[1]} entries of 4 leaves"
  "$programs/peers" "${options[@]}" ${json:+--json "$json"}
}

if ((peers)); then
  [[ -z $plots$only ]] || ncdm_bad_usage "--peers takes neither --plots nor --only"
  ncdm_setup peers
  cmake --preset default -DNCDM_BENCH=ON -DNCDM_BENCH_PEERS=ON
  cmake --build --preset default --parallel "$(nproc)" --target bench-peers
  run_peers
  exit 0
fi

ncdm_setup ${plots:+plot}
cmake --preset default -DNCDM_BENCH=ON
cmake --build --preset default --parallel "$(nproc)" --target bench

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

run_micro() {
  local filter=${only:-.} seconds=0.1
  if ((quick)); then
    seconds=0.02
    [[ -n $only ]] || filter='-n:1000000?$'
  fi
  "$programs/micro" --benchmark_color=false "--benchmark_filter=$filter" \
    --benchmark_min_time=$seconds --benchmark_out="$work/micro.json" --benchmark_out_format=json
}

run_end_to_end() {
  local options=()
  ((quick)) && options=(--quick)
  "$programs/end-to-end" "${options[@]}" ${only:+--only "$only"} --json "$work/end_to_end.json"
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
  ncdm_say "in process"
  run_micro
fi
if [[ $only != BM_* ]]; then
  ncdm_say "end to end"
  run_end_to_end
fi
[[ -z $json ]] || merge_json "$json"
if [[ -n $plots ]]; then
  merge_json "$work/all.json"
  bench/plots.py "$work/all.json" "$plots"
fi
