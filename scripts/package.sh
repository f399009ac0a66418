#!/usr/bin/env bash
# Builds the Debian packages twice, compares the builds, and tries the packages in a clean Debian.
#   scripts/package.sh [--no-root] [--out DIR] [-DNAME=VALUE...]
# --no-root leaves the clean Debian out, which needs a mirror and root; --out keeps the packages in DIR (default:
# build-package/out); options with -D go to CMake. NCDM_APT_OPTIONS are further options of mmdebstrap, such as
# --aptopt='Acquire::http::Proxy "http://proxy:3128"'.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

no_root=0
out=$PWD/build-package/out
ncdm_parse --no-root --out=DIR '-D*' OPTION... -- "$@"
options=("${ncdm_operands[@]}")
for option in "${options[@]}"; do
  [[ $option == -D* ]] || ncdm_bad_usage "unknown argument $option"
done

ncdm_setup package
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct 2>/dev/null || date +%s)
export SOURCE_DATE_EPOCH
# The second build is to be one, not the first one's objects; and a cache may name the sources in its own way.
export CCACHE_DISABLE=1

# package_in BUILD_DIR: configures, builds and packs there.
package_in() {
  cmake -S . -B "$1" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr \
    -DBUILD_TESTING=OFF -DNCDM_EXAMPLES=OFF -DNCDM_REPRODUCIBLE=ON \
    -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON "${options[@]}"
  cmake --build "$1" --parallel "$(nproc)"
  cmake --build "$1" --target package-symbols
  rm -rf "$1/out"
  # The packages' files are readable for all, whatever the umask of who builds.
  (umask 022 && cd "$1" && cpack -G DEB -B "$1/out")
}

digests() { (cd "$1" && sha256sum ./*.deb); }

# What differs in a package of which two builds differ.
show_difference() {
  local package build
  for package in "$1"/*.deb; do
    cmp -s "$package" "$2/${package##*/}" && continue
    for build in "$1" "$2"; do
      rm -rf "$work/unpacked"
      dpkg-deb -R "$build/${package##*/}" "$work/unpacked"
      (cd "$work/unpacked" && find . -type f -print0 | sort -z | xargs -0 sha256sum && find . -printf '%p %m %u %T@\n' | sort) \
        >"$work/$(basename "$(dirname "$build")").list"
    done
    diff "$work/$(basename "$(dirname "$1")").list" "$work/$(basename "$(dirname "$2")").list" >&2 || true
  done
}

ncdm_say "building"
package_in "$PWD/build-package"
ncdm_say "building again, in another folder"
# Without the cache, which would hand it the first one's objects.
CCACHE_DISABLE=1 package_in "$work/again"
ncdm_say "comparing the builds"
digests "$PWD/build-package/out" >"$work/first"
digests "$work/again/out" >"$work/second"
diff "$work/first" "$work/second" || {
  show_difference "$PWD/build-package/out" "$work/again/out"
  ncdm_fail "two builds give different packages"
}
ncdm_say "$(wc -l <"$work/first") packages, the same bytes from both builds"
[[ $out == "$PWD/build-package/out" ]] || { mkdir -p "$out" && cp "$PWD"/build-package/out/*.deb "$out"; }
(cd "$out" && du -b ./*.deb)

ncdm_say "lintian"
lintian --fail-on error --tag-display-limit 0 "$out"/*.deb

((no_root)) && exit 0
ncdm_say "a clean Debian"
root=$work/root
suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
mirror=$(apt-get indextargets --format '$(RELEASE) $(REPO_URI)' 'Created-By: Packages' |
  awk -v suite="$suite" '$1 == suite && !uri {uri = $2} END {print uri}')
# systemd for systemd-tmpfiles and for what it says of the unit; it does not run.
eval "apt_options=(${NCDM_APT_OPTIONS:-})"
mmdebstrap --variant=minbase --mode=root "${apt_options[@]}" \
  --include=adduser,systemd,gcc,g++,cmake,make,pkg-config,openssh-client "$suite" "$root" "$mirror"
# With a /proc of its own, which goes with the last process.
in_root() {
  unshare --mount --pid --fork -- sh -c 'mount -t proc proc "$0/proc" && exec chroot "$0" "$@"' "$root" \
    /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive "$@"
}
# All there is, but for what dpkg, apt, adduser and systemd keep for themselves; and who there is.
snapshot() {
  (cd "$root" && find . -xdev \( -path ./tmp -o -path ./run/adduser -o -path ./run/systemd -o -path ./var/lib/dpkg -o -path ./var/lib/apt -o -path ./var/cache \
    -o -path ./var/log -o -path ./etc/ld.so.cache -o -path ./etc/resolv.conf \) -prune -o -print | sort &&
    cut -d: -f1 etc/passwd etc/group)
}
cp /etc/resolv.conf "$root/etc/resolv.conf" 2>/dev/null || true
in_root apt-get update -qq

snapshot >"$work/before"
mkdir "$root/tmp/packages"
cp "$out"/*.deb "$root/tmp/packages"
mkdir "$root/tmp/scripts"
cp scripts/{common,packages,package_try}.sh "$root/tmp/scripts"
in_root bash /tmp/scripts/package_try.sh
in_root apt-get purge -y -qq $(for package in "$out"/*.deb; do dpkg-deb -f "$package" Package; done)
in_root apt-get autoremove --purge -y -qq
snapshot >"$work/after"
diff "$work/before" "$work/after" || {
  ncdm_fail "something is left after the removal"
}
ncdm_say "nothing is left after the removal"
