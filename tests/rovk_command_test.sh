#!/usr/bin/env bash
# ./rovk against a system made of fakes: what it installs, builds and runs, in which order, and what
# it says when it cannot. Every fake writes its call into a log; "installed" packages are files.
# shellcheck disable=SC2317  # the conditions are called through expect
set -euo pipefail

repository=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
failed=0

fake() {
  # shellcheck disable=SC2016  # the fake expands them, not this script
  printf '#!/bin/bash\necho "%s $*" >>"$SYSTEM/log"\n%s\n' "$1" "$(cat)" >"$work/fakes/$1"
  chmod +x "$work/fakes/$1"
}

mkdir -p "$work/fakes" "$work/bin"
# Nothing of the real system but what a shell script cannot do without.
for tool in bash env grep sed cat dirname nproc mkdir touch rm printf; do
  ln -s "$(command -v $tool)" "$work/bin/$tool"
done
fake dpkg-query <<'END'
[[ -e $SYSTEM/packages/${!#} ]] && printf installed
END
fake apt-get <<'END'
[[ $* == *update* ]] && exit "${UPDATE_STATUS:-0}"
[[ ${INSTALL_STATUS:-0} == 0 ]] || exit "$INSTALL_STATUS"
for word in "$@"; do [[ $word == -* || $word == install ]] || touch "$SYSTEM/packages/$word"; done
END
fake cmake <<'END'
folder=$1
[[ $1 == --preset ]] && folder=build/$2
mkdir -p "$folder"; touch "$folder/build.ninja"
for word in "$@"; do
  [[ $word == -D* ]] || continue
  word=${word#-D}; echo "${word%%=*}:BOOL=${word#*=}" >>"$folder/CMakeCache.txt"
done
exit "${CMAKE_STATUS:-0}"
END
fake ninja <<'END'
echo "ninja: Entering directory"
[[ -e $SYSTEM/built ]] && echo "ninja: no work to do." && exit 0
echo "[1/1] Building"; touch "$SYSTEM/built"; exit "${NINJA_STATUS:-0}"
END
fake lua5.1 <<'END'
echo "script $* with $LUA_CPATH"
END
fake ctest <<'END'
echo "100% tests passed"
END

# A new system and a new checkout; `package...` are installed already.
fresh() {
  rm -rf "$work/system" "$work/checkout"
  mkdir -p "$work/system/packages" "$work/checkout/examples"
  cp "$repository/rovk" "$repository/CMakeLists.txt" "$work/checkout"
  touch "$work/checkout/examples/tour.lua"
  for package in "$@"; do touch "$work/system/packages/$package"; done
  chmod -R a+rwX "$work"
}

# call ARGUMENT...: status, standard output and error, and the log of this one call.
call() {
  : >"$work/system/log"
  chmod a+rw "$work/system/log"
  status=0
  (cd "$work/checkout" && "${as_user[@]}" env -i PATH="$work/fakes:$work/bin" SYSTEM="$work/system" "${settings[@]}" \
    "$work/checkout/rovk" "$@") >"$work/out" 2>"$work/err" </dev/null || status=$?
  log=$(cat "$work/system/log")
}
settings=(LC_ALL=C)
as_user=()

expect() {
  local what=$1
  shift
  if ! "$@"; then
    printf 'FAILED: %s\n  status %s\n  log: %s\n  out: %s\n  err: %s\n' "$what" "$status" "$log" \
      "$(cat "$work/out")" "$(cat "$work/err")"
    failed=1
  fi
}
ended() { [[ $status == "$1" ]]; }
logged() { [[ $log == *"$1"* ]]; }
not_logged() { [[ $log != *"$1"* ]]; }
said() { [[ $(cat "$work/err") == *"$1"* ]]; }
last_said() { [[ $(tail -n 1 "$work/err") == *"$1"* ]]; }
printed() { [[ $(cat "$work/out") == *"$1"* ]]; }

build=(g++ cmake ninja-build lua5.1 liblua5.1-0-dev libtomlplusplus-dev libevent-dev)

fresh
call --version
expect "tells its version" printed "rovk $(sed -n 's/.*VERSION \([0-9.]*\) LANG.*/\1/p' "$repository/CMakeLists.txt")"
call
expect "alone it lists its commands" printed "run [OPTION...] [SCRIPT"
expect "and does nothing" not_logged " "
for wrong in "dance" "run" "run none.lua" "run -x" "run -e" "test-script" "test-script none" "test slow" "build fast" "package tar"; do
  # shellcheck disable=SC2086
  call $wrong
  expect "'$wrong' is refused" ended 1
  expect "'$wrong' is answered in one line" test "$(wc -l <"$work/err")" = 1
  expect "'$wrong' installs nothing" not_logged apt-get
done

if ((EUID == 0)); then
  fresh g++ cmake
  call run examples/tour.lua one "two words"
  expect "the first run ends well" ended 0
  expect "says what it installs" said "installing ninja-build lua5.1 liblua5.1-0-dev libtomlplusplus-dev libevent-dev"
  expect "installs what is missing" logged "install -y --no-install-recommends ninja-build lua5.1 liblua5.1-0-dev libtomlplusplus-dev libevent-dev"
  expect "and no more" not_logged "busted"
  expect "configures" logged "cmake --preset release"
  expect "builds what a script needs" logged "release rovk_scripts"
  expect "shows the build going on" said "[1/1] Building"
  expect "runs the script with its arguments" logged "lua5.1 $work/checkout/programs/run.lua examples/tour.lua one two words"
  expect "finds our modules first, then those beside the script, then Lua's own" \
    printed "with $work/checkout/build/release/lualib/?.so;examples/?.so;;"
  call run -e "print(1)" -i examples/tour.lua one
  expect "hands a text over and gives a prompt" \
    logged "lua5.1 -i $work/checkout/programs/run.lua -e print(1) examples/tour.lua one"

  call run examples/tour.lua
  expect "a second run installs nothing" not_logged apt-get
  expect "does not configure" not_logged "cmake -"
  expect "says nothing of its own" test ! -s "$work/err"

  call help led_0001.set_state
  expect "help on a name needs the catalogue alone" logged "release rovk_generated"
  expect "and tells it" logged "lua5.1 $work/checkout/programs/help.lua led_0001.set_state"
  call docs
  expect "pages need packages of their own" logged "python3-sphinx python3-myst-parser furo pandoc"
  expect "and are asked for" logged "-DROVK_BUILD_DOCS=ON"
  call editors
  expect "editors are told where the annotations are" printed "$work/checkout/build/release/annotations/library"
  call console sim
  expect "the console installs what edits its lines" logged "recommends libreadline-dev"
  expect "and is told where the unit is" logged "lua5.1 $work/checkout/programs/console/main.lua sim"

  call test -R eeprom
  expect "tests need packages of their own" logged "install -y --no-install-recommends pkg-config libgtest-dev"
  expect "turn the tests on in the same folder" logged "checkout/build/release -DROVK_BUILD_TESTS=ON"
  expect "hand options to ctest" logged "-R eeprom"
  expect "end with what ctest says" test "$(tail -n 1 "$work/out")" = "100% tests passed"
  call test
  expect "a second time configures nothing" not_logged "-DROVK_BUILD_TESTS"

  fresh "${build[@]}"
  settings=(LC_ALL=C LUA_CPATH=/mine/?.so)
  call run examples/tour.lua
  expect "nothing missing: no apt-get" not_logged apt-get
  expect "keeps the caller's path" printed "lualib/?.so;examples/?.so;/mine/?.so"

  fresh
  settings=(UPDATE_STATUS=100)
  call run examples/tour.lua
  expect "old package lists do not stop it" ended 0
  fresh
  settings=(INSTALL_STATUS=100)
  call run examples/tour.lua
  expect "a failed installation does" ended 1
  expect "with what to do" last_said "cannot install g++ cmake ninja-build lua5.1 liblua5.1-0-dev libtomlplusplus-dev libevent-dev: apt-get failed"
  expect "and nothing is run" not_logged "tour.lua"
  as_user=("$(command -v setpriv)" --reuid=65534 --clear-groups)
else
  fresh "${build[@]}"
fi

settings=(LC_ALL=C)
fresh g++
call run examples/tour.lua
expect "neither root nor sudo: refused" ended 1
expect "with the command to type" last_said "as root run: apt-get install cmake ninja-build lua5.1 liblua5.1-0-dev libtomlplusplus-dev libevent-dev"
fake sudo <<'END'
exec "$@"
END
call run examples/tour.lua
expect "with sudo it goes on" logged "sudo apt-get -q update"
rm "$work/fakes/sudo"

fresh "${build[@]}"
settings=(CMAKE_STATUS=1)
call run examples/tour.lua
expect "a failed configuration is told" last_said "cannot configure build/release"
settings=(NINJA_STATUS=1)
call run examples/tour.lua
expect "a failed build is told" last_said "cannot build build/release"
expect "and nothing is run" not_logged "tour.lua"

((failed)) || echo "all as expected"
exit "$failed"
