#!/usr/bin/env bash
# Installs the build into a directory of its own, and builds an application against it in both ways that are offered.
#   install_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1
source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/usr" >"$work/install.log"

pc=$(find "$work/usr" -name netconf_dm_agent.pc)
sed -i "s|^prefix=.*|prefix=$work/usr|" "$pc"
export PKG_CONFIG_PATH=${pc%/*}
cc -std=c11 $(pkg-config --cflags netconf_dm_agent) "$source/examples/minimal/minimal.c" \
  $(pkg-config --libs netconf_dm_agent) -o "$work/by-pkg-config"

mkdir "$work/consumer"
cat >"$work/consumer/CMakeLists.txt" <<CMAKE
cmake_minimum_required(VERSION 3.25)
project(consumer C)
find_package(netconf_dm_agent 1.0 REQUIRED)
add_executable(by-package $source/examples/minimal/minimal.c)
target_link_libraries(by-package PRIVATE netconf_dm_agent::netconf_dm_agent)
CMAKE
cmake -S "$work/consumer" -B "$work/consumer/build" -DCMAKE_PREFIX_PATH="$work/usr" >"$work/configure.log"
cmake --build "$work/consumer/build" >"$work/build.log"

# Each runs until it is stopped: that is, it starts, registers and waits for a server.
export TMPDIR=$work/device LD_LIBRARY_PATH=${pc%/pkgconfig/*}
mkdir -p "$TMPDIR/mng/netconf/netconf_client" "$TMPDIR/mng/netconf/netconf_server"
for program in "$work/by-pkg-config" "$work/consumer/build/by-package"; do
  status=0
  NC_DM_LOG=stderr timeout --preserve-status -s INT 1 "$program" || status=$?
  if ((status != 130)); then
    echo "install_test: $program ended with $status" >&2
    exit 1
  fi
done
