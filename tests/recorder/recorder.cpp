// The core of the recording libraries, and the functions that no service owns.
#include "recorder.h"

#include <dlfcn.h>

#include <algorithm>
#include <bit>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace recorder {
namespace {

struct Pending {
  Deliver deliver;
  void* callback;
  void* context;
  uint16_t address;
  void* user;

  void run() const { deliver(callback, context, address, user); }
  bool same_pair(const Pending& other) const {
    return context == other.context && address == other.address && callback == other.callback && user == other.user;
  }
};

struct State {
  Behaviour behaviour;
  std::string lines;
  std::string taken;
  std::vector<const void*> pointers;  // position + 1 is the name that a pointer is shown under
  std::vector<Pending> commands;
  std::vector<Pending> subscriptions;
};

State& state() {
  static State instance;
  return instance;
}

// Heap blocks that the module has to free. A fixed table, since free() itself looks into it. A sanitizer
// has a free() of its own, and finds by itself what is not freed.
#ifdef ROVK_SANITIZED
constexpr bool watches_free = false;
#else
constexpr bool watches_free = true;
#endif
std::array<void*, 64> blocks{};

void* heap_block(const std::vector<uint8_t>& content) {
  void* block = std::malloc(content.size());
  std::memcpy(block, content.data(), content.size());
  if (watches_free) {
    void** slot = std::find(blocks.begin(), blocks.end(), nullptr);
    if (slot == blocks.end()) {
      std::fprintf(stderr, "recorder: more blocks are open than it can hold\n");
      std::abort();
    }
    *slot = block;
  }
  return block;
}

// Numbers of `width` bytes each, from this processor's order to least significant byte first, or back.
void turn_numbers(std::vector<uint8_t>& bytes, size_t width) {
  if (std::endian::native == std::endian::little) {
    return;
  }
  for (auto number = bytes.begin(); number != bytes.end(); number += static_cast<std::ptrdiff_t>(width)) {
    std::reverse(number, number + static_cast<std::ptrdiff_t>(width));
  }
}

std::vector<uint8_t> pattern_bytes(size_t position, size_t size, size_t width) {
  std::vector<uint8_t> bytes(size);
  for (size_t byte = 0; byte < size; ++byte) {
    bytes[byte] = pattern(position, byte);
  }
  turn_numbers(bytes, width);
  return bytes;
}

// Address of the reporting peripheral, id, detail: as an answer with an error brings it.
std::vector<uint8_t> error_record() {
  std::vector<uint8_t> bytes = pattern_bytes(1, 22, 1);
  const uint16_t id = state().behaviour.error_id;
  bytes[2] = static_cast<uint8_t>(id);
  bytes[3] = static_cast<uint8_t>(id >> 8);
  return bytes;
}

std::string hex(const void* data, size_t size) {
  static const char digits[] = "0123456789abcdef";
  std::string text;
  for (size_t i = 0; i < size; ++i) {
    const uint8_t byte = static_cast<const uint8_t*>(data)[i];
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

std::string pointer_name(const void* pointer) {
  std::vector<const void*>& known = state().pointers;
  size_t position = 0;
  while (position < known.size() && known[position] != pointer) {
    ++position;
  }
  if (position == known.size()) {
    known.push_back(pointer);
  }
  return "&" + std::to_string(position + 1);
}

std::string show(const Parameter& parameter, uint64_t bits) {
  const auto* pointer = reinterpret_cast<const void*>(bits);
  if (parameter.kind == Kind::number) {
    return std::to_string(static_cast<int64_t>(bits));
  }
  if (parameter.kind == Kind::version) {
    return std::to_string(bits & 0xff) + "." + std::to_string(bits >> 8 & 0xff);
  }
  if (!pointer) {
    return "null";
  }
  switch (parameter.kind) {
    case Kind::pointer:
      return pointer_name(pointer);
    case Kind::function:
      return "function";
    case Kind::text:
      return "\"" + std::string(static_cast<const char*>(pointer)) + "\"";
    case Kind::bytes: {
      const auto* first = static_cast<const uint8_t*>(pointer);
      std::vector<uint8_t> content(first, first + parameter.size);
      turn_numbers(content, parameter.width);
      return hex(content.data(), content.size());
    }
    case Kind::message:
      return hex(pointer, sizeof(rovk_message));
    default: {
      const size_t size = parameter.kind == Kind::out ? parameter.size : sizeof(void*);
      const std::string content = hex(pointer, size);
      return content.find_first_not_of('0') == std::string::npos ? "out" : "dirty:" + content;
    }
  }
}

void fill_outputs(const Function& function, const uint64_t* arguments) {
  size_t position = 0;
  for (size_t i = 0; i < function.count; ++i) {
    const Parameter& parameter = function.parameters[i];
    auto* target = reinterpret_cast<void*>(arguments[i]);
    if (parameter.kind == Kind::error_slot && target && state().behaviour.with_error) {
      *static_cast<void**>(target) = heap_block(error_record());
    }
    const bool value = parameter.kind == Kind::out || parameter.kind == Kind::heap_slot ||
                       (parameter.kind == Kind::message && function.role == Role::build && i == 0);
    if (!value) {
      continue;
    }
    ++position;
    if (!target || state().behaviour.outputs == Outputs::untouched) {
      continue;
    }
    const std::vector<uint8_t> bytes = pattern_bytes(position, parameter.size, parameter.width);
    if (parameter.kind == Kind::heap_slot) {
      *static_cast<void**>(target) = heap_block(bytes);
    } else {
      std::memcpy(target, bytes.data(), bytes.size());
    }
  }
}

// What a call of a function with a callback leads to. Such functions have context, address, callback
// and user pointer in front.
void act(const Function& function, const uint64_t* arguments) {
  const Pending pending{function.deliver, reinterpret_cast<void*>(arguments[2]), reinterpret_cast<void*>(arguments[0]),
                        static_cast<uint16_t>(arguments[1]), reinterpret_cast<void*>(arguments[3])};
  std::vector<Pending>& subscriptions = state().subscriptions;
  if (function.role == Role::async && pending.callback) {
    if (state().behaviour.call_back_at_once) {
      pending.run();
    } else {
      state().commands.push_back(pending);
    }
  } else if (function.role == Role::subscribe && pending.callback && state().behaviour.status == 0) {
    subscriptions.push_back(pending);
  } else if (function.role == Role::unsubscribe) {
    for (size_t i = 0; i < subscriptions.size(); ++i) {
      if (subscriptions[i].same_pair(pending)) {
        subscriptions.erase(subscriptions.begin() + static_cast<std::ptrdiff_t>(i));
        break;
      }
    }
  }
}

}  // namespace

int32_t record(const Function& function, const uint64_t* arguments) {
  std::string line = std::string(function.name) + "(";
  for (size_t i = 0; i < function.count; ++i) {
    line += i == 0 ? "" : ", ";
    line += std::string(function.parameters[i].name) + "=" + show(function.parameters[i], arguments[i]);
  }
  state().lines += line + ")\n";
  const int32_t status = state().behaviour.status;
  fill_outputs(function, arguments);
  if (function.role != Role::plain && function.role != Role::build) {
    act(function, arguments);
  }
  return status;
}

void* error_for_callback() {
  static std::vector<uint8_t> bytes;
  bytes = error_record();
  return state().behaviour.with_error ? bytes.data() : nullptr;
}

uint8_t* array_for_callback(size_t position, size_t width) {
  static std::array<std::vector<uint8_t>, 16> arrays;
  if (state().behaviour.outputs == Outputs::untouched) {
    return nullptr;
  }
  arrays.at(position) = pattern_bytes(position, 22, width);
  return arrays.at(position).data();
}

void behave(const Behaviour& behaviour) { state().behaviour = behaviour; }

void reset() { state() = State(); }

const char* take_lines() {
  state().taken.swap(state().lines);
  state().lines.clear();
  return state().taken.c_str();
}

size_t deliver_pending() {
  std::vector<Pending> due;
  due.swap(state().commands);
  for (const Pending& pending : due) {
    pending.run();
  }
  return due.size();
}

size_t raise_events() {
  const std::vector<Pending> due = state().subscriptions;
  for (const Pending& pending : due) {
    pending.run();
  }
  return due.size();
}

size_t open_blocks() {
  size_t count = 0;
  for (const void* block : blocks) {
    count += block != nullptr;
  }
  return count;
}

namespace {

[[maybe_unused]] void forget_block(void* block) { std::replace(blocks.begin(), blocks.end(), block, {}); }

// The functions that no service owns are written out below.
template <size_t Count>
int32_t record_row(const char* name, const Parameter (&parameters)[Count], const uint64_t (&arguments)[Count],
                   Role role = Role::plain) {
  return record(Function{name, role, parameters, Count, nullptr}, arguments);
}

constexpr Parameter context_parameter{"context", Kind::pointer, 8};
constexpr Parameter handle_parameter{"handle", Kind::pointer, 8};
constexpr Parameter priority_parameter{"priority", Kind::number, 4};
constexpr Parameter text_parameter{"text", Kind::text, 0};
constexpr Parameter behind_parameter{"behind", Kind::pointer, 8};
constexpr Parameter message_parameter{"message", Kind::message, 32};
constexpr Parameter response_parameter{"response", Kind::message, 32};
constexpr Parameter command_parameter{"command", Kind::message, 32};
constexpr Parameter address_parameter{"address", Kind::number, 2};
constexpr Parameter type_parameter{"type", Kind::number, 1};
constexpr Parameter opcode_parameter{"opcode", Kind::number, 1};

uint64_t first_variable(va_list list) { return reinterpret_cast<uint64_t>(va_arg(list, void*)); }

}  // namespace
}  // namespace recorder

using namespace recorder;

#ifndef ROVK_SANITIZED
RECORDED void free(void* block) {
  static auto* const next = reinterpret_cast<void (*)(void*)>(dlsym(RTLD_NEXT, "free"));
  if (block) {
    forget_block(block);
  }
  next(block);
}
#endif

RECORDED int32_t rovk_initialize_message_struct(void* message, U16 address, U8 type, U8 opcode) {
  return record_row("rovk_initialize_message_struct",
                    {message_parameter, address_parameter, type_parameter, opcode_parameter},
                    {bits(message), bits(address), bits(type), bits(opcode)}, Role::build);
}

RECORDED int32_t rovk_initialize_message_response_struct(void* response, const void* command, U8 type, U8 opcode) {
  return record_row("rovk_initialize_message_response_struct",
                    {response_parameter, command_parameter, type_parameter, opcode_parameter},
                    {bits(response), bits(command), bits(type), bits(opcode)}, Role::build);
}

RECORDED int32_t rovk_initialize_message_error_response_struct(void* response, const void* command, U16 address,
                                                               U16 error_id) {
  return record_row("rovk_initialize_message_error_response_struct",
                    {response_parameter, command_parameter, address_parameter, {"error_id", Kind::number, 2}},
                    {bits(response), bits(command), bits(address), bits(error_id)}, Role::build);
}

RECORDED int32_t rovk_logging_init(const char* name, void** slot) {
  return record_row("rovk_logging_init", {{"name", Kind::text, 0}, {"slot", Kind::pointer, 8}},
                    {bits(name), bits(slot)});
}

RECORDED int32_t rovk_logging_deinit(void* handle) {
  return record_row("rovk_logging_deinit", {handle_parameter}, {bits(handle)});
}

RECORDED int32_t rovk_log(void* handle, I32 priority, const char* text, ...) {
  va_list list;
  va_start(list, text);
  const uint64_t behind = first_variable(list);
  va_end(list);
  return record_row("rovk_log", {handle_parameter, priority_parameter, text_parameter, behind_parameter},
                    {bits(handle), bits(priority), bits(text), behind});
}

RECORDED int32_t rovk_log_message(void* handle, I32 priority, const void* message) {
  return record_row("rovk_log_message", {handle_parameter, priority_parameter, message_parameter},
                    {bits(handle), bits(priority), bits(message)});
}

RECORDED int32_t rovk_log_error(void* handle, I32 priority, const void* error) {
  return record_row("rovk_log_error", {handle_parameter, priority_parameter, {"error", Kind::pointer, 8}},
                    {bits(handle), bits(priority), bits(error)});
}

RECORDED int32_t rovktrans_init(const char* text, void* pointer, void** slot) {
  static int contexts[16];
  static size_t count = 0;
  const int32_t status =
      record_row("rovktrans_init", {text_parameter, {"pointer", Kind::pointer, 8}, {"slot", Kind::out, sizeof(void*)}},
                 {bits(text), bits(pointer), bits(slot)});
  if (slot && state().behaviour.outputs == Outputs::fill) {
    *slot = &contexts[count++ % 16];
  }
  return status;
}

RECORDED int32_t rovktrans_deinit(void* context) {
  return record_row("rovktrans_deinit", {context_parameter}, {bits(context)});
}

RECORDED int32_t rovktrans_log_message(void* context, I32 priority, const char* text, ...) {
  va_list list;
  va_start(list, text);
  const uint64_t behind = first_variable(list);
  va_end(list);
  return record_row("rovktrans_log_message", {context_parameter, priority_parameter, text_parameter, behind_parameter},
                    {bits(context), bits(priority), bits(text), behind});
}

RECORDED uint16_t* rovktrans_find_peripheral(void* context, U16 id) {
  static uint16_t address = 0x8182;
  record_row("rovktrans_find_peripheral", {context_parameter, {"id", Kind::number, 2}}, {bits(context), bits(id)});
  return state().behaviour.outputs == Outputs::fill ? &address : nullptr;
}

RECORDED rovk_device_address* rovktrans_find_device(void* context, U16 id, U32 device_id) {
  static rovk_device_address device{0x8182, 0x83};
  record_row("rovktrans_find_device", {context_parameter, {"id", Kind::number, 2}, {"device_id", Kind::number, 4}},
             {bits(context), bits(id), bits(device_id)});
  return state().behaviour.outputs == Outputs::fill ? &device : nullptr;
}
