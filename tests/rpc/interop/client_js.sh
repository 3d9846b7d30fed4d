#!/bin/sh
# Runs the Node client; its packages are installed first.
# Usage: client_js.sh ADDRESS CERTIFICATES DESCRIPTOR_SET    in the folder of the npm packages
set -eu
here=$(readlink -f "$(dirname "$0")")
"$here/../../support/npm_packages.sh" .
NODE_PATH=$PWD/node_modules exec "$here/client.js" "$@"
