// Fills the entries of types, casts and classes from compact rows at the first open. They are written to
// while linking in any case, so as static images they would only lie in the file a second time.
#include <stdlib.h>
#include <string.h>

#include "tables.h"

swig_type_entry swig_type_entries[SWIG_TYPE_COUNT];
swig_type_entry* swig_type_table[SWIG_TYPE_COUNT + 1];
swig_type_entry* swig_initial_types[SWIG_TYPE_COUNT];
swig_cast_entry* swig_initial_casts[SWIG_TYPE_COUNT];

namespace {

// One list a type: the type itself, and the entry that ends it. No type accepts another.
swig_cast_entry casts[SWIG_TYPE_COUNT][2];

const swig_method_entry no_methods[] = {{nullptr, nullptr}};
swig_class_entry* no_bases[] = {nullptr};
const char* no_base_names[] = {nullptr};

char* append(char* out, const char* text) {
  const size_t length = strlen(text);
  memcpy(out, text, length + 1);
  return out + length;
}

// "struct X *|X *", or "X *" alone. Gives the place behind the text.
char* write_pretty(char* out, const char* name, bool is_struct) {
  if (is_struct) {
    out = append(out, "struct ");
    out = append(out, name);
    out = append(out, " *|");
  }
  out = append(out, name);
  return append(out, " *") + 1;
}

}  // namespace

void swig_build_entries() {
  char* text = swig_type_texts;
  for (unsigned i = 0; i < SWIG_TYPE_COUNT; ++i) {
    swig_type_entries[i].name = text;
    text += swig_text_write(type_rows[i].name, text) + 1;
    if (type_rows[i].pretty) {
      swig_type_entries[i].pretty = text;
      text += swig_text_write(type_rows[i].pretty, text) + 1;
    }
    swig_initial_types[i] = &swig_type_entries[i];
    casts[i][0].type = &swig_type_entries[i];
    swig_initial_casts[i] = casts[i];
  }
  unsigned number = 0;
  swig_attribute_entry* attribute = swig_attributes;
  for (unsigned i = 0; i < swig_class_count; ++i) {
    const class_row& row = class_rows[i];
    swig_type_entry& type = swig_type_entries[row.type];
    const char* const name = type.name + strlen("_p_");
    swig_classes[i] = {name,
                       &swig_type_table[row.type],
                       swig_function_at<lua_CFunction>(class_constructors[i]),
                       free,
                       no_methods,
                       attribute,
                       no_bases,
                       no_base_names};
    for (const unsigned end = number + row.attribute_count; number < end; ++number) {
      *attribute++ = {attribute_names + attribute_rows[number].name,
                      swig_function_at<lua_CFunction>(attribute_getters[number]),
                      swig_function_at<lua_CFunction>(attribute_setters[number])};
    }
    ++attribute;
    type.class_data = &swig_classes[i];
    type.pretty = text;
    text = write_pretty(text, name, row.is_struct);
  }
}
