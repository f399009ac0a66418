#!/usr/bin/env bash
# Installs the library into a directory of its own, builds an application against it in the ways that are offered, and
# takes it off again.
#   install_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1
source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
  echo "install_test: $*" >&2
  exit 1
}

# A build that was configured for one prefix, installed to another.
for component in library model dev; do
  cmake --install "$build" --prefix "$work/usr" --component "$component" >"$work/install.log"
done
pc=$(find "$work/usr" -name netconf_dm_agent.pc)
export PKG_CONFIG_PATH=${pc%/*}
[[ $(pkg-config --variable=prefix netconf_dm_agent) == "$work/usr" ]] || fail "the pkg-config file has another prefix"
cc -std=c11 $(pkg-config --cflags netconf_dm_agent) "$source/examples/minimal/minimal.c" \
  $(pkg-config --libs netconf_dm_agent) -o "$work/by-pkg-config"
c++ -std=c++20 $(pkg-config --cflags netconf_dm_agent) -x c++ "$source/examples/minimal/minimal.c" -x none \
  $(pkg-config --libs netconf_dm_agent) -o "$work/by-pkg-config-cxx"

# An absolute library folder stands in the file as it is.
sed 's|^set(libdir .*|set(libdir "/opt/lib64")|' "$build/install_pc.cmake" >"$work/absolute.cmake"
DESTDIR=$work/staged cmake -DCMAKE_INSTALL_PREFIX=/opt/ncdm -P "$work/absolute.cmake"
grep -qx 'libdir=/opt/lib64' "$work/staged/opt/lib64/pkgconfig/netconf_dm_agent.pc" || fail "absolute libdir"
grep -qx 'prefix=/opt/ncdm' "$work/staged/opt/lib64/pkgconfig/netconf_dm_agent.pc" || fail "prefix of the stage"

# consumer FOLDER LINES: a project that links the library by its CMake name.
consumer() {
  mkdir "$work/$1"
  cat >"$work/$1/CMakeLists.txt" <<CMAKE
cmake_minimum_required(VERSION 3.25)
project(consumer C CXX)
$2
add_executable(by-package $source/examples/minimal/minimal.c)
target_link_libraries(by-package PRIVATE netconf_dm_agent::netconf_dm_agent)
if(TARGET ncdm-console OR TARGET vlans-demo)
  message(FATAL_ERROR "tools or examples are built for a project that asked for the library")
endif()
CMAKE
  cmake -S "$work/$1" -B "$work/$1/build" -DCMAKE_PREFIX_PATH="$work/usr" >"$work/configure.log"
}
consumer package 'find_package(netconf_dm_agent 1.0 REQUIRED)'
cmake --build "$work/package/build" >"$work/build.log"
# As a part of the project itself, which only has to know the name.
consumer fetched "include(FetchContent)
FetchContent_Declare(netconf_dm_agent SOURCE_DIR $source)
FetchContent_MakeAvailable(netconf_dm_agent)"

# What the installed generator writes finds the installed libraries, when it is built and when it runs.
if [[ -x $build/bin/ncdm-yang ]]; then
  mkdir "$work/usr/bin"
  cp "$build/bin/ncdm-yang" "$work/usr/bin"
  "$work/usr/bin/ncdm-yang" generate "$source/examples/access-point/access-point.yang" -o "$work/generated"
  cmake -S "$work/generated" -B "$work/generated/build" >"$work/configure.log"
  cmake --build "$work/generated/build" >"$work/build.log"
  "$work/generated/build/access-point-test" || fail "the generated application's test ended with $?"
  rm -r "$work/usr/bin"
fi

# Each runs until it is stopped: that is, it starts, registers and waits for a server.
export TMPDIR=$work/device LD_LIBRARY_PATH=${pc%/pkgconfig/*}
mkdir -p "$TMPDIR/mng/netconf/netconf_client" "$TMPDIR/mng/netconf/netconf_server"
for program in "$work/by-pkg-config" "$work/by-pkg-config-cxx" "$work/package/build/by-package"; do
  status=0
  NC_DM_LOG=stderr timeout --preserve-status -s INT 1 "$program" || status=$?
  ((status == 130)) || fail "$program ended with $status"
done

manifests=$(printf ';%s' "$build"/install_manifest_{library,model,dev}.txt)
cmake "-DMANIFESTS=${manifests#;}" -P "$build/uninstall.cmake" \
  >"$work/uninstall.log"
left=$(find "$work/usr" -type f -o -type l -o -type d -name netconf_dm_agent)
[[ -z $left ]] || fail "left after the removal: $left"
