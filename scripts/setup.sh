#!/usr/bin/env bash
# Installs what building and testing need, where it is missing.
#   scripts/setup.sh [GROUP...]
# Groups of further packages: lint, fuzz, coverage, mutate, plot, profile, package, abi, reference,
# fleet, peers, cross-armhf, cross-aarch64, cross-s390x.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
ncdm_parse GROUP... -- "$@"

for group in "${ncdm_operands[@]}"; do
  ncdm_group_packages "$group" >/dev/null || ncdm_bad_usage "that group is unknown"
done
ncdm_setup "${ncdm_operands[@]}"
