#!/usr/bin/env bash
# Compares the libraries' binary interface with the one that was recorded, so that no change of it goes unseen.
#   scripts/abi.sh [--update] [--build-dir DIR]
# --update records today's interface, for a release or after a change that is meant; say it in CHANGELOG.md. A symbol or
# a field that is added passes; one that goes, moves or changes fails.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/setup.sh

usage() { sed -n '2,5s/^# *//p' scripts/abi.sh; }

update=0
build=build
while (($#)); do
  case $1 in
    --update) update=1 ;;
    --build-dir)
      build=${2:?abi: --build-dir needs a value}
      shift
      ;;
    -h | --help)
      usage
      exit 0
      ;;
    *)
      echo "abi: unknown option $1" >&2
      usage >&2
      exit 2
      ;;
  esac
  shift
done

ncdm_setup abi
[[ -e $build/CMakeCache.txt ]] || cmake --preset default
cmake --build "$build" --target netconf_dm_agent zu-thread zu-platform

failed=0
for name in netconf_dm_agent zu-thread zu-platform; do
  library=$build/lib/lib$name.so
  record=packaging/abi/lib$name.abi
  if ((update)); then
    mkdir -p packaging/abi
    abidw --exported-interfaces-only --headers-dir include --headers-dir platform/include --drop-private-types --drop-undefined-syms \
      --no-corpus-path --no-comp-dir-path --no-show-locs --type-id-style hash --out-file "$record" "$library"
    echo "abi: recorded $record"
    continue
  fi
  echo "abi: $library against $record"
  # abidiff says 4 for any change and 8 besides for one that breaks programs.
  result=0
  abidiff --exported-interfaces-only --headers-dir2 include --headers-dir2 platform/include --drop-private-types --no-show-locs \
    "$record" "$library" || result=$?
  ((result & ~4)) && failed=1
done
exit "$failed"
