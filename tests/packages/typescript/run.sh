#!/bin/sh
# A user's project with the packed npm package: checked by tsc, tested, and calling the query example.
# Usage: run.sh WORK_FOLDER PACKED_PACKAGE CMNSYS [RUN_SH QUERY_RPC_SERVER EXAMPLES_FOLDER]
set -eu

work=$1 packed=$2 cmnsys=$3
shift 3
here=$(dirname "$(realpath "$0")")
rm -rf "$work"
mkdir -p "$work"
cp "$here"/package.json "$here"/package-lock.json "$here"/*.ts "$work"
cd "$work"
npm ci --silent --no-audit --no-fund
npm install --silent --no-save --no-audit --no-fund "$packed"
node_modules/.bin/tsc --strict --target es2022 --module nodenext ./*.ts
CMNSYS=$cmnsys node --test project.test.js
chmod +x call.js
[ $# -eq 0 ] || "$1" "$2" "$3" "$work/call.js"
