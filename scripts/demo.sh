#!/usr/bin/env bash
# Shows the library at work: two applications, the server's console, and a NETCONF server with a controller that
# configures it, on this machine's own data.
#   scripts/demo.sh                 runs the whole demonstration and cleans up
#   scripts/demo.sh --interactive   the same, and leaves you at the console's prompt
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

interactive=0
ncdm_parse --interactive -- "$@"

ncdm_setup
if [[ ! -f build/build.ninja ]]; then
  ncdm_say "configuring (preset default, in build/)"
  cmake --preset default
fi
ncdm_say "building the library, the console, the NETCONF server and the examples"
cmake --build --preset default --target ncdm-console ncdm-netconf interfaces-demo vlans-demo

root=$(mktemp -d)
declare -A pids=()

stop() { # NAME SIGNAL: ends a process that was started below, and waits for it
  local pid=${pids[$1]:-}
  [[ -n $pid ]] || return 0
  unset "pids[$1]"
  kill "-$2" "$pid" 2>/dev/null || true
  wait "$pid" 2>/dev/null || true
}

clean_up() {
  local name
  for name in "${!pids[@]}"; do stop "$name" TERM; done
  rm -rf "$root"
}
trap clean_up EXIT

say() { printf '\n== %s\n' "$*"; }

start() { # NAME PROGRAM [ARGUMENT...]
  local name=$1
  shift
  TMPDIR=$root "$@" &
  pids[$name]=$!
}

console() { # [--keep-going] COMMAND...: a console of its own, which is the server while it runs
  local command arguments=()
  if [[ $1 == --keep-going ]]; then
    arguments+=("$1")
    shift
  fi
  for command in "$@"; do arguments+=(-e "$command"); done
  build/bin/ncdm-console --root "$root" --echo "${arguments[@]}"
}

say "Two applications start; there is no server yet, so they try each second"
start interfaces build/bin/interfaces-demo
start vlans build/bin/vlans-demo --config "$root/vlans.json"

say "The server's console starts: what has been registered, and what the machine looks like"
console "wait interfaces-demo 10" "wait vlans-demo 10" "agents" "paths interfaces-demo" "use interfaces-demo" \
  "get interfaces.interface --table" "find interfaces.interface.name lo" "get system"

say "Another console is killed while the applications are connected to it"
build/bin/ncdm-console --root "$root" -e "wait interfaces-demo 10" -e "wait nobody 60" \
  >"$root/console.log" 2>&1 &
pids[console]=$!
for _ in $(seq 100); do
  [[ -s $root/console.log ]] && break
  sleep 0.1
done
cat "$root/console.log"
stop console KILL

say "It starts again: the applications come back by themselves. Now for configuration"
console "wait interfaces-demo 10" "wait vlans-demo 10" "use vlans-demo" \
  "create vlans.vlan[id=10] name=office mtu=1500" \
  "set vlans.vlan[id=10].tagged-port eth1" \
  "create routes.route[prefix=192.0.2.0/24] next-hop=198.51.100.1 metric=5" \
  "set system.location \"rack 4\"" \
  "get vlans" "get routes" "get system"

say "What is wrong is refused: a value that is no number, one that the switch does not take, a second creation"
refused=0
while read -r line; do
  echo "$line"
  [[ $line != *fault* ]] || refused=$((refused + 1))
done < <(console --keep-going "wait vlans-demo 10" "use vlans-demo" \
  "merge vlans.vlan[id=10] mtu=large" "merge vlans.vlan[id=10] mtu=20" \
  "create vlans.vlan[id=10] name=again" 2>&1)
if ((refused != 3)); then
  ncdm_fail "three commands should have been refused, and $refused were"
fi

say "Delete, and commit what remains"
console "wait vlans-demo 10" "use vlans-demo" "create vlans.vlan[id=20] name=guests" \
  "delete vlans.vlan[id=10]" "get vlans.vlan --table" "commit"
for _ in $(seq 50); do
  [[ -s $root/vlans.json ]] && break
  sleep 0.1
done
cat "$root/vlans.json"

say "The application restarts; its configuration is still there"
stop vlans TERM
start vlans build/bin/vlans-demo --config "$root/vlans.json"
console "wait vlans-demo 10" "use vlans-demo" "get vlans.vlan --table" "get routes" "get system"

say "A NETCONF server takes the console's place, with keys made for this run; a controller configures the switch"
mkdir "$root/yang"
cp examples/interfaces/demo-interfaces.yang examples/vlans/demo-vlans.yang "$root/yang"
ssh-keygen -q -t ed25519 -N '' -f "$root/host_key"
ssh-keygen -q -t ed25519 -N '' -f "$root/controller_key"
build/bin/ncdm-netconf --root "$root" --port 0 --address 127.0.0.1 --hostkey "$root/host_key" \
  --authorized-keys "$root/controller_key.pub" --yang "$root/yang" >"$root/netconf.out" 2>"$root/netconf.log" &
pids[netconf]=$!
for _ in $(seq 100); do
  grep -q '^listening' "$root/netconf.out" && break
  sleep 0.1
done
cat "$root/netconf.out"
port=$(sed -n 's/^listening on .*://p' "$root/netconf.out")
/usr/bin/python3 scripts/demo/controller.py --port "$port" --key "$root/controller_key" --user admin
stop netconf TERM

if ((interactive)); then
  say "The applications run on; help lists the console's commands, quit ends the demonstration"
  build/bin/ncdm-console --root "$root"
fi
say "Done"
