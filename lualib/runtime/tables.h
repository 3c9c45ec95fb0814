// The static tables that the open sequence walks and the rows behind the wrappers. They are generated
// from the catalogue; the code that reads them is written by hand.
#pragma once

#include <rovk/types.h>
#include <stdint.h>

#include "distances.h"
#include "lua_api.h"
#include "texts.h"
#include "type_registry.h"

// ---- what the open sequence installs ------------------------------------------------------------

// Texts by their places: words as codes, and where each word's letters begin. The words behind the short
// codes take two bytes.
extern const uint8_t coded_texts[];
extern const uint16_t text_words[];
extern const char text_letters[];
extern const unsigned text_short_codes;

// Every constant of the protocol is a number.
struct constant_row {
  int32_t value;
  swig_text name;
};

struct swig_constant_entry {
  int32_t kind;  // enum swig_constant_kind
  int32_t int_value;
  double float_value;
  const void* pointer_value;
  swig_type_entry** type_slot;
};

enum swig_constant_kind {
  SWIG_LUA_INT = 1,
  SWIG_LUA_FLOAT = 2,
  SWIG_LUA_STRING = 3,
  SWIG_LUA_POINTER = 4,
  SWIG_LUA_BINARY = 5,
  SWIG_LUA_CHAR = 6,
};

struct swig_attribute_entry {
  const char* name;
  lua_CFunction get;
  lua_CFunction set;  // null: no entry in .set
};

struct swig_method_entry {
  const char* name;
  lua_CFunction function;
};

struct swig_class_entry {
  const char* name;
  swig_type_entry** type_slot;
  lua_CFunction constructor;
  void (*destructor)(void* record);
  const swig_method_entry* methods;
  const swig_attribute_entry* attributes;
  swig_class_entry** bases;
  const char** base_names;
};

extern "C" {
#pragma GCC visibility push(hidden)
extern const swig_distance command_wrappers[];  // parallel to command_rows
extern const swig_distance variable_getters[];  // parallel to variable_names
extern const swig_distance variable_setters[];
extern const swig_distance attribute_getters[];  // parallel to attribute_rows
extern const swig_distance attribute_setters[];
extern const swig_distance class_constructors[];  // parallel to class_rows
extern const swig_distance invokers[];            // of native_invoker
#pragma GCC visibility pop
}

extern const swig_text variable_names[];
extern const constant_row constant_rows[];
extern swig_type_entry* swig_type_table[];
extern swig_type_entry* swig_initial_types[];
extern swig_cast_entry* swig_initial_casts[];
extern swig_class_entry swig_classes[];

// Number of entries, for tables that are made at their final size.
extern const unsigned swig_command_count;
extern const unsigned swig_class_count;
extern const unsigned swig_constant_count;
extern const unsigned swig_variable_count;

// ---- rows of the wrappers -----------------------------------------------------------------------

// One argument or one result on the native side of a call.
union native_value {
  void* pointer;
  uint32_t u;
  int32_t i;
  rovk_version version;
};

enum argument_kind : uint8_t {
  ARGUMENT_UNSIGNED,
  ARGUMENT_SIGNED,
  ARGUMENT_POINTER,   // typed, nil is null
  ARGUMENT_OPAQUE,    // void *, nil is null
  ARGUMENT_VERSION,   // record by value, nil is refused
  ARGUMENT_TEXT,      // nil is null
  ARGUMENT_FUNCTION,  // the index goes down, beside the state
  ARGUMENT_BYTES,     // table of at most 22 numbers
  ARGUMENT_ALIASES,   // one number, or a table of at most 10
};

struct argument_row {
  swig_text text;  // what a failed type check shows; 0: the callback type of the function's name
  uint16_t type;   // index in swig_type_table, of ARGUMENT_POINTER and ARGUMENT_VERSION; of ARGUMENT_OPAQUE,
                   // the type that is nearly always given
  uint8_t kind;    // enum argument_kind
  uint8_t width;   // bytes of a number
};

enum value_kind : uint8_t { VALUE_UNSIGNED, VALUE_SIGNED, VALUE_VERSION, VALUE_ARRAY };

struct value_row {
  uint8_t kind;   // enum value_kind
  uint8_t width;  // bytes of the number or of one element
  uint8_t count;  // elements of an array
};

enum command_family : uint8_t {
  FAMILY_PLAIN,            // no results
  FAMILY_STATUS,           // the native result
  FAMILY_RETRIEVE,         // values
  FAMILY_RETRIEVE_STATUS,  // status, values
  FAMILY_BLOCKING,         // status, error table, values
  FAMILY_REGISTER,
  FAMILY_UNREGISTER,
  FAMILY_INTERNAL_COMMAND,
  FAMILY_INTERNAL_EVENT,
  FAMILY_FIXED,  // a function that no service owns; `detail` is its place in fixed_functions
};

using native_function = void (*)();
// Calls a native function of one signature with arguments in its order.
using native_invoker = int32_t (*)(native_function function, const native_value* arguments, lua_State* L);

struct command_row {
  swig_text name;
  uint16_t arguments;  // first entry in argument_lists
  uint16_t values;     // first entry in value_lists
  uint16_t invoker;    // place in invokers
  uint8_t argument_count;
  uint8_t value_count;
  uint8_t family;  // enum command_family
  uint8_t detail;  // the service; in FAMILY_FIXED, the function
};

extern const argument_row argument_rows[];
extern const uint16_t argument_lists[];  // indexes in argument_rows
extern const value_row value_lists[];
extern const command_row command_rows[];
extern const native_function command_targets[];  // parallel to command_rows

enum attribute_kind : uint8_t {
  ATTRIBUTE_UNSIGNED,
  ATTRIBUTE_SIGNED,
  ATTRIBUTE_NATIVE,  // unsigned, in the processor's byte order: of a record that never travels
  ATTRIBUTE_ARRAY,
  ATTRIBUTE_RECORD,
  ATTRIBUTE_TEXT,
};

struct attribute_row {
  uint16_t class_row;  // place in class_rows
  uint16_t type;       // index in swig_type_table, of an array's or a record's object
  uint16_t name;       // place in attribute_names
  uint8_t kind;        // enum attribute_kind
  uint8_t offset;
  uint8_t size;   // bytes of the whole field
  uint8_t width;  // bytes of one element
  uint8_t text;   // place in attribute_texts of the type that a failed check of the value shows
};

extern const attribute_row attribute_rows[];  // class by class
extern const char attribute_names[];          // each with its terminator
extern const swig_text attribute_texts[];
// Filled at the first open: the entries of all classes behind each other, each class's ended by a null name.
extern swig_attribute_entry swig_attributes[];

struct class_row {
  uint16_t type;            // index in swig_type_table
  uint8_t attribute_count;  // its next rows in attribute_rows
  uint8_t size;             // bytes of the record
  bool is_struct;           // whether the type's texts have the word `struct`
};

extern const class_row class_rows[];

// The names of a pointer type. The texts of a record class follow from its name: none here.
struct type_row {
  swig_text name;
  swig_text pretty;
};

extern const type_row type_rows[];  // sorted by name in byte order
extern char swig_type_texts[];      // room for the names and texts of all types

// Builds the type entries, cast lists and class entries from the rows. Once, before anything is linked.
void swig_build_entries();

// Parallel to variable_names: the records in librovk-message.
extern rovk_version* const variable_targets[];

// ---- rows of the bridge -------------------------------------------------------------------------

// The key that an error record's detail adds to an error table.
struct error_key_row {
  uint16_t id;
  uint8_t width;
  const char* key;
};

enum decoder_kind : uint8_t {
  DECODER_COMMON,  // silent from id 32 up
  DECODER_STRICT,  // reports ids from 32 up: the service has none
  DECODER_OWN,     // has ids of its own, with or without keys
};

struct decoder_row {
  uint8_t kind;  // enum decoder_kind
  uint8_t key_count;
  const error_key_row* keys;
};

extern const decoder_row decoder_rows[];  // by service; the common one first

// What a command's or an event's callback brings.
struct callback_row {
  uint16_t values;  // first entry in value_lists
  uint8_t value_count;
  uint8_t decoder;  // place in decoder_rows; of an event, unused
};

extern const callback_row callback_rows[];
