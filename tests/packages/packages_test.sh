#!/usr/bin/env bash
# packages_test.sh CMAKE GENERATOR BUILD_FOLDER C_COMPILER INTERPRETER READELF: what others build on: CMake's package
# and pkg-config's files from another project, one version told by all, and the libraries' names with a version and
# without.
set -euo pipefail
cmake=$1 generator=$2 build=$3 compiler=$4 lua=$5 readelf=$6
repository=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
fail() {
  echo "FAILED: $*"
  failed=1
}
field() { sed -n "s/$2/\\1/p" "$1" | head -n 1; }

"$cmake" --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/usr" # what was installed can be moved
library=$(dirname "$(find "$work/usr" -name librovktrans.so)")
module=$(find "$work/usr" -name rovk_message.so)

another() {
  "$cmake" -S "$repository/tests/packages/outside" -B "$work/outside" -G "$generator" \
    -DCMAKE_PREFIX_PATH="$work/usr" -DCMAKE_C_COMPILER="$compiler" || return
  "$cmake" --build "$work/outside"
}
another >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
"$work/outside/outside" >"$work/versions" || fail "the program of another project ends with $?"
{ read -r version; read -r told_module; read -r told_scripts; } <"$work/outside/told"
[[ $told_module == "$module" && -f $told_scripts/rovk.lua ]] || fail "find_package(rovk) tells $told_module and $told_scripts"

# The same program by pkg-config.
export PKG_CONFIG_PATH=$library/pkgconfig
for name in rovk-message rovktrans rovk-transport rovk-module; do
  echo "$name.pc $(pkg-config --modversion $name)" >>"$work/versions"
done
read -ra flags <<<"$(pkg-config --cflags --libs rovktrans rovk-message rovk-transport)"
"$compiler" "$repository/tests/packages/outside/outside.c" -o "$work/by_pkg_config" "${flags[@]}"
LD_LIBRARY_PATH=$library "$work/by_pkg_config" >>"$work/versions"
[[ $(pkg-config --variable=lua_module_dir rovk-module)/rovk_message.so -ef $module ]] || fail "rovk-module.pc: where is the module?"

packaging=$build/packaging
{
  echo "find_package $version"
  echo "rovk $("$repository/rovk" --version | cut -d ' ' -f 2)"
  echo "rovk-unit $("$work/usr/bin/rovk-unit" --version | cut -d ' ' -f 2)"
  echo "CHANGELOG.md $(field "$repository/CHANGELOG.md" '^## \(.*\)')"
  echo "rockspec $("$lua" - "$packaging"/rovk_message-"$version"-1.rockspec <<<"dofile(arg[1]) print((version:gsub('-1$', '')))")"
  echo "Debian $(field "$packaging/debian/changelog" '^rovk-message (\(.*\)) .*')"
  echo "Buildroot $(field "$packaging/buildroot/rovk-message/rovk-message.mk" '^ROVK_MESSAGE_VERSION = \(.*\)')"
  echo "Yocto $(basename "$packaging"/yocto/rovk-message_*.bb .bb | cut -d _ -f 2)"
  echo "librovktrans.so.N $(readlink -f "$library/librovktrans.so" | sed 's/.*\.so\.//')"
} >>"$work/versions"
[[ $version =~ ^[0-9]+\.[0-9]+\.[0-9]+$ && $(wc -l <"$work/versions") == 21 ]] || fail "not all tell a version"
while read -r who told; do
  [[ $told == "$version" || $told == *" $version" ]] || fail "$who tells version '$told', CMakeLists.txt $version"
done <"$work/versions"
! grep -rn '@[A-Z_]*@' "$packaging" || fail "fields that nobody has filled in"

# Names: ours have a version, what the module asks for has none.
names() { "$readelf" -d "$1" | sed -n "s/.*($2).*\\[\\(librovk.*\\)\\]/\\1/p" | sort | tr '\n' ' '; }
for name in rovk-message rovktrans rovk-transport rovk-unit; do
  named=$(names "$library/lib$name.so.$version" SONAME)
  [[ $named == "lib$name.so.${version%%.*} " ]] || fail "lib$name is named $named"
done
[[ $(names "$module" NEEDED) == "librovk-message.so librovk-transport.so librovktrans.so " ]] || fail "the module asks for $(names "$module" NEEDED)"

# So it runs above a unit's own, which have no other names: here such that record what is called.
mkdir "$work/unit"
cp "$module" "$work/unit"
cp "$build"/names/*.so "$work/unit"
cp "$build/lualib/recorder.so" "$work/unit/librovktrans.so"
LD_LIBRARY_PATH=$work/unit LUA_CPATH="$work/unit/?.so" "$lua" - "$work" <<'END' || fail "the module does not run above a unit's libraries"
local rovk = require "rovk_message"
assert(rovk.rovktrans_deinit(nil) ~= nil)
for line in io.lines("/proc/self/maps") do
  local path = line:match("/.*librovk.*")
  assert(not path or path:find(arg[1] .. "/unit/", 1, true), path)
end
END

# And above ours, which are loaded once, by whichever name.
LUA_CPATH="${module%/*}/?.so" "$lua" - <<'END' || fail "the module does not run above our libraries"
local rovk = require "rovk_message"
require "rovk_companion"
local status, context = rovk.rovktrans_init("sim?clock=virtual", nil)
assert(status == 0 and rovk.rovktrans_deinit(context) == 0)
local files = {}
for line in io.lines("/proc/self/maps") do
  local name = line:match("/(librovk.*)$")
  if name then
    files[name] = true
  end
end
local count = 0
for name in pairs(files) do
  count = count + 1
  assert(name:find("%.so%.%d+%.%d+%.%d+$"), name)
end
assert(count == 4, count .. " libraries are loaded")
END

# Where the simulated unit was left out, to ask for it is refused in words.
mkdir "$work/without"
cp "$library"/librovk{-message,trans,-transport}.so* "$work/without"
told=$(ROVK_LOG=stderr LD_LIBRARY_PATH=$work/without LUA_CPATH="${module%/*}/?.so" \
  LUA_PATH="$work/usr/share/lua/5.1/?.lua" "$lua" -e 'print(pcall(require("rovk").open))' 2>&1) || fail "it ends without a unit"
[[ $told == *"sim needs librovk-unit.so.$version, which cannot be loaded: "*"status -19, ENODEV"* ]] || fail "a missing unit is told as: $told"

((failed)) || echo "$(wc -l <"$work/versions") tell version $version; found by CMake and pkg-config"
exit "$failed"
