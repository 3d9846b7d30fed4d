#!/bin/sh
# Checks the format of our own C++ code and runs clang-tidy on it, as many files at a time as there
# are processors.
# Usage: tools/lint.sh BUILD_FOLDER    with compile_commands.json and the generated code
set -eu

build=${1:?usage: tools/lint.sh BUILD_FOLDER}
cd "$(dirname "$0")/.."

git ls-files -- '*.cc' '*.h' | xargs clang-format --dry-run --Werror

# What the build does not compile, such as programs that the tests build by themselves, is left out:
# how it is compiled is not known here.
files=$(git ls-files -- '*.cc' | while read -r file; do
  ! grep -qF "\"file\": \"$PWD/$file\"" "$build/compile_commands.json" || echo "$file"
done)
echo "clang-tidy: $(printf '%s\n' "$files" | wc -l) files"
printf '%s\n' "$files" | xargs -P "$(nproc)" -n 1 sh -c '
  # The count of what was found in headers of others is no finding.
  found=$(clang-tidy --quiet -p "$0" "$1" 2>&1) || {
    printf "%s\n" "$found" | grep -v "^[0-9]* warnings generated"
    exit 1
  }' "$build"
echo "clang-tidy: nothing found"
