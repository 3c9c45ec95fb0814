#!/usr/bin/env bash
# musl.sh: the module under musl, as far as Debian's tools go. They have no C++ library for musl. The module
# needs none; librovk-message and librovktrans get that of glibc linked into them, with the two things it asks
# glibc for; librovk-unit, the simulated unit, cannot be made, and a stand-in that refuses to open a way takes the
# place of librovk-transport. Wants musl-tools and what ./rovk build installs, and fetches the source of Lua 5.1
# through apt-get. Everything is made in build/musl.
set -euo pipefail
for tool in musl-gcc make g++ cmake ninja lua5.1; do
  command -v "$tool" >/dev/null || {
    echo "musl.sh: there is no $tool; ./rovk build && apt-get install musl-tools make" >&2
    exit 1
  }
done
repository=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
work=$repository/build/musl
headers=/usr/include/x86_64-linux-musl
version=$(g++ -dumpversion)
mkdir -p "$work/lists/partial" "$work/tools" "$work/unit"
cd "$work"

if [[ ! -x lua ]]; then
  echo "deb-src http://deb.debian.org/debian $(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release) main" >source.list
  from=(-q -o Dir::Etc::sourcelist="$work/source.list" -o Dir::Etc::sourceparts=- -o Dir::State::lists="$work/lists")
  apt-get "${from[@]}" update
  apt-get "${from[@]}" source --download-only lua5.1
  tar -xf lua5.1_*.orig.tar.gz
  make -C lua-5.1.5/src CC="musl-gcc -w" MYCFLAGS="-DLUA_USE_POSIX -DLUA_USE_DLOPEN" MYLIBS="-Wl,-E -ldl" lua
  cp lua-5.1.5/src/lua .
fi

# The compiler with its own C++ headers over musl's C headers; what these lack of glibc's is named here.
classes=(upper lower alpha digit xdigit space print graph blank cntrl punct alnum)
lacking=("'-D__GLIBC_PREREQ(a,b)=0'" -D__locale_t=locale_t
  "'-Dpthread_cond_clockwait(c,m,k,t)=pthread_cond_timedwait(c,m,t)'"
  "'-Dpthread_mutex_clocklock(m,k,t)=pthread_mutex_timedlock(m,t)'")
for bit in "${!classes[@]}"; do
  lacking+=("-D_IS${classes[bit]}=$((bit < 8 ? (1 << bit) << 8 : (1 << bit) >> 8))")
done
cat >tools/g++ <<END
#!/bin/sh
exec g++ ${lacking[*]} -specs=/usr/lib/x86_64-linux-musl/musl-gcc.specs -nostdinc -nostdinc++ \
  -isystem /usr/include/c++/$version -isystem /usr/include/x86_64-linux-gnu/c++/$version \
  -isystem $headers -isystem /usr/lib/gcc/x86_64-linux-gnu/$version/include "\$@"
END
chmod +x tools/g++
cat >glibc.c <<'END'
#define _GNU_SOURCE
#include <link.h>
#include <stdint.h>
char __libc_single_threaded;
struct found { unsigned long long flags; void *start, *end, *map, *eh_frame; };
struct search { uintptr_t at; struct found* found; };
static int look(struct dl_phdr_info* info, size_t size, void* data) {
  struct search* search = data;
  int here = 0;
  search->found->eh_frame = 0;
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const ElfW(Phdr)* part = &info->dlpi_phdr[i];
    const uintptr_t start = info->dlpi_addr + part->p_vaddr;
    if (part->p_type == PT_GNU_EH_FRAME) search->found->eh_frame = (void*)start;
    here |= part->p_type == PT_LOAD && search->at - start < part->p_memsz;
  }
  return size && here && search->found->eh_frame;
}
int _dl_find_object(void* at, struct found* found) {
  struct search search = {(uintptr_t)at, found};
  return dl_iterate_phdr(look, &search) ? 0 : -1;
}
END
musl-gcc -O2 -fPIC -c glibc.c
musl-gcc -shared -o unit/libevent.so -x c /dev/null

cmake -G Ninja -S "$repository" -B build -DCMAKE_C_COMPILER=musl-gcc -DCMAKE_CXX_COMPILER="$work/tools/g++" \
  -DCMAKE_CXX_COMPILER_WORKS=1 -DROVK_BUILD_TESTS=OFF -DROVK_BUILD_BENCH=OFF \
  -DROVK_EVENT_CORE="$work/unit/libevent.so" -DROVK_EVENT_EXTRA="$work/unit/libevent.so" \
  -DROVK_LUA_INCLUDE_DIR="$work/lua-5.1.5/src" -DCMAKE_SHARED_LINKER_FLAGS="-static-libstdc++ -static-libgcc $work/glibc.o"
mapfile -t objects < <(ninja -C build -t targets all | sed -n 's/^\(lib\/trans\/CMakeFiles.*\.o\): .*/\1/p')
# rovk_message itself depends on all three libraries, so what it is linked from is asked for.
ninja -C build rovk-message rovk_catalogue "${objects[@]}" rovk_runtime rovk-{message,transport}-name rovktrans-name

cd build
nm -u "${objects[@]}" | sed -n 's/^ *U \(rovk_transport_.*\)/long \1(void) { return -19; }/p' | sort -u |
  sed 's/long rovk_transport_reason.*/const char* rovk_transport_reason(void) { return "no unit here"; }/' >transport.c
musl-gcc -shared -fPIC -w -o lualib/librovk-transport.so transport.c
"$work/tools/g++" -shared -Wl,--gc-sections -Wl,-z,defs -Wl,--version-script="$repository/lib/trans/trans.map" -static-libstdc++ \
  -static-libgcc -o lualib/librovktrans.so "${objects[@]}" "$work/glibc.o" catalogue/librovk_catalogue.a \
  -Llualib -lrovk-message -lrovk-transport
musl-gcc -shared -Wl,--gc-sections -Wl,-z,nodelete -Wl,-rpath,"\$ORIGIN" -o lualib/rovk_message.so \
  lualib/CMakeFiles/rovk_runtime.dir/{*,*/*}.o lualib/CMakeFiles/rovk_runtime.dir/__/generated/*.o \
  names/librovk{-message,trans,-transport}.so

if readelf -dW lualib/*.so | grep -E 'STATIC_TLS|RELR'; then
  echo "musl takes neither static thread-local storage nor packed relocations"
  exit 1
fi
export LUA_CPATH="$PWD/lualib/?.so" LD_LIBRARY_PATH=$PWD/lualib
"$work/lua" "$repository/examples/message.lua"
"$work/lua" - <<'END'
local rovk = require "rovk_message"
local status, context = rovk.rovktrans_init(nil, nil)
assert(status == -19, status)
-- A command with a callback, which passes through thread-local storage, and two kinds of Lua error.
assert(rovk.rovktrans_led_0001_get_state_async_lua(nil, 1, print, 1) == -22)
assert(not pcall(rovk.rovktrans_led_0001_get_state, 1))
assert(not pcall(rovk.rovktrans_led_0001_set_state, nil, 1, "x", 1, 1, 1))
local count = 0
for _ in pairs(rovk) do
  count = count + 1
end
print(count .. " names, and rovktrans_init says " .. status)
END
