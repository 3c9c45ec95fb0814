#!/usr/bin/env bash
# configure_test.sh CMAKE GENERATOR: what is said when the build is asked for something that it cannot have,
# and that it takes what it can. Nothing is compiled, and the compiler is looked at once.
set -euo pipefail
cmake=$1 generator=$2
repository=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

mkdir -p "$work"/{empty,unit,system/usr/lib,system/opt/unit,bare}
for folder in unit system/usr/lib system/opt/unit; do
  touch "$work/$folder"/lib{rovk-message,rovktrans,rovk-transport}.so
done
rm "$work/system/opt/unit/librovktrans.so"
headers() {
  mkdir "$work/$1"
  printf '#define LUA_VERSION_NUM\t\t%s\n' "$2" >"$work/$1/lua.h"
}
headers luajit 501
headers lua53 503
headers lua54 504
headers lua55 "(LUA_VERSION_MAJOR_N * 100 + LUA_VERSION_MINOR_N)"
printf '#!/bin/sh\nprintf "Lua 5.4"\n' >"$work/lua5.4"
chmod +x "$work/lua5.4"

# asked OPTIONS TEXT: with these options the text is said, or, after "=", stands in the cache of what was configured.
asked() {
  local options text=$2 said
  read -ra options <<<"$1"
  said=$("$cmake" -S "$repository" -B "$work/build" -G "$generator" -U 'ROVK_*' -U CMAKE_SYSROOT \
    -DROVK_BUILD_TESTS=OFF -DROVK_BUILD_BENCH=OFF "${options[@]}" 2>&1) && [[ $text != =* ]] && said="configured"
  [[ $text != =* ]] || said="$said $(cat "$work/build/CMakeCache.txt")"
  # The text of an error is broken into lines by its width.
  said=$(tr -s ' \n' ' ' <<<"$said")
  [[ $said == *"${text#=}"* ]] || {
    echo "FAILED: $1: wanted \"$text\", said: ${said:0:1500}"
    failed=1
  }
}

off=-DROVK_BUILD_LIBRARIES=OFF
all="librovk-message.so, librovktrans.so, librovk-transport.so"
asked "$off" "name their folder with -DROVK_LIBRARY_DIR=FOLDER, or the unit's file system with -DCMAKE_SYSROOT=FOLDER"
asked "$off -DROVK_LIBRARY_DIR=$work/empty" "no $all in $work/empty; say where"
asked "$off -DROVK_LIBRARY_DIR=$work/unit" "=ROVK_LIBRARY_rovktrans:FILEPATH=$work/unit/librovktrans.so"
asked "$off -DROVK_LIBRARY_DIR=$work/unit -DROVK_BUILD_TESTS=ON" "ROVK_BUILD_TESTS=ON needs our own libraries"
asked "$off -DROVK_LIBRARY_DIR=$work/unit -DROVK_BUILD_BENCH=ON" "ROVK_BUILD_BENCH=ON needs our own libraries"
asked "$off -DCMAKE_SYSROOT=$work/system" "=ROVK_LIBRARY_rovktrans:FILEPATH=$work/system/usr/lib/librovktrans.so"
asked "$off -DCMAKE_SYSROOT=$work/bare" "no $all in $work/bare; say where"
asked "$off -DCMAKE_SYSROOT=$work/system -DROVK_LIBRARY_DIR=/opt/unit" "no librovktrans.so in $work/system/opt/unit and /opt/unit"
touch "$work/system/opt/unit/librovktrans.so"
asked "$off -DCMAKE_SYSROOT=$work/system -DROVK_LIBRARY_DIR=/opt/unit" \
  "=ROVK_LIBRARY_rovktrans:FILEPATH=$work/system/opt/unit/librovktrans.so"
module="$off -DROVK_LIBRARY_DIR=$work/unit"
asked "$module -DROVK_LUA_INCLUDE_DIR=$work/luajit" "=ROVK_LUA_INCLUDE_DIR:PATH=$work/luajit"
for version in 3 4; do
  asked "$module -DROVK_LUA_INCLUDE_DIR=$work/lua5$version" "has the headers of Lua 5.$version; the module is for Lua 5.1 and LuaJIT alone"
done
asked "$module -DROVK_LUA_INCLUDE_DIR=$work/lua55" "has the headers of another Lua; the module is for Lua 5.1"
asked "$module -DROVK_LUA_INCLUDE_DIR=$work/empty" "There is no lua.h of Lua 5.1; name the folder"
asked "$module -DROVK_LUA=$work/lua5.4" "ROVK_LUA=$work/lua5.4 is Lua 5.4; the generator is run by Lua 5.1 or LuaJIT"
asked "$module -DROVK_LUA=/bin/false" "ROVK_LUA=/bin/false is no Lua that runs here"

((failed)) || echo "all as expected"
exit "$failed"
