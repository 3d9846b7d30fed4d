#!/bin/sh
# Installs the npm packages that package-lock.json of the current folder names, unless they are
# there. Ends with status 77, CTest's sign for a skipped test, and says why, when this machine has no
# Node or cannot reach the registry.
set -eu
for program in node npm; do
  command -v $program > /dev/null || {
    echo "skipped: this needs npm packages, and there is no $program"
    exit 77
  }
done
[ installed -nt package-lock.json ] && exit 0
npm ci --ignore-scripts --no-audit --no-fund || {
  status=$?
  npm ping > /dev/null 2>&1 && exit $status
  echo "skipped: this needs npm packages, and npm cannot reach its registry"
  exit 77
}
touch installed
