#!/usr/bin/env bash
# The agent in other loops than the Linux port's own: the example with epoll, and an application on the example port.
#   loops_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1
source=$2
work=$(mktemp -d)
export TMPDIR=$work/device
mkdir -p "$TMPDIR/mng/netconf/netconf_client"
children=()
finish() {
  ((${#children[@]} == 0)) || kill "${children[@]}" 2>/dev/null || true
  rm -rf "$work"
}
trap finish EXIT

# console COMMAND...: what the console says, each command within its own time.
console() {
  local arguments=() command
  for command; do arguments+=(-e "$command"); done
  "$build/bin/ncdm-console" --root "$TMPDIR" "${arguments[@]}"
}
expect() { # TEXT OUTPUT
  if ! grep -qF -- "$1" <<<"$2"; then
    echo "loops_test: the output lacks: $1" >&2
    echo "$2" >&2
    exit 1
  fi
}

# The demo counts the lines of its input in the loop that serves the agent too.
mkfifo "$work/input"
"$build/bin/epoll-demo" <"$work/input" &
children+=($!)
exec 5>"$work/input"
printf 'one\ntwo\n' >&5
output=$(console 'wait epoll-demo 10' 'get input.lines')
expect 'input.lines = 2' "$output"
# A second server: the agent came back by its timers, which the loop learns of by the same descriptor.
printf 'three\n' >&5
output=$(console 'wait epoll-demo 10' 'get input.lines')
expect 'input.lines = 3' "$output"
exec 5>&-
wait "${children[0]}"
children=()

# The example port's libraries carry the names that the application was linked to.
LD_LIBRARY_PATH=$build/lib/poll-port DEVICE_LOG=$work/log NC_DM_DEBUG='' "$build/bin/minimal" &
children+=($!)
output=$(console 'wait minimal 10' 'debug on 3' 'set greeting.text hi' 'get greeting.text')
expect 'greeting.text = hi' "$output"
grep -q poll-port "/proc/${children[0]}/maps"
expect 'NETCONF-CLIENT' "$(cat "$work/log")"

# A build on a platform of one's own asks for no libevent.
PKG_CONFIG_LIBDIR=$work PKG_CONFIG_PATH='' cmake -S "$source" -B "$work/build" -G Ninja -DBUILD_TESTING=OFF \
  -DNCDM_PLATFORM=examples/port -DNCDM_TOOLS=OFF -DNCDM_EXAMPLES=OFF >"$work/configure.log"
cmake --build "$work/build" --target zu-thread zu-platform >"$work/build.log"
test -e "$work/build/lib/libzu-thread.so"
