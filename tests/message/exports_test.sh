#!/bin/sh
# exports_test.sh NM LIBRARY HEADER...: compares what a library exports with what its headers declare,
# and the function that tells its version.
set -eu
nm=$1 library=$2
shift 2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
"$nm" -D --defined-only "$library" | awk '{ print $2, $3 }' | sort >"$folder/exported"
{
  sed -n 's/^int32_t \(rovk_[A-Za-z0-9_]*\)(.*/T \1/p' "$@"
  sed -n 's/^extern struct rovk_version \(rovk_[a-z0-9_]*\);/D \1/p' "$@"
  echo T rovk_message_library_version
} | sort >"$folder/declared"
test "$(grep -c ^T "$folder/declared")" -eq 1211
test "$(grep -c ^D "$folder/declared")" -eq 52
diff "$folder/declared" "$folder/exported"
