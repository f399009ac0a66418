#!/usr/bin/env bash
# Runs inside a clean Debian: installs the packages in /tmp/packages, builds applications as their readers would, and
# drives them from the console and over NETCONF. scripts/package.sh runs it.
#   scripts/package_try.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
ncdm_parse -- "$@"

apt-get install -y -qq --no-install-recommends /tmp/packages/*.deb
work=$(mktemp -d)
cd "$work"
examples=/usr/share/doc/libnetconf-dm-agent-dev/examples
tools_examples=/usr/share/doc/netconf-dm-agent-tools/examples
pids=()
trap '((${#pids[@]} == 0)) || kill "${pids[@]}" 2>/dev/null || true' EXIT

# ---- What lies where ----

for page in ncdm-console.1 ncdm-netconf.1 ncdm-yang.1 netconf_dm_agent.3 nc_dm_agent_init.3; do
  [[ -e /usr/share/man/man${page##*.}/$page.gz ]] || ncdm_fail "no manual page $page"
done
[[ $(stat -c '%U %G %a' /run/ncdm/mng/netconf/netconf_client) == "ncdm ncdm 700" ]] || ncdm_fail "the sockets' folder is another"
systemd-analyze verify --man=no /lib/systemd/system/ncdm-netconf.service >verify.log 2>&1 || ncdm_fail "$(cat verify.log)"
[[ ! -s verify.log ]] || ncdm_fail "$(cat verify.log)"
ncdm_say "manual, folders and unit are there"

# ---- An application of one's own, built in four ways ----

flags=$(pkg-config --cflags --libs netconf_dm_agent)
cc -std=c11 -Wall -Wextra -Werror $examples/minimal/minimal.c $flags -o by-pkg-config-c
c++ -std=c++20 -Wall -Wextra -Werror -Wno-write-strings -x c++ $examples/minimal/minimal.c -x none $flags \
  -o by-pkg-config-cxx
for language in C CXX; do
  mkdir "$language"
  cp $examples/minimal/minimal.c "$language/main.$([[ $language == C ]] && echo c || echo cc)"
  cat >"$language/CMakeLists.txt" <<CMAKE
cmake_minimum_required(VERSION 3.25)
project(consumer $language)
find_package(netconf_dm_agent 1.0 REQUIRED)
file(GLOB sources main.*)
add_executable(by-package \${sources})
target_link_libraries(by-package PRIVATE netconf_dm_agent::netconf_dm_agent)
CMAKE
  cmake -S "$language" -B "$language/build" >configure.log 2>&1 || ncdm_fail "$(cat configure.log)"
  cmake --build "$language/build" >build.log 2>&1 || ncdm_fail "$(cat build.log)"
done

export TMPDIR=$work/device
mkdir -p "$TMPDIR/mng/netconf/netconf_client"
for program in ./by-pkg-config-c ./by-pkg-config-cxx C/build/by-package CXX/build/by-package; do
  "$program" &
  pids+=($!)
  output=$(ncdm-console --root "$TMPDIR" -e 'wait minimal 10' -e 'set greeting.text hi' -e 'get greeting.text')
  kill "${pids[-1]}"
  wait "${pids[-1]}" || true
  unset 'pids[-1]'
  grep -qF 'greeting.text = hi' <<<"$output" || ncdm_fail "$program: $output"
  ncdm_say "$program answers"
done
if ldd by-pkg-config-c | grep 'libstdc++'; then ncdm_fail "an application in C loads libstdc++"; fi

# ---- An application from a YANG module, by the console and over NETCONF ----

# generate MODULE.yang DIR
generate() {
  ncdm-yang generate "$1" -o "$2"
  cmake -S "$2" -B "$2/build" >configure.log 2>&1 || ncdm_fail "$(cat configure.log)"
  cmake --build "$2/build" >build.log 2>&1 || ncdm_fail "$(cat build.log)"
  (cd "$2/build" && ctest --output-on-failure >test.log) || ncdm_fail "$(cat "$2/build/test.log")"
}
generate $examples/access-point/access-point.yang access-point
generate $tools_examples/vlans/demo-vlans.yang vlans

access-point/build/access-point-agent --data "$work/data.json" &
pids+=($!)
output=$(ncdm-console --root "$TMPDIR" -e 'wait access-point-agent 10' -e 'create radios.radio[name=radio0] band=5GHz' \
  -e 'get radios' -e commit)
grep -qF 'radios.radio.1.band = 5GHz' <<<"$output" || ncdm_fail "access-point-agent: $output"
for _ in {1..50}; do [[ -s data.json ]] && break || sleep 0.1; done
grep -qF radio0 data.json || ncdm_fail "access-point-agent kept nothing at the commit"
kill "${pids[-1]}" && wait "${pids[-1]}"
unset 'pids[-1]'
ncdm_say "a generated application answers the console"

ssh-keygen -q -t ed25519 -N '' -f host_key
ssh-keygen -q -t ed25519 -N '' -f controller_key
ncdm-netconf --root "$TMPDIR" --port 0 --address 127.0.0.1 --hostkey host_key --authorized-keys controller_key.pub \
  --yang "$tools_examples/vlans" >listening 2>netconf.log &
pids+=($!)
vlans/build/demo-vlans-agent &
pids+=($!)
for _ in {1..100}; do grep -qs '^listening' listening && break || sleep 0.1; done
base=urn:ietf:params:xml:ns:netconf:base:1.0
vlans=urn:example:demo-vlans
ask() { # OPERATION
  local hello="<hello xmlns=\"$base\"><capabilities><capability>urn:ietf:params:netconf:base:1.0</capability></capabilities></hello>"
  printf '%s]]>]]><rpc xmlns="%s" message-id="1">%s</rpc>]]>]]><rpc xmlns="%s" message-id="2"><close-session/></rpc>]]>]]>' \
    "$hello" "$base" "$1" "$base" |
    ssh -T -p "$(sed -n 's/^listening on .*://p' listening)" -i controller_key -o StrictHostKeyChecking=no \
      -o UserKnownHostsFile=/dev/null -o LogLevel=ERROR -s admin@127.0.0.1 netconf
}
edit="<edit-config><target><running/></target><config><vlans xmlns=\"$vlans\"><vlan><id>7</id><name>guests</name></vlan></vlans></config></edit-config>"
answer=
for _ in {1..100}; do # until the application has announced itself
  answer=$(ask "$edit") || ncdm_fail "ncdm-netconf: $answer"
  if ! grep -q '<rpc-error>' <<<"$answer"; then break; else sleep 0.2; fi
done
grep -q 'message-id="1"><ok/>' <<<"$answer" || ncdm_fail "ncdm-netconf: $answer"
answer=$(ask "<get-config><source><running/></source></get-config>") || ncdm_fail "ncdm-netconf: $answer"
grep -q '<name>guests</name>' <<<"$answer" || ncdm_fail "ncdm-netconf: $answer"
ncdm_say "ncdm-netconf serves a generated application"
kill "${pids[@]}"
wait "${pids[@]}" || true
pids=()
cd /
rm -rf "$work"
