#!/usr/bin/env bash
# Measures how much of lib/ the tests run, as an HTML report in build-coverage/report and a table.
#   scripts/coverage.sh [PATTERN]    only files that match the regular expression, such as 'lib/netconf_dm_kernel/edit/'
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
ncdm_parse PATTERN... -- "$@"

pattern=${ncdm_operands[0]:-lib/}
report=build-coverage/report

ncdm_setup coverage
jobs=$(nproc)
ncdm_say "configuring and building"
cmake --preset coverage
cmake --build --preset coverage --parallel "$jobs"
find build-coverage -name '*.gcda' -delete
ncdm_say "running the tests"
# What was run counts, also if a test failed; the script fails in the end.
tests=0
ctest --preset coverage --parallel "$jobs" --output-on-failure --no-tests=error || tests=$?

ncdm_say "writing $report/index.html"
rm -rf "$report"
mkdir -p "$report"
# Branches that only an exception takes are none that a test could: nothing in the library throws.
# The counters are read once, for all of lib/; the reports are made from that.
gcovr --root . -j "$jobs" --filter lib/ --exclude-throw-branches --exclude-unreachable-branches \
  --json "$report/coverage.json" build-coverage
ncdm_report() {
  gcovr --root . --add-tracefile "$report/coverage.json" --filter "$pattern" "$@"
}
ncdm_report --txt "$report/lines.txt" --html-details "$report/index.html" \
  --json-summary "$report/summary.json"
ncdm_report --branches --txt "$report/branches.txt"
cat "$report/lines.txt" "$report/branches.txt"
python3 - "$report/summary.json" <<'PY'
import json, sys
summary = json.load(open(sys.argv[1]))
print("coverage: %.1f %% of lines, %.1f %% of branches"
      % (summary["line_percent"], summary["branch_percent"]))
PY
if ((tests != 0)); then
  echo "$ncdm_name: tests failed" >&2
  exit "$tests"
fi
