#!/usr/bin/env bash
# Compares the libraries' binary interface with the one that was recorded, so that no change of it goes unseen.
#   scripts/abi.sh [--update] [--build-dir DIR]
# --update records today's interface, for a release or after a change that is meant; say it in CHANGELOG.md. A symbol that
# is added passes; one that goes or changes fails, and so does any change of a public record.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

update=0
build_dir=build
ncdm_parse --update --build-dir=DIR -- "$@"
build=$build_dir
# Those of generated applications follow with their first release: until then ncdm_model.h goes with the generator.
libraries=(netconf_dm_agent zu-thread zu-platform)

ncdm_setup abi
[[ -e $build/CMakeCache.txt ]] || cmake --preset default
cmake --build "$build" --target "${libraries[@]}"

failed=0
for name in "${libraries[@]}"; do
  library=$build/lib/lib$name.so
  record=packaging/abi/lib$name.abi
  if ((update)); then
    mkdir -p packaging/abi
    abidw --exported-interfaces-only --headers-dir include --headers-dir platform/include \
      --drop-private-types --drop-undefined-syms --no-corpus-path --no-comp-dir-path --no-show-locs \
      --type-id-style hash --out-file "$record" "$library"
    ncdm_say "recorded $record"
    continue
  fi
  ncdm_say "$library against $record"
  # Whatever it reports counts: it takes the loss of a symbol alone for a break, and moved fields for a change. It is
  # given no headers here: the record does not say where its types stand, so it would take all of them for private.
  abidiff --no-added-syms --exported-interfaces-only --no-show-locs "$record" "$library" || failed=1
done
exit "$failed"
