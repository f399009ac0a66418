#!/usr/bin/env bash
# Starts N devices on this machine, each an application and a NETCONF server, and lets Ansible manage them: it configures
# all, finds nothing to change the second time, and changes one. Ends with a line of figures.
#   scripts/fleet.sh N [--bin DIR]
# --bin takes the programs from DIR (default: build/bin, which is built).
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

bin=build/bin
ncdm_parse --bin=DIR N -- "$@"
count=${ncdm_operands[0]}
[[ $count =~ ^[1-9][0-9]*$ ]] || ncdm_bad_usage "$count is no number of devices"

ncdm_setup fleet
if [[ $bin == build/bin ]]; then
  cmake --preset default
  cmake --build --preset default --target ncdm-netconf vlans-demo
fi

work=$(mktemp -d)
pids=()
finish() {
  ((${#pids[@]} == 0)) || kill "${pids[@]}" 2>/dev/null || true
  wait
  rm -rf "$work"
}
trap finish EXIT

ssh-keygen -q -t ed25519 -N '' -f "$work/host_key"
ssh-keygen -q -t rsa -b 2048 -m PEM -N '' -f "$work/controller_key"

ncdm_say "starting $count devices"
for ((i = 1; i <= count; ++i)); do
  device=$work/$i
  mkdir "$device"
  "$bin/ncdm-netconf" --root "$device" --port 0 --address 127.0.0.1 --hostkey "$work/host_key" \
    --authorized-keys "$work/controller_key.pub" --yang examples/vlans >"$device/netconf.out" 2>"$device/netconf.log" &
  pids+=($!)
done
{
  echo '[all]'
  for ((i = 1; i <= count; ++i)); do
    for _ in $(seq 300); do
      grep -qs '^listening' "$work/$i/netconf.out" && break
      sleep 0.1
    done
    TMPDIR=$work/$i "$bin/vlans-demo" --config "$work/$i/vlans.json" >"$work/$i/demo.log" 2>&1 &
    pids+=($!)
    echo "device$i ansible_host=127.0.0.1 ansible_port=$(sed -n 's/^listening on .*://p' "$work/$i/netconf.out")"
  done
  cat <<INVENTORY
[all:vars]
ansible_connection=ansible.netcommon.netconf
ansible_network_os=default
ansible_user=admin
ansible_ssh_private_key_file=$work/controller_key
ansible_python_interpreter=/usr/bin/python3
INVENTORY
} >"$work/inventory"

export ANSIBLE_HOST_KEY_CHECKING=False ANSIBLE_NOCOWS=1 ANSIBLE_LOCAL_TEMP=$work/ansible ANSIBLE_HOME=$work/ansible
export ANSIBLE_PERSISTENT_COMMAND_TIMEOUT=120 ANSIBLE_PERSISTENT_CONNECT_TIMEOUT=120 ANSIBLE_DEPRECATION_WARNINGS=False
export ANSIBLE_PERSISTENT_CONTROL_PATH_DIR=$work/ansible/pc

# manage NAME CHANGED [OPTION...]: one run of the playbook, in which CHANGED devices are to change and none to fail.
manage() {
  local name=$1 wanted=$2 seconds=$SECONDS changed failed reported
  shift 2
  ansible-playbook -i "$work/inventory" --forks 4 examples/fleet/site.yml "$@" >"$work/$name.log" 2>&1 || true
  changed=$(grep -cE ' changed=[1-9]' "$work/$name.log" || true)
  failed=$(grep -E ' ok=[0-9]+ +changed=' "$work/$name.log" | grep -cvE 'unreachable=0 +failed=0' || true)
  reported=$(grep -cE ' ok=[0-9]+ +changed=' "$work/$name.log" || true)
  ncdm_say "$name: $((SECONDS - seconds)) s, $reported devices, $changed changed, $failed failed"
  if ((changed != wanted || failed || reported != count)); then
    grep -E '^(fatal|failed|unreachable):' "$work/$name.log" >&2 || tail -n 60 "$work/$name.log" >&2
    exit 1
  fi
}

sleep 2 # the agents look for their server once a second
began=$SECONDS
manage configure "$count"
manage again 0
manage change-one 1 -e changed=device1
manage change-one-again 0 -e changed=device1

# Resident and not shared, of a device's two processes.
memory=0
for pid in "${pids[@]}"; do
  memory=$((memory + $(awk '/^Private/ {sum += $2} END {print sum}' "/proc/$pid/smaps_rollup")))
done
ncdm_say "$count devices, $((SECONDS - began)) s, 0 failures, $((memory / count)) KiB a device"
