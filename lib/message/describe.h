// Messages and error records in words, for the log.
#pragma once

#include <rovk/types.h>

#include <array>
#include <cstddef>

namespace rovk::message {

// One line of text, cut at its room; no line that is made here comes near it.
class Line {
 public:
  // As printf.
  void add(const char* format, ...) __attribute__((format(printf, 2, 3)));
  const char* text() const { return text_.data(); }

 private:
  std::array<char, 512> text_ = {};
  std::size_t length_ = 0;
};

// A message does not say which service its peripheral offers, so only what belongs to every
// peripheral is named and taken apart; the rest is shown as numbers and bytes.
Line describe_message(const rovk_message& message);

// `record`: the 22 bytes of an error record.
Line describe_error(const uint8_t* record);

}  // namespace rovk::message
