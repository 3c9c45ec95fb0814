// Messages as texts of hexadecimal bytes, for vectors written by hand.
#pragma once

#include <gtest/gtest.h>
#include <rovk/message.h>

#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>

namespace rovk::test {

// Bytes from `offset` on, without the zeros at the end.
inline std::string hex(const void* record, unsigned offset, unsigned size = ROVK_MESSAGE_SIZE) {
  const auto* bytes = static_cast<const uint8_t*>(record);
  while (size > offset && bytes[size - 1] == 0) --size;
  std::string text;
  for (unsigned i = offset; i < size; ++i) {
    char pair[4];
    std::snprintf(pair, sizeof pair, "%s%02x", i == offset ? "" : " ", bytes[i]);
    text += pair;
  }
  return text;
}

inline rovk_message message_of(const std::string& text) {
  rovk_message message = {};
  std::istringstream in(text);
  in >> std::hex;
  auto* bytes = reinterpret_cast<uint8_t*>(&message);
  unsigned offset = 0;
  for (unsigned byte = 0; in >> byte; ++offset) {
    if (offset == ROVK_MESSAGE_SIZE) {
      ADD_FAILURE() << "more than a message: " << text;
      break;
    }
    bytes[offset] = static_cast<uint8_t>(byte);
  }
  return message;
}

// What a builder must overwrite.
inline rovk_message garbage() {
  rovk_message message;
  std::memset(&message, 0xee, sizeof message);
  return message;
}

inline bool same(const rovk_message& a, const rovk_message& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace rovk::test
