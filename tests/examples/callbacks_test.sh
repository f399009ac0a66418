#!/usr/bin/env bash
# Which callbacks a request calls, in which order and with what: sends one request after the other to an application
# that writes its callbacks down, and compares with callbacks.expected, which docs/guide.md explains.
#   callbacks_test.sh BUILD_DIR SOURCE_DIR [--update]
set -euo pipefail
build=$1
folder=$2/tests/examples
work=$(mktemp -d)
export TMPDIR=$work/device
mkdir -p "$TMPDIR/mng/netconf/netconf_client"
"$build/bin/tests/callbacks" "$work/output" &
application=$!
finish() {
  kill "$application" 2>/dev/null || true
  rm -rf "$work"
}
trap finish EXIT

# Both append to one file: the console a line for each request and for its answer, the application what it is asked in
# between.
(echo 'wait callbacks 10' && cat "$folder/callbacks.requests") >"$work/script"
stdbuf -oL "$build/bin/ncdm-console" --root "$TMPDIR" --keep-going --echo --script "$work/script" \
  >>"$work/output" 2>&1 || true
sed -i 's|^.*/script:[0-9]*: ||' "$work/output"
if [[ ${3:-} == --update ]]; then
  cp "$work/output" "$folder/callbacks.expected"
fi
diff "$folder/callbacks.expected" "$work/output"
