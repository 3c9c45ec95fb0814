#!/usr/bin/env bash
# install_test.sh BUILD_FOLDER INTERPRETER: installs both components into an empty place, each with
# what belongs to it, and runs a script from there alone.
set -euo pipefail

build=$1
interpreter=$2
repository=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

install() { cmake --install "$build" --prefix "$work/usr" --component "$1" >/dev/null; }

install module
found=$(cd "$work/usr" && find . -type f)
[[ $found == ./lib/lua/5.1/rovk_message.so ]] || { echo "the component module holds: $found"; exit 1; }

install desk
for file in "$repository"/include/rovk/*.h "$build"/generated/include/rovk/*.h; do
  [[ -f $work/usr/include/rovk/${file##*/} ]] || { echo "not installed: ${file##*/}"; exit 1; }
done

[[ $("$work/usr/bin/rovk-unit" check "$work"/usr/share/rovk/profiles/*.toml | grep -c "no fault") == 4 ]] ||
  { echo "the shipped unit files are not as they should be"; exit 1; }

# What was made beside the build, when it was, is there whole.
for made in docs/man/man7:man/man7 docs/html/index.html:doc/rovk_message/html/index.html annotations:rovk/annotations; do
  from=$build/${made%%:*} to=$work/usr/share/${made#*:}
  [[ ! -e $from ]] || diff -rq -x stamp "$from" "$to" || { echo "not installed as it was made: ${made%%:*}"; exit 1; }
done

cd /
LUA_CPATH="$work/usr/lib/lua/5.1/?.so" LUA_PATH="$work/usr/share/lua/5.1/?.lua" \
  "$interpreter" "$repository/examples/events.lua" | grep -q "button 0 pressed"
LUA_PATH="$work/usr/share/lua/5.1/?.lua" "$interpreter" "$repository/examples/catalogue.lua" | grep -q "272 commands"
if ldd "$work/usr/lib/lua/5.1/rovk_message.so" | grep -F "$build"; then
  echo "the installed module still looks into the build folder"
  exit 1
fi
echo "both components as they should be"
