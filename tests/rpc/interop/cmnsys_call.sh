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

# health: the server as a whole, and a service that it does not have.
remote=(--target "$address" --ca "$folder/ca.pem" --cert "$folder/client.pem"
  --key "$folder/client.key")
[ "$("$cmnsys" health "${remote[@]}")" = SERVING ]
status=0
"$cmnsys" health No.Such "${remote[@]}" 2> /dev/null || status=$?
[ "$status" = 5 ]

# subscribe: so many messages, in the asked format, each as it comes; one that nobody publishes.
[ "$("$cmnsys" subscribe Example.NotificationPush/Subscribe "${remote[@]}" --to jsonl --count 3 |
  grep -c notificationType)" = 3 ]
(set +o pipefail  # The end of head ends cmnsys.
  "$cmnsys" subscribe Example.NotificationPush/Subscribe "${remote[@]}" --to jsonl |
    head -n 1 | grep -F notificationType)
status=0
errors=$("$cmnsys" subscribe No.Such/Method "${remote[@]}" 2>&1) || status=$?
[ "$status" = 5 ]
grep -F 'this server does not offer the method /No.Such/Method' <<< "$errors"

# A certificate of another authority is refused, which is not the same as not reached.
status=0
"$cmnsys" health --target "$address" --ca "$folder/client.pem" 2> /dev/null || status=$?
[ "$status" = 4 ]
status=0
"$cmnsys" health --target 127.0.0.1:1 --plaintext 2> /dev/null || status=$?
[ "$status" = 3 ]
