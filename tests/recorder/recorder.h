// Libraries that do nothing but write down how they were called. Put in front of librovk-message and
// librovktrans at run time, they show that the module works above any libraries with these symbols:
// what arrives here is what arrives there, argument by argument, in the width of the call.
// The generated half is recorder_functions.cpp: a stub for each function of the services.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "rovk/types.h"

#define RECORDED extern "C" __attribute__((visibility("default")))

namespace recorder {

// Numbers below 32 bits are taken as the 32 bits that a caller puts into a register on this
// processor, so that bits above the declared width show. Elsewhere a caller owes nothing there.
#if defined(__x86_64__)
using U8 = uint32_t;
using U16 = uint32_t;
using I8 = int32_t;
using I16 = int32_t;
#else
using U8 = uint8_t;
using U16 = uint16_t;
using I8 = int8_t;
using I16 = int16_t;
#endif
using U32 = uint32_t;
using I32 = int32_t;

enum class Kind : uint8_t {
  number,      // by value
  version,     // two bytes by value
  pointer,     // context, handle, user pointer: shown as &1, &2 ... in order of appearance
  function,    // callback
  text,        // zero-terminated, shown in quotes
  bytes,       // read: `size` bytes
  message,     // read, and, for the first argument of a builder, written: 32 bytes
  out,         // written: `size` bytes
  error_slot,  // written: pointer to a heap record of 22 bytes
  heap_slot,   // written: pointer to a heap array of `size` bytes
};

struct Parameter {
  const char* name;
  Kind kind;
  uint8_t size;
  uint8_t width = 1;  // of what lies behind a pointer: bytes of each native number; 1 for a record as well
};

enum class Role : uint8_t { plain, build, async, subscribe, unsubscribe };

// How the library would call back: the types of the values are in the instance of the template.
using Deliver = void (*)(void* callback, void* context, uint16_t address, void* user);

struct Function {
  const char* name;
  Role role;
  const Parameter* parameters;
  size_t count;
  Deliver deliver;
};

// Writes the call down, fills the outputs and gives the status as the script asked for.
int32_t record(const Function& function, const uint64_t* arguments);

// What the k-th output or value is filled with, byte by byte, the least significant of a number first: distinct, the
// sign bit always set.
constexpr uint8_t pattern(size_t position, size_t byte) {
  return static_cast<uint8_t>(0x80 | ((position * 11 + byte * 5) % 128));
}

void* error_for_callback();
// A whole payload of pattern, in numbers of `width` bytes, or null when arrays are to be left out.
uint8_t* array_for_callback(size_t position, size_t width);

template <typename T>
uint64_t bits(T value) {
  if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<uint64_t>(value);
  } else {
    return static_cast<uint64_t>(static_cast<int64_t>(value));
  }
}
inline uint64_t bits(rovk_version value) { return static_cast<uint64_t>(value.major | value.minor << 8); }

template <typename T>
T value_for_callback(size_t position) {
  if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<T>(array_for_callback(position, sizeof(std::remove_pointer_t<T>)));
  } else if constexpr (std::is_same_v<T, rovk_version>) {
    return {pattern(position, 0), pattern(position, 1)};
  } else {
    uint32_t value = 0;
    for (size_t byte = sizeof(T); byte-- > 0;) {
      value = value << 8 | pattern(position, byte);
    }
    return static_cast<T>(value);
  }
}

template <typename... Values>
struct Callback {
  static void command(void* callback, void* context, uint16_t address, void* user) {
    call<void (*)(void*, uint16_t, void*, Values..., void*)>(callback, std::index_sequence_for<Values...>{}, user,
                                                             context, address, error_for_callback());
  }
  static void event(void* callback, void* context, uint16_t address, void* user) {
    call<void (*)(void*, uint16_t, Values..., void*)>(callback, std::index_sequence_for<Values...>{}, user, context,
                                                      address);
  }

 private:
  template <typename Pointer, size_t... Positions, typename... Leading>
  static void call(void* callback, std::index_sequence<Positions...>, void* user, Leading... leading) {
    reinterpret_cast<Pointer>(callback)(leading..., value_for_callback<Values>(Positions + 1)..., user);
  }
};

// What the Lua half steers and reads.
enum class Outputs : uint8_t { fill, untouched };
struct Behaviour {
  int32_t status = 0;
  Outputs outputs = Outputs::fill;
  bool with_error = false;
  uint16_t error_id = 0;
  bool call_back_at_once = false;
};
void behave(const Behaviour& behaviour);
void reset();
// The lines written since the last call, each ended by a line feed.
const char* take_lines();
size_t deliver_pending();
size_t raise_events();
// Heap blocks handed out and not freed yet.
size_t open_blocks();

}  // namespace recorder
