#!/bin/sh
# A user's project with the packed npm package: checked by tsc, tested in Node and a browser, with the
# sample of the guide, and calling the query example.
# Usage: run.sh WORK_FOLDER PACKED_PACKAGE CMNSYS QUERY_RPC_SERVER SOURCE_FOLDER
set -eu

work=$1 packed=$2 cmnsys=$3 server=$4 source=$5
here=$source/tests/packages/typescript
rm -rf "$work"
mkdir -p "$work"
cp "$here"/package.json "$here"/package-lock.json "$here"/*.ts "$work"
cd "$work"
npm ci --silent --no-audit --no-fund
npm install --silent --no-save --no-audit --no-fund "$packed"
"$source/tests/support/guide_block.sh" "$source/docs/languages.md" ts > guide.ts
node_modules/.bin/tsc --strict --target es2022 --module nodenext ./*.ts
CMNSYS=$cmnsys node --test project.test.js
node guide.js | grep -q gate-1
chmod +x call.js
"$source/tests/rpc/interop/run.sh" "$server" "$source/examples" "$work/call.js"
