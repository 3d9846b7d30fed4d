#!/bin/sh
# Installs the Debian packages into a minimal Debian system, and builds and runs a program there.
# Usage: tests/package/minimal_system.sh PACKAGING_FOLDER CONSUMER_SOURCE WORK_FOLDER
# Ends with status 77 and says why when this machine cannot do it. The minimal system stays in
# WORK_FOLDER for the next time.
set -eu
packaging=$1
consumer=$2
work=$3

skip() {
  echo "skipped: $1"
  exit 77
}
[ "$(id -u)" = 0 ] || skip "only root can set a system up"
for program in debootstrap dh; do
  command -v $program > /dev/null || skip "$program is not installed"
done

# What debootstrap mounts must not stay when this is stopped: below the build folder, `rm -r` would
# go on into it.
if [ -z "${CMNSYS_OWN_MOUNTS:-}" ]; then
  unshare --mount true 2> /dev/null || skip "this machine does not allow mounts"
  CMNSYS_OWN_MOUNTS=1 exec unshare --mount "$0" "$@"
fi

system=$work/system
if [ ! -e "$system.complete" ]; then
  rm -rf "$system"
  mkdir -p "$system"
  mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Codename: bookworm' | head -n 1)
  debootstrap --variant=minbase --include=ca-certificates,cmake,g++,make bookworm "$system" \
    "${mirror:-http://deb.debian.org/debian}" > "$work/debootstrap.log" 2>&1 ||
    skip "debootstrap cannot set a system up: $(tail -n 1 "$work/debootstrap.log")"
  cp /etc/resolv.conf "$system/etc/"
  cp /etc/apt/apt.conf.d/* "$system/etc/apt/apt.conf.d/"
  : > "$system.complete"
fi

rm -rf "$work/packages" "$system/packages" "$system/consumer" "$system/build"
mkdir -p "$work/packages"
cp -r "$packaging" "$work/packages/source"
(cd "$work/packages/source" && ./debian/rules binary-arch TOOL_PACKAGES=) > "$work/packages.log" 2>&1 || {
  cat "$work/packages.log"
  exit 1
}

mkdir "$system/packages"
cp "$work"/packages/*.deb "$system/packages/"
cp -r "$consumer" "$system/consumer"
# shellcheck disable=SC2016  # for the shell inside
chroot "$system" env DEBIAN_FRONTEND=noninteractive LC_ALL=C PATH=/usr/sbin:/usr/bin:/sbin:/bin \
  sh -euc '
    dpkg-query -W -f "\${Package}\n" "cmnsysprotobuf*" 2> /dev/null |
      xargs -r apt-get purge -qq -y > /dev/null
    apt-get update -qq
    apt-get install -qq -y --no-install-recommends /packages/*.deb protobuf-compiler > /dev/null
    ldconfig -p | grep -q libCmnSysProtoBuf
    cmnsys describe Gid > /dev/null
    cmake -S /consumer -B /build -DCMAKE_BUILD_TYPE=Debug > /dev/null
    cmake --build /build --target consumer
    /build/consumer'
echo "a program was built and runs on the installed packages"
