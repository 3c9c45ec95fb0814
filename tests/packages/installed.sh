#!/bin/sh
# installed.sh [BUILD_FOLDER]: those of the Lua tests that need nothing but the modules, which are taken from a
# build folder, or else from where Lua finds them. For packagers, who test what they have made.
set -eu
cd "$(dirname "$0")/../.."
for name in numbers logging catalogue async events bad_days; do
  ROVK_BUILD=${1-/nowhere} lua5.1 "$(command -v busted)" --output=plainTerminal "tests/lua/${name}_test.lua"
done
