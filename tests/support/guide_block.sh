#!/bin/sh
# Prints the first code block of a language in a guide.
# Usage: guide_block.sh GUIDE LANGUAGE [HEADING]    below the heading, for example "## Java"
set -eu
awk -v language="$2" -v heading="${3:-}" '
  BEGIN { section = heading == "" }
  inside && $0 == "```" { found = 1; exit }
  inside { print; next }
  $0 == heading { section = 1 }
  section && $0 == "```" language { inside = 1 }
  END { exit !found }
' "$1" || {
  echo "$1 has no block of $2 ${3:+below $3}" >&2
  exit 1
}
