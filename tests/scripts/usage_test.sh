#!/usr/bin/env bash
# Every script says how it is used, refuses what it does not know, and does nothing else meanwhile:
# least of all does it install packages or build.
#   usage_test.sh SOURCE_DIR
set -euo pipefail

# A system without packages to ask for: what a script would install, configure or build with, fails the test.
watched=$(mktemp -d)
trap 'rm -rf "$watched"' EXIT
for program in apt-get apt-cache dpkg-query sudo cmake ctest ninja; do
  cat >"$watched/$program" <<END
#!/bin/sh
echo "$program \$*" >>"$watched/calls"
exit 1
END
  chmod +x "$watched/$program"
done

failed=0
complain() {
  echo "usage_test: $*" >&2
  failed=1
}

# run RESULT SCRIPT ARGUMENT...: its output is left in $output and $errors.
run() {
  local wanted=$1 script=$2 result=0
  shift
  : >"$watched/calls"
  (cd / && PATH=$watched:$PATH "$@" >"$watched/output" 2>"$watched/errors" </dev/null) || result=$?
  output=$(cat "$watched/output")
  errors=$(cat "$watched/errors")
  ((result == wanted)) || complain "$* ends with $result instead of $wanted: $errors"
  [[ ! -s $watched/calls ]] || complain "$* calls $(cat "$watched/calls")"
}

count=0
for script in "$1"/scripts/*.sh "$1"/scripts/*.py; do
  name=scripts/${script#"$1/scripts/"}
  # Those two are no scripts: the others source them.
  [[ $name == scripts/common.sh || $name == scripts/packages.sh ]] && continue
  count=$((count + 1))
  for option in --help -h; do
    run 0 "$script" $option
    [[ $output == *"$(basename "$name")"* ]] || complain "$name $option does not say how it is used"
    [[ -z $errors ]] || complain "$name $option says: $errors"
  done
  run 2 "$script" --no-such-option
  [[ $errors == *no-such-option* || $errors == *required* ]] || complain "$name does not name the unknown option: $errors"
  [[ -z $output ]] || complain "$name prints to its output what is an error"
done

# Of the options: values that are missing or none, arguments that nobody wants, --help behind others.
scripts=$1/scripts
run 2 "$scripts/fuzz.sh" --seconds
run 2 "$scripts/fuzz.sh" --seconds many
run 2 "$scripts/fuzz.sh" --seconds 0
run 2 "$scripts/fuzz.sh" nothing
run 2 "$scripts/test.sh" release
run 2 "$scripts/cross.sh"
run 2 "$scripts/cross.sh" pdp11
run 2 "$scripts/cross.sh" armhf s390x
run 2 "$scripts/profile.sh"
run 2 "$scripts/package.sh" --out
run 2 "$scripts/setup.sh" nothing
run 0 "$scripts/soak.sh" --seconds 5 --help

echo "usage_test: $count scripts"
((count >= 17)) || complain "only $count scripts were found"
exit "$failed"
