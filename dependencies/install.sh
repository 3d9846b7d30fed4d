#!/bin/sh
# Installs the Debian packages that lists of this folder name and that are missing.
# Usage: dependencies/install.sh LIST...    for example: dependencies/install.sh build test
# With DEPS=skip in the environment it does nothing.
set -eu

[ "${DEPS:-}" != skip ] || exit 0
cd "$(dirname "$0")"
command -v dpkg-query > /dev/null || {
  echo "This is no Debian system: install by hand what dependencies/*.txt name, then say DEPS=skip." >&2
  exit 1
}

wanted=$(for list in "$@"; do sed 's/#.*//' "$list.txt"; done | sort -u)
# A package that another one provides is there, too.
there=$(dpkg-query -W -f '${db:Status-Abbrev} ${Package}, ${Provides}\n' |
  sed -n 's/^ii *//p' | tr ', ' '\n\n' | sort -u)
missing=
for package in $wanted; do
  printf '%s\n' "$there" | grep -qxF "$package" || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

echo "Installing Debian packages:$missing"
sudo=
if [ "$(id -u)" != 0 ]; then
  command -v sudo > /dev/null || {
    echo "Only root may install them, and there is no sudo. As root: apt-get install$missing" >&2
    exit 1
  }
  sudo="sudo DEBIAN_FRONTEND=noninteractive"
  echo "This needs root: sudo may ask for your password. To build without them: make ... DEPS=skip"
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
# shellcheck disable=SC2086  # one word a package
$sudo apt-get install -y -qq --no-install-recommends $missing
