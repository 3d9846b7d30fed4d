#!/usr/bin/env bash
# Shows messages travelling: text, wire bytes, text again; then a query and its answers,
# in one process and over a network.
# Usage: examples/demo.sh FOLDER_OF_THE_BUILT_PROGRAMS
set -euo pipefail

bin=${1:?usage: examples/demo.sh FOLDER_OF_THE_BUILT_PROGRAMS, for example build/release/bin}
data=$(dirname "$0")/data
work=$(mktemp -d)
server=
trap '[ -z "$server" ] || kill "$server"; rm -rf "$work"' EXIT

travel() {
  local type=$1 file=$2
  printf '\n== %s from examples/data/%s, as wire bytes\n' "$type" "$file"
  "$bin/cmnsys" encode "$type" "$data/$file" --output "$work/bytes"
  od -A d -t x1z "$work/bytes"
  printf '\n== and back\n'
  "$bin/cmnsys" decode "$type" "$work/bytes" | tee "$work/text"
  "$bin/cmnsys" encode "$type" "$work/text" | cmp - "$work/bytes"
  printf '== the text gives the same bytes again\n'
}

travel Pb.CmnSys.Gid gid.txt
travel Pb.CmnSys.Iota iota.txt
travel Pb.CmnSys.Events.Event event.txt

printf '\n== What the types mean\n'
"$bin/cmnsys" describe Pb.CmnSys.Gid
printf '\n'
"$bin/cmnsys" describe Pb.CmnSys.LocalizedString
printf '\n'
"$bin/cmnsys" describe EVENT_DEVICE_MOTION_START

printf '\n'
"$bin/query_example" "$data/events.txt"

printf '\n== The query service over mutual TLS; the certificates are made for this demonstration\n'
"$(dirname "$0")/make-certificates.sh" "$work/certificates"
"$bin/query_rpc_server" 127.0.0.1:0 "$work/certificates" "$data/events.txt" \
  > "$work/address" 2> "$work/log" &
server=$!
for _ in $(seq 100); do
  [ ! -s "$work/address" ] && kill -0 "$server" || break
  sleep 0.1
done
[ -s "$work/address" ] || { cat "$work/log" >&2; exit 1; }
"$bin/query_rpc_client" "$(cat "$work/address")" "$work/certificates"
printf '\n== One call from the command line\n'
printf '%s\n' 'query { type: QUERY_TYPE_SYSTEM_EVENTS_TYPE query_system_events_type {' \
  '  time_begin: 0 time_end: 1795161602000 event_types: EVENT_APPLICATION_SERVER_START } }' |
  "$bin/cmnsys" call Query/Initiate --from text --to text --target "$(cat "$work/address")" \
    --ca "$work/certificates/ca.pem" --cert "$work/certificates/client.pem" \
    --key "$work/certificates/client.key"
kill "$server"
wait "$server"
server=
printf '\n== What the server noted\n'
sort "$work/log" | uniq -c
