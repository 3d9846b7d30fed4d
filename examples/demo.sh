#!/usr/bin/env bash
# Shows messages travelling: text, wire bytes, text again. Usage: examples/demo.sh PATH_OF_CMNSYS
set -euo pipefail

cmnsys=${1:?usage: examples/demo.sh PATH_OF_CMNSYS}
data=$(dirname "$0")/data
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

travel() {
  local type=$1 file=$2
  printf '\n== %s from examples/data/%s, as wire bytes\n' "$type" "$file"
  "$cmnsys" encode "$type" "$data/$file" --output "$work/bytes"
  od -A d -t x1z "$work/bytes"
  printf '\n== and back\n'
  "$cmnsys" decode "$type" "$work/bytes" | tee "$work/text"
  "$cmnsys" encode "$type" "$work/text" | cmp - "$work/bytes"
  printf '== the text gives the same bytes again\n'
}

travel Pb.CmnSys.Gid gid.txt
travel Pb.CmnSys.Iota iota.txt

printf '\n== What the types mean\n'
"$cmnsys" describe Pb.CmnSys.Gid
printf '\n'
"$cmnsys" describe Pb.CmnSys.LocalizedString
