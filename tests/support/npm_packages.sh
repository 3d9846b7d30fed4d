#!/bin/sh
# Installs the npm packages of the tests into FOLDER/node_modules, unless they are there; what runs
# below FOLDER finds them. Ends with status 77, CTest's sign for a skipped test, and says why, when
# this machine has no Node or cannot reach the registry.
# Usage: npm_packages.sh FOLDER
set -eu
list=$(readlink -f "$(dirname "$0")/../../dependencies/npm")
for program in node npm; do
  command -v $program > /dev/null || {
    echo "skipped: this needs npm packages, and there is no $program"
    exit 77
  }
done
mkdir -p "$1"
cd "$1"
# Tests run beside each other.
exec 9> npm_packages.lock
flock 9
cmp -s "$list/package-lock.json" node_modules/installed && exit 0
cp "$list/package.json" "$list/package-lock.json" .
npm ci --ignore-scripts --no-audit --no-fund || {
  status=$?
  npm ping > /dev/null 2>&1 && exit $status
  echo "skipped: this needs npm packages, and npm cannot reach its registry"
  exit 77
}
cp package-lock.json node_modules/installed
