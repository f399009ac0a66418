#!/usr/bin/env bash
# What the scripts share: their start, their usage, their options and their messages. Each sources it
# first: an error then ends the script, which goes on in the project's folder.
set -euo pipefail

ncdm_called_from=$PWD
ncdm_script=$(realpath "$0")
ncdm_name=$(basename "$0" .sh)
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/packages.sh

# ---- Messages ----

ncdm_say() { echo "$ncdm_name: $*"; }

ncdm_fail() {
  echo "$ncdm_name: $*" >&2
  exit 1
}

# Prints the comment at the head of the script.
ncdm_usage() { awk 'NR > 1 { if (!/^#/) exit; sub(/^# ?/, ""); print }' "$ncdm_script"; }

# Ends the script because of its arguments.
ncdm_bad_usage() {
  echo "$ncdm_name: $*" >&2
  ncdm_usage >&2
  exit 2
}

# ---- Options ----

# A path as the caller means it.
ncdm_absolute() { [[ $1 == /* ]] && echo "$1" || echo "$ncdm_called_from/$1"; }

# ncdm_parse ARGUMENT... -- "$@": reads the script's arguments.
#   --quick          sets quick=1
#   --json=FILE      sets json to the value behind it; --build-dir=DIR sets build_dir
#   --seconds=N      the value must be a number above 0
#   -D*              an argument that begins so is an operand, as it stands
#   NAME             an operand: as many as there are names, and any number for NAME...
# A value for FILE or DIR becomes an absolute path. --help, wherever it stands, prints the usage and ends
# the script; so does, with 2, what is not among these. The operands are left in ncdm_operands.
ncdm_parse() {
  local known_options=() least=0 most=0
  while [[ $1 != -- ]]; do
    case $1 in
      -*) known_options+=("$1") ;;
      *...) most=1000 ;;
      *) least=$((least + 1)) most=$((most + 1)) ;;
    esac
    shift
  done
  shift
  ncdm_answer_help "$@"
  ncdm_operands=()
  while (($#)); do
    if [[ $1 != -* ]]; then
      ncdm_operands+=("$1")
      shift
      continue
    fi
    ncdm_take_option "$@"
    shift "$ncdm_taken"
  done
  ((${#ncdm_operands[@]} >= least)) || ncdm_bad_usage "an argument is missing"
  ((${#ncdm_operands[@]} <= most)) || ncdm_bad_usage "unknown argument ${ncdm_operands[most]}"
}

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

# Takes the option $1, and its value; ncdm_taken is how many arguments these are.
ncdm_take_option() {
  local known_option variable value
  for known_option in "${known_options[@]}"; do
    case $known_option in
      "$1")
        variable=${1#--}
        printf -v "${variable//-/_}" 1
        ncdm_taken=1
        return
        ;;
      "$1="*)
        (($# > 1)) || ncdm_bad_usage "$1 needs a value"
        variable=${1#--}
        value=$(ncdm_value_for "${known_option#*=}" "$2" "$1")
        printf -v "${variable//-/_}" '%s' "$value"
        ncdm_taken=2
        return
        ;;
      *'*')
        if [[ $1 == $known_option ]]; then
          ncdm_operands+=("$1")
          ncdm_taken=1
          return
        fi
        ;;
    esac
  done
  ncdm_bad_usage "unknown option $1"
}

# ncdm_value_for KIND VALUE OPTION
ncdm_value_for() {
  case $1 in
    N)
      [[ $2 =~ ^[1-9][0-9]*$ ]] || ncdm_bad_usage "$3 needs a number"
      echo "$2"
      ;;
    FILE | DIR) ncdm_absolute "$2" ;;
    *) echo "$2" ;;
  esac
}
