#!/usr/bin/env bash
# Runs inside a clean Debian: installs the packages in /tmp/packages, builds applications as their readers would, and
# drives one from the console.
set -euo pipefail

apt-get update -qq
apt-get install -y -qq --no-install-recommends /tmp/packages/*.deb
cd "$(mktemp -d)"
example=/usr/share/doc/libnetconf-dm-agent-dev/examples/minimal/minimal.c

flags=$(pkg-config --cflags --libs netconf_dm_agent)
cc -std=c11 -Wall -Wextra -Werror "$example" $flags -o by-pkg-config-c
c++ -std=c++20 -Wall -Wextra -Werror -Wno-write-strings -x c++ "$example" -x none $flags -o by-pkg-config-cxx
for language in C CXX; do
  mkdir "$language"
  cp "$example" "$language/main.$([[ $language == C ]] && echo c || echo cc)"
  cat >"$language/CMakeLists.txt" <<CMAKE
cmake_minimum_required(VERSION 3.25)
project(consumer $language)
find_package(netconf_dm_agent 1.0 REQUIRED)
file(GLOB sources main.*)
add_executable(by-package \${sources})
target_link_libraries(by-package PRIVATE netconf_dm_agent::netconf_dm_agent)
CMAKE
  cmake -S "$language" -B "$language/build" >/dev/null
  cmake --build "$language/build" >/dev/null
done
man_pages=$(find /usr/share/man -name 'ncdm-*' -o -name 'netconf_dm_agent*' -o -name 'nc_dm_*' | wc -l)
((man_pages >= 2)) || { echo "package: $man_pages manual pages" >&2; exit 1; }

export TMPDIR=$PWD/device
mkdir -p "$TMPDIR/mng/netconf/netconf_client"
for program in ./by-pkg-config-c ./by-pkg-config-cxx C/build/by-package CXX/build/by-package; do
  NC_DM_LOG=stderr "$program" &
  application=$!
  output=$(ncdm-console --root "$TMPDIR" -e 'wait minimal 10' -e 'set greeting.text hi' -e 'get greeting.text')
  kill "$application"
  wait "$application" || true
  grep -qF 'greeting.text = hi' <<<"$output" || { echo "package: $program: $output" >&2; exit 1; }
  echo "package: $program answers"
done
if ldd by-pkg-config-c | grep 'libstdc++'; then
  echo "package: an application in C loads libstdc++" >&2
  exit 1
fi
cd /
