#!/usr/bin/env bash
# Runs the demonstration, and looks for this machine's own interfaces and for each step in what it prints.
#   demo_test.sh SOURCE_DIR
set -euo pipefail

output=$("$1/scripts/demo.sh" 2>&1) || {
  status=$?
  echo "$output"
  exit "$status"
}
missing=0
expect() { # TEXT
  if ! grep -qF -- "$1" <<<"$output"; then
    echo "demo_test: the output lacks: $1" >&2
    missing=1
  fi
}
for interface in $(sed -n 's/^ *\([^ ]*\):.*/\1/p' /proc/net/dev); do
  expect "$interface"
done
expect "interfaces.interface.{i}.mtu"
expect "system.hostname = $(uname -n)"
expect "demo-vlans@2026-11-21"
expect "vlans.vlan.10.name = office"
expect "vlans.vlan.10.tagged-port.1 = eth1"
expect "fault DATA_INVALID_VALUE: mtu"
expect "fault OP_FAILED: vlan"
expect "fault DATA_EXISTS: vlan"
expect "system.location = rack 4"
if ((missing)); then
  echo "$output"
  exit 1
fi
# The restarted application has the configuration that was committed: the entry that was left, and not the deleted one.
kept=$(sed -n '/The application restarts/,$p' <<<"$output")
grep -q guests <<<"$kept" && ! grep -q office <<<"$kept"
