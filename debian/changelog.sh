#!/bin/sh
# Prints the changelog of the packages, made of CHANGELOG.md: one entry a section, of which
# "Unreleased" is the version being built.
# Usage: debian/changelog.sh CHANGELOG.md VERSION
set -eu
date=$(date --utc --rfc-email --date="@${SOURCE_DATE_EPOCH:-$(date +%s)}")
awk -v version="$2" -v date="$date" '
  function item() {
    if (text == "") return
    n = split(text, words, " ")
    line = "  *"
    for (i = 1; i <= n; ++i) {
      if (length(line " " words[i]) > 78) { print line; line = "   " }
      line = line " " words[i]
    }
    print line
    text = ""
  }
  function section() {
    item()
    if (inside) printf "\n -- CmnSysProtoBuf maintainers <maintainers@cmnsys.invalid>  %s\n\n", date
  }
  /^## / {
    section()
    inside = 1
    printf "cmnsysprotobuf (%s) unstable; urgency=medium\n\n", $2 == "Unreleased" ? version : $2
    next
  }
  !inside || /^$/ { next }
  /^### / { item(); next }
  /^- / { item(); text = substr($0, 3); next }
  { sub(/^ +/, ""); text = text " " $0 }
  END { section() }
' "$1"
