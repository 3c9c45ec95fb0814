#include "texts.h"

#include <string.h>

#include "tables.h"

size_t swig_text_write(swig_text text, char* out) {
  char* end = out;
  for (const uint8_t* code = coded_texts + text; *code; ++code) {
    unsigned word = *code;
    if (word > text_short_codes) {
      word = text_short_codes + 1 + (word - text_short_codes - 1) * 256 + *++code;
    }
    const uint16_t* const bounds = text_words + word - 1;
    const size_t length = bounds[1] - bounds[0];
    const char* const letters = text_letters + bounds[0];
    // Nearly every word ends within these, so a copy of fixed size takes its place with one move.
    memcpy(end, letters, SWIG_TEXT_OVERRUN);
    if (length > SWIG_TEXT_OVERRUN) memcpy(end, letters, length);
    end += length;
  }
  *end = 0;
  return static_cast<size_t>(end - out);
}

const char* swig_text_push(lua_State* L, swig_text text) {
  char buffer[SWIG_LONGEST_TEXT + 1 + SWIG_TEXT_OVERRUN];
  lua_pushlstring(L, buffer, swig_text_write(text, buffer));
  return lua_tolstring(L, -1, nullptr);
}
