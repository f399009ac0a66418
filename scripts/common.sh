#!/usr/bin/env bash
# What the scripts share. Each sources it first: an error then ends the script, which goes on in the project's folder.
set -euo pipefail

ncdm_called_from=$PWD
ncdm_script=$(realpath "$0")
ncdm_name=$(basename "$0" .sh)
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/setup.sh

# Prints the comment at the head of the script.
ncdm_usage() { awk 'NR > 1 { if (!/^#/) exit; sub(/^# ?/, ""); print }' "$ncdm_script"; }

# Answers --help, wherever it stands among the arguments.
ncdm_answer_help() {
  local argument
  for argument in "$@"; do
    if [[ $argument == -h || $argument == --help ]]; then
      ncdm_usage
      exit 0
    fi
  done
}

# Ends the script because of its arguments.
ncdm_bad_usage() {
  echo "$ncdm_name: $1" >&2
  ncdm_usage >&2
  exit 2
}

# The value of an option: ncdm_value "$@" where the option is $1.
ncdm_value() {
  (($# > 1)) || ncdm_bad_usage "$1 needs a value"
  echo "$2"
}

# A path as the caller means it.
ncdm_absolute() { [[ $1 == /* ]] && echo "$1" || echo "$ncdm_called_from/$1"; }
