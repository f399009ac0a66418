#!/usr/bin/env bash
# Builds the Debian packages twice, compares the builds, and tries the packages in a clean Debian.
#   scripts/package.sh [--no-root] [--out DIR] [-DNAME=VALUE...]
# --no-root leaves the clean Debian out, which needs a mirror; --out keeps the packages in DIR (default: build-package/out);
# options with -D go to CMake.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/setup.sh

usage() { sed -n '2,5s/^# *//p' scripts/package.sh; }

try_root=1
options=()
out=$PWD/build-package/out
while (($#)); do
  case $1 in
    --no-root) try_root=0 ;;
    --out)
      out=$(realpath -m "${2:?package: --out needs a value}")
      shift
      ;;
    -D*) options+=("$1") ;;
    -h | --help)
      usage
      exit 0
      ;;
    *)
      echo "package: unknown option $1" >&2
      usage >&2
      exit 2
      ;;
  esac
  shift
done

ncdm_setup package
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct 2>/dev/null || date +%s)
# A cache could hand one build the other's objects.
export SOURCE_DATE_EPOCH CCACHE_DISABLE=1

# package_in BUILD_DIR: configures, builds and packs there.
package_in() {
  cmake -S . -B "$1" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr \
    -DBUILD_TESTING=OFF -DNCDM_EXAMPLES=OFF -DNCDM_REPRODUCIBLE=ON "${options[@]}"
  cmake --build "$1" --parallel "$(nproc)"
  cmake --build "$1" --target package-symbols
  rm -rf "$1/out"
  # The packages' files are readable for all, whatever the umask of who builds.
  (umask 022 && cd "$1" && cpack -G DEB -B "$1/out")
}

# Every file of every package in DIR, with its digest.
contents() {
  local package folder=$work/contents
  rm -rf "$folder"
  for package in "$1"/*.deb; do
    mkdir -p "$folder"
    dpkg-deb -x "$package" "$folder"
  done
  (cd "$folder" && find . -type f -print0 | sort -z | xargs -0 sha256sum)
}

echo "package: building"
package_in "$PWD/build-package"
echo "package: building again, in another folder"
package_in "$work/again"
echo "package: comparing the builds"
contents "$PWD/build-package/out" >"$work/first"
contents "$work/again/out" >"$work/second"
diff "$work/first" "$work/second"
echo "package: $(wc -l <"$work/first") files, the same bytes in both builds"
[[ $out == "$PWD/build-package/out" ]] || { mkdir -p "$out" && cp "$PWD"/build-package/out/*.deb "$out"; }

echo "package: lintian"
lintian --fail-on error --tag-display-limit 0 "$out"/*.deb

((try_root)) || exit 0
echo "package: a clean Debian"
root=$work/root
suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
mirror=$(sed -n 's/^URIs: *//p;s/^deb \(\[[^]]*\] \)\?\([^ ]*\).*/\2/p' /etc/apt/sources.list \
  /etc/apt/sources.list.d/* 2>/dev/null | head -n 1)
mmdebstrap --variant=minbase --mode=root --include=gcc,g++,cmake,make,pkg-config,adduser \
  ${NCDM_APT_OPTIONS:-} "$suite" "$root" "$mirror"
snapshot() { (cd "$root" && find . -xdev -path ./tmp -prune -o -path ./var -prune -o -print | sort); }
in_root() { chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive "$@"; }

snapshot >"$work/before"
mkdir "$root/tmp/packages"
cp "$out"/*.deb "$root/tmp/packages"
cp /etc/resolv.conf "$root/etc/resolv.conf" 2>/dev/null || true
cp scripts/package_try.sh "$root/tmp/"
in_root bash /tmp/package_try.sh
in_root apt-get purge -y -qq libnetconf-dm-agent1 libnetconf-dm-agent-dev netconf-dm-agent-tools
in_root apt-get autoremove --purge -y -qq
snapshot >"$work/after"
echo "package: what is left after the removal"
diff <(grep -v '^./etc/ld.so.cache$\|^./etc/resolv.conf$' "$work/before") \
  <(grep -v '^./etc/ld.so.cache$\|^./etc/resolv.conf$' "$work/after") && echo "package: nothing"
