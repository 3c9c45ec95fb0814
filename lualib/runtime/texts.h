// Names and texts, kept as codes of words: written out they would be a third of the module. A text is told
// by its place, an offset; that of the empty text is 0.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "lua_api.h"

using swig_text = uint16_t;

enum {
  SWIG_LONGEST_TEXT = 111,  // of a text that is decoded where it is used
  SWIG_TEXT_OVERRUN = 16,   // bytes behind its end that a text needs while it is written
};

// Writes a text with its terminator and gives its length.
size_t swig_text_write(swig_text text, char* out);

// Pushes a text of at most SWIG_LONGEST_TEXT as a string, which it gives as well.
const char* swig_text_push(lua_State* L, swig_text text);
