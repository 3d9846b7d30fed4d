#!/usr/bin/env bash
# Runs a client against the server of the query example, over mutual TLS.
# Usage: run.sh QUERY_RPC_SERVER EXAMPLES_FOLDER CLIENT [ARGUMENT]...
# The client gets the address, the folder of certificates and the arguments.
set -euo pipefail

program=$1 examples=$2
shift 2
if [ "${1##*.}" = py ] && ! command -v python3 > /dev/null; then
  echo "skipped: this needs python3"
  exit 77 # CTest's sign for a skipped test
fi
work=$(mktemp -d)
server=
trap '[ -z "$server" ] || kill "$server"; rm -rf "$work"' EXIT

"$examples/make-certificates.sh" "$work"
"$program" 127.0.0.1:0 "$work" "$examples/data/events.txt" > "$work/address" 2> "$work/log" &
server=$!
for _ in $(seq 300); do
  [ ! -s "$work/address" ] && kill -0 "$server" || break
  sleep 0.1
done
[ -s "$work/address" ] || { cat "$work/log" >&2; exit 1; }
client=$1
shift
"$client" "$(cat "$work/address")" "$work" "$@"
