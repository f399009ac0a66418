#!/usr/bin/env bash
# Which packages building and testing need, and their installation where they are missing. common.sh
# sources it.

# Which packages a group stands for. "a|b" is the first of them that the system offers.
ncdm_group_packages() {
  case $1 in
    base)
      echo g++ cmake ninja-build make ccache pkg-config libgtest-dev libgmock-dev libbenchmark-dev \
        libevent-dev libglib2.0-dev libuv1-dev libcli11-dev nlohmann-json3-dev libedit-dev \
        libssh-dev libxml2-dev 'libyang2-dev|libyang-dev' libpcre2-dev libyuma-base openssh-client python3-ncclient \
        'libyang2-tools|libyang3-tools|libyang-tools|yang-tools' git python3
      ;;
    lint) echo clang-format clang-tidy cppcheck ;;
    fuzz) echo clang llvm 'libclang-rt-14-dev|libclang-rt-dev' ;;
    coverage) echo gcovr ;;
    mutate) echo clang python3-clang ;;
    plot) echo gnuplot-nox ;;
    profile) echo valgrind ;;
    package) echo dpkg-dev file lintian mmdebstrap ;;
    abi) echo abigail-tools ;;
    fleet) echo ansible python3-ncclient openssh-client ;;
    peers) echo snmpd libsnmp-dev nlohmann-json3-dev ;;
    reference) echo doxygen ;;
    cross-armhf) echo g++-arm-linux-gnueabihf qemu-user googletest ;;
    cross-aarch64) echo g++-aarch64-linux-gnu qemu-user googletest ;;
    cross-s390x) echo g++-s390x-linux-gnu qemu-user googletest ;;
    *)
      echo "$ncdm_name: no group of packages is called $1" >&2
      return 1
      ;;
  esac
}

ncdm_is_installed() {
  local status
  status=$(dpkg-query -W -f '${db:Status-Status}\n' "$1" 2>/dev/null) || return 1
  [[ $status == *installed* && $status != *not-installed* ]]
}

ncdm_any_installed() {
  local name
  for name in ${1//|/ }; do
    ncdm_is_installed "$name" && return 0
  done
  return 1
}

ncdm_first_offered() {
  local name
  for name in ${1//|/ }; do
    if apt-cache show "$name" >/dev/null 2>&1; then
      echo "$name"
      return 0
    fi
  done
  echo "$ncdm_name: the system offers no package $1" >&2
  return 1
}

ncdm_as_root() {
  if [[ $(id -u) == 0 ]]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    echo "$ncdm_name: need to be root, or sudo, for: $*" >&2
    return 1
  fi
}

ncdm_setup() {
  local group packages package missing=() names=()
  if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
    echo "$ncdm_name: this is no Debian system; taking what is installed" >&2
    return 0
  fi
  for group in base "$@"; do
    packages=$(ncdm_group_packages "$group") || return 1
    for package in $packages; do
      ncdm_any_installed "$package" || missing+=("$package")
    done
  done
  ((${#missing[@]})) || return 0

  ncdm_say "missing ${missing[*]}"
  ncdm_say "apt-get update"
  ncdm_as_root apt-get update -qq || return 1
  for package in "${missing[@]}"; do
    names+=("$(ncdm_first_offered "$package")") || return 1
  done
  ncdm_say "apt-get install ${names[*]}"
  ncdm_as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${names[@]}"
}
