#!/bin/sh
# headers_test.sh C_COMPILER CXX_COMPILER FOLDER...: each public header compiles when it is the only one
# that a program includes, in either language.
set -eu
c=$1 cxx=$2
shift 2
include=
for folder; do include="$include -I$folder"; done
for folder; do
  for header in "$folder"/rovk/*.h; do
    # shellcheck disable=SC2086 # one option a folder
    "$c" -std=c11 -Wall -Wextra -Werror -fsyntax-only $include -x c -include "$header" /dev/null
    # shellcheck disable=SC2086
    "$cxx" -std=c++11 -Wall -Wextra -Werror -fsyntax-only $include -x c++ -include "$header" /dev/null
  done
done
