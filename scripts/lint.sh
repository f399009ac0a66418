#!/usr/bin/env bash
# Looks for mistakes without running anything: format, includes, cppcheck, g++ -fanalyzer and clang-tidy.
#   scripts/lint.sh [--quick] [--build-dir DIR]
# --quick leaves clang-tidy out, which takes many minutes. Ends with a line of figures; fails on any finding.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

quick=0
build_dir=build-lint
ncdm_parse --quick --build-dir=DIR -- "$@"
build=$build_dir

ncdm_setup lint
jobs=$(nproc)
mkdir -p "$build"

files() { git ls-files -- "$@"; }

# The line of a log that begins a finding; further lines explain it.
finding='^[^ ]+:[0-9]+:([0-9]+:)? (error|warning|style|performance|portability):'

# Runs a check with its output in a log of its name, and counts the findings.
report=()
failed=0
check() {
  local name=$1 log=$build/$1.log result=0 findings
  shift
  ncdm_say "$name"
  "$@" >"$log" 2>&1 || result=$?
  findings=$(grep -cE "$finding" "$log" || true)
  if ((result || findings)); then
    cat "$log" >&2
    failed=1
  fi
  report+=("$name $findings")
}

check_format() { files '*.cc' '*.h' '*.c' | xargs clang-format --dry-run -Werror; }

check_includes() { scripts/includes.py; }

# scripts/cppcheck.suppressions says why what it names is meant so.
check_cppcheck() {
  sed '/^#/d;/^$/d' scripts/cppcheck.suppressions >"$build/cppcheck.suppressions"
  files 'lib/*.cc' 'platform/*.cc' 'server/*.cc' 'yang/*.cc' 'options/*.cc' 'examples/*.cc' >"$build/cppcheck.files"
  cppcheck --file-list="$build/cppcheck.files" --enable=warning,performance,portability,style \
    --suppressions-list="$build/cppcheck.suppressions" --suppress=missingIncludeSystem \
    --std=c++20 --language=c++ -I include -I lib -I platform/include -I . -j "$jobs" --quiet \
    --error-exitcode=1 --template='{file}:{line}: {severity}: {id}: {message}'
}

# The analyzer of g++ 12 knows C, and two of its checks cannot follow std::unique_ptr: each release of
# one is "uninitialized", each allocation in one is a "leak". Both are what the address sanitizer watches
# in every test.
analyze() {
  g++ -std=c++20 -O1 -D_GNU_SOURCE -fanalyzer -Wno-analyzer-malloc-leak \
    -Wno-analyzer-use-of-uninitialized-value -Iinclude -Ilib -Iplatform/include -I. -S "$1" -o /dev/null
}
export -f analyze
check_analyzer() {
  files 'lib/*.cc' 'platform/*.cc' | xargs -P "$jobs" -I{} bash -c 'analyze "$1"' analyze {}
}

check_tidy() {
  ncdm_setup peers
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DNCDM_BENCH=ON -DNCDM_BENCH_PEERS=ON -DNCDM_HAS_MEMORY_STRATEGY=OFF -DNCDM_TIGHT_CODE=OFF \
    -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON -DNCDM_UNITY_TESTS=OFF
  files 'lib/*.cc' 'platform/*.cc' 'server/*.cc' 'yang/*.cc' 'options/*.cc' 'examples/*.cc' 'bench/*.cc' 'tests/*.cc' |
    xargs -P "$jobs" -n 4 clang-tidy --quiet -p "$build"
}

check format check_format
check includes check_includes
check cppcheck check_cppcheck
check analyzer check_analyzer
((quick)) || check clang-tidy check_tidy

printf -v figures ', %s' "${report[@]}"
ncdm_say "findings: ${figures:2}"
exit "$failed"
