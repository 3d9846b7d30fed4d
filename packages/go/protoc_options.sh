#!/bin/sh
# Prints protoc's options for a Go package for each schema file, below a module of your own.
# Usage: protoc_options.sh MODULE SCHEMA_FILE...
#   protoc --go_out=. $(protoc_options.sh example.org/vms ProtoBuf/*/*.proto) ProtoBuf/*/*.proto
set -eu

[ $# -ge 2 ] || { sed -n '2,4s/^# //p' "$0" >&2; exit 2; }
module=$1
shift
echo "--go_opt=module=$module"
for file in "$@"; do
  package=$(echo "${file%.proto}" | tr '[:upper:]' '[:lower:]' | tr . _)
  echo "--go_opt=M$file=$module/$package"
done
