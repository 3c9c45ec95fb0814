// Builds and reads messages by the rows of the catalogue. The generated stubs turn the arguments of
// an exported function into an array of pointers, one for each field that carries a value, in the
// order of the record: to a native number, to a version, or to the first element of an array.
// Statuses are those of rovk/message.h.
#pragma once

#include <rovk/types.h>

#include "catalogue/catalogue.h"

namespace rovk::message {

using Inputs = const void* const*;
using Outputs = void* const*;

// Where a row stands: the service, and the command, event or error within it.
struct Place {
  unsigned service;
  unsigned item;
};

int32_t build_command(Place place, rovk_message* message, uint16_t address, Inputs in);
int32_t build_response(Place place, rovk_message* response, const rovk_message* command, Inputs in);
int32_t build_event(Place place, rovk_message* message, uint16_t address, Inputs in);
int32_t build_error(Place place, rovk_message* response, const rovk_message* command, uint16_t address, Inputs in);

// A null entry of `out` skips that field.
int32_t read_command(Place place, const rovk_message* message, Outputs out);
int32_t read_response(Place place, const rovk_message* message, Outputs out);
int32_t read_event(Place place, const rovk_message* message, Outputs out);

// `record`: 22 bytes, the error record of any service, since all have one layout.
int32_t read_error(const rovk_message* message, void* record);

}  // namespace rovk::message
