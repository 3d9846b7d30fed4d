#!/usr/bin/env bash
# cmnsys call as a client: a response, and a failure of the service's.
# Usage: cmnsys_call.sh ADDRESS CERTIFICATE_FOLDER CMNSYS
set -euo pipefail

call() {
  "$cmnsys" call "$@" --target "$address" --from text --to text --ca "$folder/ca.pem" \
    --cert "$folder/client.pem" --key "$folder/client.key"
}
address=$1 folder=$2 cmnsys=$3

printf 'query { type: QUERY_TYPE_SYSTEM_EVENTS_TYPE query_system_events_type {
  time_begin: 0 time_end: 1795161602000 event_types: EVENT_ALL } }' |
  call Query/Initiate | grep -F '[Pb.CmnSys.Events.event_app_server_start]'

if errors=$(call Query/Abort 2>&1 < /dev/null); then
  echo "Abort of no query did not fail" >&2
  exit 1
fi
grep -F 'cmnsys: Pb.Rpc.SvcQuery.Query.Abort failed with UNKNOWN: no query with the gid' <<< "$errors"
