#!/usr/bin/env bash
# Shows messages travelling: text, wire bytes, text again; then a query and its answers.
# Usage: examples/demo.sh FOLDER_OF_THE_BUILT_PROGRAMS
set -euo pipefail

bin=${1:?usage: examples/demo.sh FOLDER_OF_THE_BUILT_PROGRAMS, for example build/release/bin}
data=$(dirname "$0")/data
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

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
