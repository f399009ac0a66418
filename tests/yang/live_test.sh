#!/usr/bin/env bash
# From a module to a live agent: generates, builds, runs the unit test and the program, and has the console edit and
# read a leaf of every type, refuse what the model refuses, commit and find everything after a restart.
#   live_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1
source=$2
work=$(mktemp -d)
agent=
clean_up() {
  [[ -z $agent ]] || kill "$agent" 2>/dev/null || true
  rm -rf "$work"
}
trap clean_up EXIT

"$build/bin/ncdm-yang" generate "$source/tests/yang/every-type.yang" -o "$work/d" 2>"$work/notes"
CFLAGS="-Wall -Wextra -Wconversion -Werror" cmake -S "$work/d" -B "$work/d/build" -G Ninja >"$work/log"
cmake --build "$work/d/build" >>"$work/log" || {
  cat "$work/log"
  exit 1
}
ctest --test-dir "$work/d/build" --output-on-failure >"$work/log" || {
  cat "$work/log"
  exit 1
}

start() {
  TMPDIR=$work "$work/d/build/every-type-agent" --name E --data "$work/data.json" &
  agent=$!
}
stop() {
  kill "$agent"
  wait "$agent" || {
    echo "live_test: the agent ended with $?" >&2
    exit 1
  }
  agent=
}
console() { # COMMAND...
  local command arguments=(-e "wait E 20" -e "use E")
  for command in "$@"; do arguments+=(-e "$command"); done
  "$build/bin/ncdm-console" --root "$work" --keep-going "${arguments[@]}" 2>&1 || true
}
expect() { # OUTPUT TEXT...
  local output=$1 text
  shift
  for text in "$@"; do
    grep -qF -- "$text" <<<"$output" || {
      printf 'live_test: no "%s" in:\n%s\n' "$text" "$output" >&2
      exit 1
    }
  done
}

echo '{"every-type:state": {"uptime": 77, "server": ["alpha"]}}' >"$work/data.json"
start
output=$(console "set values.int8 -5" "set values.int16 -300" "set values.int32 -70000" "set values.int64 -5000000000" \
  "set values.uint8 9" "set values.uint16 65535" "set values.uint32 4294967295" "set values.uint64 18446744073709551615" \
  "set values.boolean true" "set values.decimal64 -1.50" "set values.string abc" "set values.text \"two words\"" \
  "set values.enumeration minus-one" "set values.bits \"last first\"" "set values.binary AAEC" "set values.empty \"\"" \
  "set values.identityref dark-red" "set values.union none" "set values.leafref 3" "set values.instance-identifier /et:a" \
  "set values.number 7" "set values.number 8" "set values.socket.path /s" "create values.socket.inside.peer[name=n]" \
  "set values.pipe p" "set values.lasting l" "set values.time 2024-5-6T7:8:9" \
  "create lists.by-number[id=4] name=four" "create lists.by-number[id=4].inner[key=k] value=-1" \
  "set lists.by-number[id=4].inner[key=k].tag t" "set lists.by-number[id=4].more.speed 5" \
  "create lists.by-two[left=5000000000,right=every-type:red] speed=18446744073709551615 note=n" \
  "create lists.whole[name=w] size=3" "create lists.many[name=m]" "get values" "get lists" "get state")
everything=(
  "values.int8 = -5" "values.int16 = -300" "values.int32 = -70000" "values.int64 = -5000000000" "values.uint8 = 9"
  "values.uint16 = 65535" "values.uint32 = 4294967295" "values.uint64 = 18446744073709551615" "values.boolean = true"
  "values.decimal64 = -1.5" "values.string = abc" "values.text = two words" "values.enumeration = minus-one"
  "values.bits = first last" "values.binary = AAEC" "values.empty = " "values.identityref = every-type:dark-red"
  "values.union = none" "values.leafref = 3" "values.instance-identifier = /et:a" "values.number.1 = 7"
  "values.number.2 = 8" "values.pipe = p" "values.lasting = l" "values.time = 2024-05-06T07:08:09"
  "values.fruit.1 = apple" "values.fruit.2 = pear" "lists.by-number.4.name = four" "lists.by-number.4.inner.1.value = -1"
  "lists.by-number.4.inner.1.tag.1 = t" "lists.by-number.4.more.speed = 5" "lists.by-two.1.left = 5000000000"
  "lists.by-two.1.right = every-type:red" "lists.by-two.1.speed = 18446744073709551615" "lists.by-two.1.note = n"
  "lists.whole.1.size = 3" "lists.many.1.name = m" "state.uptime = 77" "state.server.1 = alpha")
expect "$output" "${everything[@]}"
without() { # OUTPUT TEXT
  if grep -qF -- "$2" <<<"$1"; then
    printf 'live_test: "%s" in:\n%s\n' "$2" "$1" >&2
    exit 1
  fi
}
# The leaf of one case ended the container and the list of another.
without "$output" "values.socket.path ="
without "$output" "peer.1.name ="

# A leaf-list has its defaults until it is given elements, and again when they are gone. The agent takes in what nobody
# asked it for once a second.
given=$(console "set values.fruit plum" "get values.fruit")
expect "$given" "values.fruit.3 = plum"
without "$given" "apple"
console "unset values.fruit plum" >/dev/null
for _ in {1..40}; do
  given=$(console "get values.fruit")
  if [[ $given == *apple* && $given == *pear* ]]; then break; fi
  sleep 0.1
done
expect "$given" "= apple" "= pear"
without "$given" "plum"
expect "$(console "unset values.fruit apple" "set values.fruit apple" "set values.fruit fig" "unset values.fruit apple" \
  "unset values.fruit fig")" "ok"
# The same entry, made again before the agent has heard that it is gone.
console "set values.socket.path /s" "create values.socket.inside.peer[name=n]" "set values.pipe p" \
  "create values.socket.inside.peer[name=n]" >/dev/null
sleep 1.5
expect "$(console "get values.socket")" "peer.1.name = n"
expect "$(console "set values.pipe p")" "ok"

refused=$(console "set values.int8 0" "set values.uint8 101" "set values.decimal64 11" "set values.string ABC" \
  "set values.enumeration one" "set values.identityref blue" "unset values.text" "unset values.lasting" "create lists.by-two[left=1,right=red]" \
  "create lists.whole[name=x] size=10" "create lists.by-number[id=0]" "set state.uptime 1" "commit" "get values.int8")
expect "$refused" "OP_FAILED: int8" "OP_FAILED: uint8" "OP_FAILED: decimal64" "OP_FAILED: string" "OP_FAILED: enumeration" \
  "OP_FAILED: identityref" "OP_FAILED: text" "OP_FAILED: lasting" "OP_FAILED: by-two" "OP_FAILED: whole" "OP_FAILED: by-number" \
  "values.int8 = -5"
stop
start
expect "$(console "get values" "get lists" "get state")" "${everything[@]}"
gone=$(console "delete lists.by-number[id=4]" "unset values" "get lists.by-number" "get values.int8" "find lists.by-two.left 5000000000")
stop
without "${gone#*ok lists.by-number.4}" "by-number.4"
