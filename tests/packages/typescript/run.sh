#!/bin/sh
# A user's project with the packed npm package: checked by tsc, tested in Node and a browser, with the
# sample of the guide, and calling the query example.
# Usage: run.sh NPM_FOLDER WORK_FOLDER PACKED_PACKAGE CMNSYS QUERY_RPC_SERVER SOURCE_FOLDER
set -eu

npm=$1 work=$2 packed=$3 cmnsys=$4 server=$5 source=$6
here=$source/tests/packages/typescript
rm -rf "$work"
mkdir -p "$work"
"$source/tests/support/npm_packages.sh" "$npm"
cp -r "$npm/package.json" "$npm/package-lock.json" "$npm/node_modules" "$here"/*.ts "$work"
cd "$work"
npm pkg set type=module
npm install --silent --no-save --no-audit --no-fund "$packed"
"$source/tests/support/guide_block.sh" "$source/docs/languages.md" ts > guide.ts
node_modules/.bin/tsc --strict --target es2022 --module nodenext ./*.ts
CMNSYS=$cmnsys node --test project.test.js
node guide.js | grep -q gate-1
chmod +x call.js
"$source/tests/rpc/interop/run.sh" "$server" "$source/examples" "$work/call.js"
