#!/usr/bin/env bash
# Generates from the project's modules, and from all of those that Debian's libyuma-base has: the output is the same on
# each run, keeps what is the developer's, is formatted, and compiles in both languages without a warning; what is refused
# is named.
#   generate_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
yang=$1/bin/ncdm-yang
source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$source/.clang-format" "$work"
failures=0

fail() {
  echo "generate_test: $*" >&2
  failures=$((failures + 1))
}

flags=(-Wall -Wextra -Wconversion -Werror -fsyntax-only -I"$source/include" -I"$source/platform/include"
  -I"$source/yang/runtime")

check() { # FOLDER
  local file
  gcc -std=c11 "${flags[@]}" -I"$1" "$1"/*.c || fail "$1 is no C11"
  for file in "$1"/*.c; do
    g++ -x c++ -std=c++20 "${flags[@]}" -I"$1" "$file" || fail "$file is no C++20"
  done
  if command -v clang-format >/dev/null; then
    clang-format --dry-run -Werror "$1"/*.[ch] || fail "$1 is not formatted"
  fi
}

refused() { # EXPECTED ARGUMENT...
  local expected=$1 output
  shift
  if output=$("$yang" generate "$@" -o "$work/refused" 2>&1); then
    fail "not refused: $*"
  elif [[ $output != *"$expected"* ]]; then
    fail "expected '$expected', got '$output'"
  fi
  [[ ! -e $work/refused ]] || fail "something was written for $*"
}

# ---- The same on each run; what is the developer's stays ----
"$yang" generate "$source/tests/yang/every-type.yang" -o "$work/one" 2>/dev/null
"$yang" generate "$source/tests/yang/every-type.yang" -o "$work/two" 2>/dev/null
diff -r "$work/one" "$work/two" || fail "two runs differ"
for file in agent.c test.c; do echo "/* mine */" >>"$work/two/every-type-$file"; done
echo "# mine" >>"$work/two/CMakeLists.txt"
echo "/* not mine */" >>"$work/two/every-type.h"
"$yang" generate "$source/tests/yang/every-type.yang" -o "$work/two" 2>/dev/null
for file in every-type-agent.c every-type-test.c CMakeLists.txt; do
  grep -q "mine" "$work/two/$file" || fail "$file was written again"
done
cmp "$work/one/every-type.h" "$work/two/every-type.h" || fail "the header was not written again"
grep -q "written by ncdm-yang .* from every-type.yang, revision 2026-11-21" "$work/one/every-type.h" ||
  fail "the header does not say what wrote it"
rm -r "$work/two"
check "$work/one"
"$yang" generate "$source/tests/yang/every-type.yang" -o "$work/cxx" --cxx 2>/dev/null
[[ -e $work/cxx/every-type-agent.cc && ! -e $work/cxx/every-type-agent.c ]] || fail "--cxx writes C"

# ---- Hash tables ----
"$yang" generate "$source/examples/vlans/demo-vlans.yang" --expect vlans.vlan=50000 -o "$work/vlans"
grep -q "expected_entries = 50000" "$work/vlans/demo-vlans-model.c" || fail "--expect has no effect"
grep -q "expected_entries = 20000" "$work/one/every-type-model.c" || fail "ncdm:expected-entries has no effect"

# ---- What an agent cannot serve ----
refused "vlans.port: the module has no such list" "$source/examples/vlans/demo-vlans.yang" --expect vlans.port=3
"$yang" generate "$source/tests/yang/every-type.yang" --expect "lists.by-number.{i}.inner=30000" -o "$work/inner" 2>/dev/null
grep -q "expected_entries = 30000" "$work/inner/every-type-model.c" || fail "--expect does not know registered paths"
refused "it is PATH=NUMBER" "$source/examples/vlans/demo-vlans.yang" --expect vlans.vlan=many
refused "no-such.yang: is no file" "$work/no-such.yang"
module() { # NAME BODY: a module with the body
  printf 'module %s {\n yang-version 1.1;\n namespace "urn:%s"; prefix p;\n %s\n}\n' "$1" "$1" "$2" >"$work/$1.yang"
  echo "$work/$1.yang"
}
refused "list /top:entry: at the top of a module" "$(module top 'list entry { key k; leaf k { type string; } }')"
refused "leaf-list /top:entry: at the top" "$(module top 'leaf-list entry { type string; }')"
refused "anydata /any:a/b: any content" "$(module any 'container a { anydata b; }')"
refused "leaf /dot:a/b.c: a name with a dot" "$(module dot 'container a { leaf b.c { type string; } }')"
long=$(printf 'x%.0s' {1..61})
refused "list /long:a/$long: a name of more than 60" \
  "$(module long "container a { list $long { key k; leaf k { type string; } } }")"
refused "module /types: has no data nodes" "$(module types 'typedef t { type string; }')"
refused "leaf /pattern:a/b: pattern '[a-z-[b]]'" \
  "$(module pattern 'container a { leaf b { type string { pattern "[a-z-[b]]"; } } }')"
deep="leaf x { type string; }"
for level in {1..16}; do deep="container c$level { $deep }"; done
refused "more than 16 levels" "$(module deep "$deep")"


# More leaves than slots: the keys and the mandatory leaf have one, the last ones have `set`.
wide="key \"a b\"; leaf a { type string; } leaf b { type string; }"
for leaf in {1..69}; do wide="$wide leaf l$leaf { type uint8; }"; done
wide="$wide leaf l70 { type uint8; mandatory true; }"
"$yang" generate "$(module wide "container c { list l { $wide } }")" -o "$work/wide"
check "$work/wide"
[[ $(grep -c '\.exe_cmd = wide_c_l_execute' "$work/wide/wide-model.c") == 63 ]] || fail "not 63 slots"
grep -A2 '"c.l.{i}.l70"' "$work/wide/wide-model.c" | grep -q 'UINT\|USHORT' || fail "no l70"
grep -A4 '"c.l.{i}.l70"' "$work/wide/wide-model.c" | grep -q '\.slot = 3' || fail "the mandatory leaf has no slot"
grep -A5 '"c.l.{i}.l69"' "$work/wide/wide-model.c" | grep -q '\.set = wide_c_l_set_' || fail "l69 has no set"

# ---- The modules of others ----
others=/usr/share/yuma
if [[ -d $others/modules ]]; then
  "$yang" generate $others/modules/ietf/ietf-interfaces@2014-05-08.yang $others/modules/ietf/ietf-ip@2014-06-16.yang \
    $others/modules/ietf/iana-if-type@2014-05-08.yang -o "$work/if" 2>/dev/null
  grep -q '"interfaces.interface.{i}.ipv4.address.{i}.prefix-length"' "$work/if/ietf-interfaces-model.c" ||
    fail "ietf-ip's nodes are missing"
  grep -q '"iana-if-type:ethernetCsmacd"' "$work/if/ietf-interfaces-model.c" || fail "iana-if-type's identities are missing"
  check "$work/if"
  paths=()
  for folder in "$others"/modules/*/; do paths+=(-p "$folder"); done
  served=0
  while read -r file; do
    name=$(basename "$file" .yang)
    status=0
    "$yang" generate "$file" "${paths[@]}" -p "$(dirname "$file")" -o "$work/other" 2>"$work/log" || status=$?
    if ((status == 0)); then
      gcc -std=c11 "${flags[@]}" -I"$work/other" "$work"/other/*.c || fail "$name is no C11"
      served=$((served + 1))
      rm -r "$work/other"
    elif ! grep -v '^note:' "$work/log" | grep -qE '^ncdm-yang: .*(: |/)'; then
      fail "$name: $(cat "$work/log")"
    fi
  done < <(find "$others" -name '*.yang' | sort)
  ((served >= 25)) || fail "only $served of the others' modules can be generated from"
  for name in ietf-system@2014-08-06 ietf-hardware@2018-03-13; do
    "$yang" generate $others/modules/ietf/$name.yang "${paths[@]}" -o "$work/$name" 2>/dev/null ||
      fail "$name is refused"
  done
fi
((failures == 0))
