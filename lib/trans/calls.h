// What the generated functions of every command and event call. They only gather their arguments in
// the order of the catalogue; all work is done behind this header.
#pragma once

#include <rovk/types.h>

#include <cstdint>

namespace rovk::trans {

// Places in the catalogue: the service among all services, the command or event within it.
struct CommandKey {
  uint16_t service;
  uint16_t command;
};

struct EventKey {
  uint16_t service;
  uint16_t event;
};

// A value for a callback. A number has the field's low bytes; its type is known to the caller.
union Value {
  uint8_t* bytes;  // the widest first: `= {}` clears no more than the first with some compilers
  uint32_t number;
  rovk_version version;
  uint16_t* addresses;
};

// A callback of any type, and the generated function that knows its type.
using Function = void (*)();
using Caller = void (*)(Function function, void* context, uint16_t address, void* error, const Value* values,
                        void* user);
struct Callback {
  Function function;
  Caller call;
};

// `inputs` points to the input values, for an array to its first element; `outputs` are the caller's
// value slots, for an array the slot of its address. Null lists where there is none. `error` is the
// address of the error slot.
int32_t run_command(CommandKey key, void* context, uint16_t address, void* error, const void* const* inputs,
                    void* const* outputs);
int32_t start_command(CommandKey key, void* context, uint16_t address, Callback callback, void* user,
                      const void* const* inputs);

int32_t subscribe(EventKey key, void* context, uint16_t address, Callback callback, void* user);
int32_t unsubscribe(EventKey key, void* context, uint16_t address, Function function);
int32_t unsubscribe(EventKey key, void* context, uint16_t address, Function function, void* user);
int32_t subscribe_default(uint16_t service, void* context, uint16_t address);

}  // namespace rovk::trans
