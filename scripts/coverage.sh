#!/usr/bin/env bash
# Measures how much of lib/ the tests run, as an HTML report in build-coverage/report and a table.
#   scripts/coverage.sh [PATTERN]    only files that match the regular expression, such as 'lib/netconf_dm_kernel/edit_'
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/setup.sh

if [[ ${1:-} == -* ]]; then
  sed -n '2,3s/^# *//p' scripts/coverage.sh
  exit 2
fi
pattern=${1:-lib/}

ncdm_setup coverage
jobs=$(nproc)
echo "coverage: configuring and building"
cmake --preset coverage
cmake --build --preset coverage --parallel "$jobs"
find build-coverage -name '*.gcda' -delete
echo "coverage: running the tests"
ctest --preset coverage --parallel "$jobs" --output-on-failure --no-tests=error

echo "coverage: writing build-coverage/report/index.html"
mkdir -p build-coverage/report
# Branches that only an exception takes are none that a test could: nothing in the library throws.
gcovr --root . --object-directory build-coverage --filter "$pattern" \
  --exclude-throw-branches --exclude-unreachable-branches \
  --html-details build-coverage/report/index.html --txt build-coverage/report/lines.txt \
  --json-summary build-coverage/report/summary.json
gcovr --root . --object-directory build-coverage --filter "$pattern" \
  --exclude-throw-branches --exclude-unreachable-branches --branches \
  --txt build-coverage/report/branches.txt
cat build-coverage/report/lines.txt build-coverage/report/branches.txt
python3 - <<'PY'
import json
summary = json.load(open("build-coverage/report/summary.json"))
print("coverage: %.1f %% of lines, %.1f %% of branches"
      % (summary["line_percent"], summary["branch_percent"]))
PY
