#!/bin/sh
# Runs a section of docs/languages.md: its program and its commands, as they stand there.
# Usage: run.sh HEADING LANGUAGE PROGRAM_FILE SOURCE_FOLDER CMNSYS WORK_FOLDER
set -eu
heading=$1 language=$2 program=$3 source=$4 cmnsys=$5 work=$6
block=$source/tests/support/guide_block.sh

rm -rf "$work"
mkdir -p "$work"
cd "$work"
for folder in ProtoBuf packages examples; do
  ln -s "$source/$folder" $folder
done
"$block" "$source/docs/languages.md" "$language" "$heading" > "$program"
"$block" "$source/docs/languages.md" sh "$heading" > commands.sh
# What the commands name is on this machine.
export GOPROXY=off
PATH=$(dirname "$cmnsys"):$PATH sh -eu commands.sh > printed
sed -n '/event_device_motion_start\]/,/device_id/s/.*device_id: "\(.*\)".*/\1/p' \
  examples/data/events.txt > expected
[ -s expected ]
diff expected printed
