#!/bin/sh
# exports_test.sh NM LIBRARY HEADER...: compares what a library exports with what its headers declare.
set -eu
nm=$1 library=$2
shift 2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
"$nm" -D --defined-only "$library" | awk '{ print $2, $3 }' | sort >"$folder/exported"
sed -n 's/^\(const \)\{0,1\}[a-z][a-z0-9_]*[ *][ *]*\(rovk\(trans\|_transport\|_unit\)_[A-Za-z0-9_]*\)(.*/T \2/p' "$@" |
  sort >"$folder/declared"
test -s "$folder/declared"
diff "$folder/declared" "$folder/exported"
case $library in
*rovktrans*) test "$(wc -l <"$folder/declared")" -eq 666 ;; # 663 and the three of delivery
esac
