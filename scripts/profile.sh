#!/usr/bin/env bash
# Counts the instructions that the agent spends on one kind of request, with callgrind, and shows the
# functions that spend most.
#   scripts/profile.sh NAME [--rounds N] [--lines N] [--inclusive] [MODEL...]
# NAME   read-leaf, read-leaf-collected, read-list, get-id, create-delete-entry, merge-entry,
#        edit-subtree or register
# MODEL  what the agent is filled with, such as --entries=10000 --leaves=4 --depth=2 --hash
#        --second-list --command; 1000 entries unless it says otherwise
# The figures are for one operation: a request, or for read-list a leaf, for get-id an entry and for
# register a path. What the kernel does is not in them.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

rounds=
lines=25
inclusive=0
ncdm_parse --rounds=N --lines=N --inclusive '--entries=*' '--leaves=*' '--depth=*' '--hash*' \
  '--second-list*' '--command*' NAME MODEL... -- "$@"
name=${ncdm_operands[0]}
[[ $name != -* ]] || ncdm_bad_usage "the name of a request stands first"
model=(--entries=1000)
[[ $name == edit-subtree ]] && model+=(--leaves=12)
model+=("${ncdm_operands[@]:1}")
if [[ -z $rounds ]]; then
  case $name in
    read-list | get-id) rounds=20 ;;
    *) rounds=2000 ;;
  esac
fi

ncdm_setup profile
build=${NCDM_BENCH_BUILD:-build}
if [[ -z ${NCDM_BENCH_BUILD:-} ]]; then
  cmake --preset default -DNCDM_BENCH=ON
  cmake --build --preset default --parallel "$(nproc)" --target bench
fi

output=$(mktemp -d)
trap 'rm -rf "$output"' EXIT
wrapper="valgrind --quiet --tool=callgrind --callgrind-out-file=$output/profile"
wrapper+=" --collect-atstart=no --toggle-collect=bench_serve"
[[ $name == register ]] && wrapper+=" --toggle-collect=bench_register"
operations=$("$build/bin/bench/end-to-end" --profile "$name" --rounds "$rounds" \
  --wrapper "$wrapper" "${model[@]}" | sed -n 's/^operations //p')

callgrind_annotate --inclusive="$( ((inclusive)) && echo yes || echo no)" --show-percs=no --auto=no --threshold=100 \
  "$output/profile" >"$output/annotated"
echo "$name ${model[*]}: $operations operations; instructions an operation:"
# Lines such as "1,234,567  ???:nc_dm_parse [/.../libnetconf_dm_agent.so.1]".
awk -v operations="$operations" -v lines="$lines" '
  /libc_start|below main|ld-linux|:main|bench_serve|zu_thread_master(_run|::Run\(\))/ { next }
  /PROGRAM TOTALS/ || ($1 ~ /^[0-9,]+$/ && NF > 1) {
    cost = $1
    gsub(/,/, "", cost)
    $1 = ""
    if (/PROGRAM TOTALS/) { printf "%10.1f  all\n", cost / operations; next }
    if (shown++ < lines) printf "%10.1f %s\n", cost / operations, $0
  }' "$output/annotated" | sed -e 's, \[[^]]*/\([^/]*\)\], [\1],' -e "s,$PWD/,,"
