// Tables of functions in the generated rows. A table of pointers needs a relocation for each, which takes three
// times its room in the file and time at loading. Where the assembler is known, an entry is the distance of its
// function from itself: a compiler has no constant for that, an assembler has. Elsewhere, or with
// SWIG_PLAIN_DISTANCES, it is the pointer.
#pragma once

#include <cstdint>

#if defined(__ELF__) && defined(__GNUC__) && !defined(SWIG_PLAIN_DISTANCES) && \
    (defined(__x86_64__) || defined(__i386__) || defined(__aarch64__) || defined(__arm__) || defined(__s390x__))

struct swig_distance {
  int32_t bytes;
};

template <typename Function>
inline Function swig_function_at(const swig_distance& entry) {
  return reinterpret_cast<Function>(reinterpret_cast<intptr_t>(&entry) + entry.bytes);
}

// Only the assembler sees who names it; the compiler is not to think that nobody does.
#define SWIG_NAMED [[gnu::visibility("hidden"), gnu::used]]

// The functions, and the table, have names that an assembler can tell: extern "C" and hidden.
#define SWIG_DISTANCES(name, entries)                                                                          \
  asm(".pushsection .rodata." #name ",\"a\",%progbits\n.balign 4\n.hidden " #name "\n.globl " #name "\n" #name \
      ":\n" entries ".popsection")
#define SWIG_DISTANCE(function) ".4byte " #function " - .\n"

#else

struct swig_distance {
  void (*function)();
};

template <typename Function>
inline Function swig_function_at(const swig_distance& entry) {
  return reinterpret_cast<Function>(entry.function);
}

#define SWIG_NAMED [[gnu::visibility("hidden")]]
#define SWIG_DISTANCES(name, entries) const swig_distance name[] = {entries}
#define SWIG_DISTANCE(function) swig_distance{reinterpret_cast<void (*)()>(function)},

#endif
