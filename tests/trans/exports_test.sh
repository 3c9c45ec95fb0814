#!/bin/sh
# exports_test.sh NM LIBRARY HEADER...: compares what a library exports with what its headers declare,
# and the function that tells its version.
set -eu
nm=$1 library=$2
shift 2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
"$nm" -D --defined-only "$library" | awk '{ print $2, $3 }' | sort >"$folder/exported"
name=${library##*/lib}
name=$(echo "${name%%.so*}" | tr - _)_library_version
{
  echo "T $name"
  sed -n 's/^\(const \)\{0,1\}[a-z][a-z0-9_]*[ *][ *]*\(rovk\(trans\|_transport\|_unit\)_[A-Za-z0-9_]*\)(.*/T \2/p' "$@"
} | sort >"$folder/declared"
test "$(wc -l <"$folder/declared")" -gt 1
diff "$folder/declared" "$folder/exported"
case $library in
*rovktrans*) test "$(wc -l <"$folder/declared")" -eq 667 ;; # 663, the three of delivery, the version
esac
