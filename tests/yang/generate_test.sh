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
  elif [[ $(grep -v '^note:' <<<"$output") != "ncdm-yang: $expected" ]]; then
    fail "expected 'ncdm-yang: $expected', got '$output'"
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

# ---- Only what has patterns links their library ----
grep -q ncdm-model-pattern "$work/one/every-type.cmake" || fail "every-type has patterns, and their library is not linked"
"$yang" generate "$source/examples/vlans/demo-vlans.yang" -o "$work/plain"
! grep -q ncdm-model-pattern "$work/plain/demo-vlans.cmake" || fail "demo-vlans has no patterns"

# ---- What a leaf may ask for ----
"$yang" generate "$source/examples/vlans/demo-vlans.yang" --no-delete "routes.route.{i}.metric" \
  --time system.location -o "$work/plain"
! grep -qF "NCDM_DELETE(demo_vlans_routes_route, 2)" "$work/plain/demo-vlans-model.c" || fail "--no-delete has no effect"
grep -q "  struct tm location;" "$work/plain/demo-vlans.h" || fail "--time has no effect"
check "$work/plain"

# ---- Hash tables ----
"$yang" generate "$source/examples/vlans/demo-vlans.yang" --expect vlans.vlan=50000 -o "$work/vlans"
grep -q "expected_entries = 50000" "$work/vlans/demo-vlans-model.c" || fail "--expect has no effect"
grep -q "expected_entries = 20000" "$work/one/every-type-model.c" || fail "ncdm:expected-entries has no effect"

# ---- What an agent cannot serve ----
refused "vlans.port: the module has no such list" "$source/examples/vlans/demo-vlans.yang" --expect vlans.port=3
"$yang" generate "$source/tests/yang/every-type.yang" --expect "lists.by-number.{i}.inner=30000" -o "$work/inner" 2>/dev/null
grep -q "expected_entries = 30000" "$work/inner/every-type-model.c" || fail "--expect does not know registered paths"
refused "--expect vlans.vlan=many: it is PATH=NUMBER" "$source/examples/vlans/demo-vlans.yang" --expect vlans.vlan=many
refused "$work/no-such.yang: is no file" "$work/no-such.yang"
module() { # NAME BODY: a module with the body
  printf 'module %s {\n yang-version 1.1;\n namespace "urn:%s"; prefix p;\n %s\n}\n' "$1" "$1" "$2" >"$work/$1.yang"
  echo "$work/$1.yang"
}
top="at the top of a module, where an agent can serve containers alone"
refused "list /top:entry: $top" "$(module top 'list entry { key k; leaf k { type string; } }')"
refused "leaf-list /top:entry: $top" "$(module top 'leaf-list entry { type string; }')"
refused "anydata /any:a/b: any content, which an agent cannot serve" "$(module any 'container a { anydata b; }')"
refused "leaf /dot:a/b.c: a name with a dot" "$(module dot 'container a { leaf b.c { type string; } }')"
long=$(printf 'x%.0s' {1..61})
refused "list /long:a/$long: a name of more than 60 characters" \
  "$(module long "container a { list $long { key k; leaf k { type string; } } }")"
refused "module /types: has no data nodes to generate from" "$(module types 'typedef t { type string; }')"
refused "leaf /pattern:a/b: pattern '[a-z-[b]]' cannot be said in PCRE2" \
  "$(module pattern 'container a { leaf b { type string { pattern "[a-z-[b]]"; } } }')"
deep="leaf x { type string; }" way=
for level in {16..1}; do deep="container c$level { $deep }" way=/c$level$way; done
refused "leaf /deep:${way:1}/x: more than 16 levels" "$(module deep "$deep")"
refused "leaf /top:entry: $top" "$(module top 'leaf entry { type string; }')"
refused "anyxml /any:a/b: any content, which an agent cannot serve" "$(module any 'container a { anyxml b; }')"
refused "leaf /bits:a/b: bits: bit 'high' has a position above 63" \
  "$(module bits 'container a { leaf b { type bits { bit high { position 64; } } } }')"
refused "list /bare:a/b: no leaf of its own" \
  "$(module bare 'container a { config false; list b { container c { leaf d { type string; } } } }')"
refused "leaf /one:a/two:b: another node beside it has the same name" "$(module one 'container a { leaf b { type string; } }')" \
  "$(module two 'import one { prefix o; }
  augment "/o:a" { leaf b { type string; } }')"
refused "leaf /when:a/b: a time that is no string" "$(module when 'container a { leaf b { type uint8; } }')" --time a.b
refused "a.c: the module has no such leaf" "$(module when 'container a { leaf b { type uint8; } }')" --no-delete a.c

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
  served=0 without_data=0 unserved=0 submodules=0 wrong=0
  while read -r file; do
    name=$(basename "$file" .yang)
    if "$yang" generate "$file" "${paths[@]}" -p "$(dirname "$file")" -o "$work/other" 2>"$work/log"; then
      check "$work/other"
      served=$((served + 1))
      rm -r "$work/other"
      continue
    fi
    # One line says why, by the construct and its schema path.
    reason=$(grep -v '^note:' "$work/log")
    module=${name%@*}
    if [[ $reason == "ncdm-yang: module /$module: has no data nodes to generate from" ]]; then
      grep -qE '^  (container|list|leaf|leaf-list|uses|choice|anyxml|anydata) ' "$file" && fail "$name has data nodes"
      without_data=$((without_data + 1))
    elif [[ $reason == "ncdm-yang: submodule /$module: is generated with its module alone" ]]; then
      submodules=$((submodules + 1))
    elif [[ $reason =~ ^"ncdm-yang: "(container|list|leaf|leaf-list|anyxml|anydata)" /$module:"[^:]+:" "[^:]+$ ]]; then
      unserved=$((unserved + 1))
    elif [[ $reason =~ ^"ncdm-yang: $file: "[^$'\n']+" ("(Path|/)[^$'\n']+")"$ ]]; then
      wrong=$((wrong + 1))  # no YANG
    else
      fail "$name: $reason"
    fi
  done < <(find "$others" -name '*.yang' | sort)
  printf 'generate_test: %d of the others'\'' modules generate and compile, %d have no data, %d are submodules,' \
    "$served" "$without_data" "$submodules"
  printf ' %d have a construct that an agent cannot serve, %d are no YANG\n' "$unserved" "$wrong"
  ((served >= 30 && unserved <= 3 && wrong <= 1)) || fail "fewer modules are served than once were"
  for name in ietf-system@2014-08-06 ietf-hardware@2018-03-13; do
    "$yang" generate $others/modules/ietf/$name.yang "${paths[@]}" -o "$work/$name" 2>/dev/null ||
      fail "$name is refused"
  done
fi
((failures == 0))
