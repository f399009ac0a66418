#!/usr/bin/env bash
# The access point as a controller meets it: nested lists, two keys, leaf-lists, what its radios refuse, state that comes
# and goes, and a restart; and that docs/guide.md has counted the lines that were written for it.
#   access_point_test.sh BUILD_DIR SOURCE_DIR
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

start() {
  TMPDIR=$work "$build/bin/access-point" --data "$work/data.json" &
  agent=$!
}
console() { # COMMAND...
  local command arguments=(-e "wait access-point 20" -e "use access-point")
  for command in "$@"; do arguments+=(-e "$command"); done
  "$build/bin/ncdm-console" --root "$work" --keep-going "${arguments[@]}" 2>&1 || true
}
expect() { # OUTPUT TEXT...
  local output=$1 text
  shift
  for text in "$@"; do
    grep -qF -- "$text" <<<"$output" || {
      printf 'access_point_test: no "%s" in:\n%s\n' "$text" "$output" >&2
      exit 1
    }
  done
}

radio="radios.radio[name=radio0]"
start
expect "$(console "create $radio band=5GHz" "create $radio.network[name=guests] passphrase=12345678 vlan=7" \
  "set $radio.network[name=guests].allowed-client 02:00:5e:00:53:01" "set $radio.excluded-channel 40" \
  "create access.rule[network=guests,client=02:00:5e:00:53:01] action=drop" "get radios" "get access" "get firmware" \
  "get system")" \
  "radios.radio.1.power = 20.0" "radios.radio.1.status.active-channel = 36" "radios.radio.1.network.1.vlan = 7" \
  "radios.radio.1.network.1.allowed-client.1 = 02:00:5e:00:53:01" "radios.radio.1.excluded-channel.1 = 40" \
  "access.rule.1.action = drop" "firmware.image.2.version = 2.0.7" "system.name = access-point" "system.uptime = "
expect "$(console "create radios.radio[name=radio1]" "merge $radio channel=6" "create $radio.network[name=open]" \
  "set $radio.network[name=guests].allowed-client 02:00:5E:00:53:01" "commit")" \
  "OP_FAILED: radio" "OP_FAILED: network" "OP_FAILED: allowed-client"

# The station is there for half of the time: it is seen, and it is seen to be gone.
seen=0 gone=0
for _ in {1..60}; do
  if console "get radios.radio.station" | grep -q "station.1.address"; then seen=1; else gone=$seen; fi
  if ((gone)); then break; fi
  sleep 0.5
done
((seen && gone)) || {
  echo "access_point_test: the station came ($seen), and went ($gone)" >&2
  exit 1
}

kill "$agent"
wait "$agent"
start
expect "$(console "get radios" "get access")" "radios.radio.1.network.1.passphrase = 12345678" "access.rule.1.action = drop"
kill "$agent"
wait "$agent"
agent=

lines=$(sed -n '/^\/\* ---- Configuration/,/^\/\* ---- The program/p' "$source/examples/access-point/main.c" |
  grep -vcE '^[[:blank:]]*(/\*.*\*/)?[[:blank:]]*$')
leaves=$(grep -cE '^ *leaf(-list)? ' "$source/examples/access-point/access-point.yang")
if ! grep -qE "^operations are $lines lines of code .*, $((lines / leaves)) a leaf;" "$source/docs/guide.md" ||
  ((lines > 2 * leaves)); then
  echo "access_point_test: docs/guide.md does not say that $leaves leaves took $lines lines" >&2
  exit 1
fi
