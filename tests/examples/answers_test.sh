#!/usr/bin/env bash
# Every operation on every leaf of the two demos, and what they answer: it was recorded from the demos as they were before
# ncdm-yang wrote their models, and stays.
#   answers_test.sh BUILD_DIR SOURCE_DIR [--update]
set -euo pipefail
build=$1
folder=$2/tests/examples/answers
update=${3:-}
work=$(mktemp -d)
application=
finish() {
  [[ -z $application ]] || kill "$application" 2>/dev/null || true
  rm -rf "$work"
}
trap finish EXIT
failures=0

# check PROGRAM ARGUMENT...
check() {
  local program=$1 root=$work/$1
  mkdir -p "$root/mng/netconf/netconf_client"
  TMPDIR=$root "$build/bin/$@" &
  application=$!
  (
    cd "$folder" # where the requests name a file
    (echo "wait $program 20" && cat "$program.requests") >"$work/script"
    "$build/bin/ncdm-console" --root "$root" --keep-going --echo --script "$work/script" >"$work/answers" 2>&1 || true
  )
  kill "$application"
  wait "$application"
  application=
  sed -i 's|^.*/script:[0-9]*: ||' "$work/answers"
  [[ ! -e $work/kept ]] || cat "$work/kept" >>"$work/answers"
  if [[ $update == --update ]]; then cp "$work/answers" "$folder/$program.expected"; fi
  diff "$folder/$program.expected" "$work/answers" || failures=$((failures + 1))
}

check interfaces-demo
check vlans-demo --config "$work/kept"
((failures == 0))
