// Lua 5.1's C interface, as C++ sees it.
#pragma once

extern "C" {
#include <lauxlib.h>
#include <lua.h>
}

#define ROVK_EXPORT extern "C" __attribute__((visibility("default")))

// One pointer has room in the space that glibc keeps ready for every thread, so that reaching it costs no
// call. Other C libraries keep no such space, and would refuse to load what asks for it.
#ifdef __GLIBC__
#define ROVK_EARLY_THREAD_LOCAL [[gnu::tls_model("initial-exec")]]
#else
#define ROVK_EARLY_THREAD_LOCAL
#endif
