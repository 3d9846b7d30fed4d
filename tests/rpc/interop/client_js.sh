#!/bin/sh
# Runs the Node client; its packages are installed first.
# Usage: client_js.sh ADDRESS CERTIFICATES DESCRIPTOR_SET    in the folder with client.js
set -eu
"$(dirname "$0")/../../support/npm_packages.sh"
exec ./client.js "$@"
