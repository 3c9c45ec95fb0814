// Every exported function of the message library in one form; the rows are generated.
#pragma once

#include <rovk/message.h>

#include <array>
#include <cstring>
#include <span>

namespace rovk::test {

// Room for one argument: a native number, a version, or a whole array.
struct Slot {
  alignas(8) std::array<uint8_t, 24> bytes = {};

  template <typename T>
  T as() const {
    T value;
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
  }

  template <typename T>
  T* at() const {
    return reinterpret_cast<T*>(const_cast<uint8_t*>(bytes.data()));
  }
};

enum class Shape { command, response, event, error };

struct Call {
  const char* service;
  const char* item;
  Shape shape;
  int32_t (*build)(rovk_message* message, const rovk_message* command, uint16_t address, const Slot* in);
  // Null when there is none. For an error: the first slot receives the error record of the service.
  int32_t (*read)(const rovk_message* message, Slot* out);
};

struct Version {
  const char* name;
  const rovk_version* object;
};

std::span<const Call> calls();
std::span<const Version> versions();

}  // namespace rovk::test
