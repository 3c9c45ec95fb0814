// The functions of transport.h and unit.h as others find them. There is one way to a unit, the simulated one,
// and its library is loaded when it is first asked for. Each function passes its arguments on.
#pragma GCC visibility push(default)
#include <rovk/transport.h>
#include <rovk/unit.h>
#pragma GCC visibility pop

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "transport/reason.h"
#include "transport/way.h"

namespace {

using rovk::transport::clear_reason;
using rovk::transport::fail;

// Null until somebody has opened the way; the library stays then.
std::atomic<const rovk_way*> simulated = nullptr;

const rovk_way* known_way() { return simulated.load(std::memory_order_acquire); }

// It lies beside this one, or where the loader looks.
void* load_library() {
  Dl_info own;
  char path[4096];
  if (dladdr(reinterpret_cast<const void*>(&simulated), &own) != 0) {
    const char* const slash = std::strrchr(own.dli_fname, '/');
    const auto folder = slash ? static_cast<std::size_t>(slash + 1 - own.dli_fname) : 0;
    if (folder > 0 && folder + sizeof ROVK_UNIT_LIBRARY <= sizeof path) {
      std::memcpy(path, own.dli_fname, folder);
      std::memcpy(path + folder, ROVK_UNIT_LIBRARY, sizeof ROVK_UNIT_LIBRARY);
      if (void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL)) return library;
    }
  }
  return dlopen(ROVK_UNIT_LIBRARY, RTLD_NOW | RTLD_LOCAL);
}

// Null: it cannot be loaded; the reason is kept.
const rovk_way* load_way() {
  void* const library = load_library();
  void* const function = library ? dlsym(library, "rovk_unit_way") : nullptr;
  if (!function) {
    fail(-ENODEV, "sim needs " ROVK_UNIT_LIBRARY ", which cannot be loaded: %s", dlerror());
    return nullptr;
  }
  const rovk_way* const way = reinterpret_cast<decltype(&rovk_unit_way)>(function)();
  simulated.store(way, std::memory_order_release);
  return way;
}

// As load_way. Threads that come here at once wait for the first: one loads the library, and all see what its
// initializers wrote.
const rovk_way* demand_way() {
  if (const rovk_way* const way = known_way()) return way;
  static pthread_mutex_t loading = PTHREAD_MUTEX_INITIALIZER;  // std::mutex would want the C++ library
  pthread_mutex_lock(&loading);
  const rovk_way* way = known_way();
  if (!way) way = load_way();
  pthread_mutex_unlock(&loading);
  return way;
}

// Without a way nobody has a connection.
template <typename Result, typename... Parameters, typename... Arguments>
Result by_way(Result (*rovk_way::*function)(Parameters...), Result otherwise, Arguments... arguments) {
  const rovk_way* const way = known_way();
  return way ? (way->*function)(arguments...) : otherwise;
}

template <typename... Parameters, typename... Arguments>
int32_t to_unit(int32_t (*rovk_way::*function)(Parameters...), Arguments... arguments) {
  clear_reason();
  const rovk_way* const way = known_way();
  if (!way) return fail(-EINVAL, "the context is closed, or not one that rovktrans_init gave");
  return (way->*function)(arguments...);
}

}  // namespace

int32_t rovk_transport_open(const char* text, void* owner, rovk_transport** slot) {
  if (!slot) return -EINVAL;
  *slot = nullptr;
  clear_reason();
  const std::string_view whole = text ? text : "";
  const std::string_view name = whole.substr(0, whole.find('?'));
  if (!whole.empty() && name != "sim") {
    return fail(-EINVAL, "no way to a unit called '%.*s'; there is sim, as in sim?clock=virtual",
                static_cast<int>(name.size()), name.data());
  }
  const rovk_way* const way = demand_way();
  return way ? way->open(text, owner, slot) : -ENODEV;
}

const char* rovk_transport_reason(void) {
  const char* const own = rovk::transport::reason();
  const rovk_way* const way = known_way();
  return *own || !way ? own : way->reason();
}

void rovk_transport_close(rovk_transport* transport) {
  if (transport) known_way()->close(transport);
}

uint16_t rovk_transport_application(rovk_transport* transport) {
  return by_way<uint16_t>(&rovk_way::application, 0, transport);
}

int32_t rovk_transport_send(rovk_transport* transport, const rovk_message* message) {
  return by_way<int32_t>(&rovk_way::send, -EINVAL, transport, message);
}

int32_t rovk_transport_receive(rovk_transport* transport, rovk_message* message, uint64_t deadline_ns) {
  return by_way<int32_t>(&rovk_way::receive, -EINVAL, transport, message, deadline_ns);
}

uint64_t rovk_transport_lost_events(rovk_transport* transport) {
  return by_way<uint64_t>(&rovk_way::lost_events, 0, transport);
}

uint64_t rovk_transport_now_ns(rovk_transport* transport) { return by_way<uint64_t>(&rovk_way::now_ns, 0, transport); }

int32_t rovk_transport_clock_is_virtual(rovk_transport* transport) {
  return by_way<int32_t>(&rovk_way::clock_is_virtual, 0, transport);
}

int32_t rovk_transport_fd(rovk_transport* transport, uint64_t wake_ns) {
  return by_way<int32_t>(&rovk_way::fd, -EINVAL, transport, wake_ns);
}

int32_t rovk_unit_now(void* context, uint64_t* now_ns) { return to_unit(&rovk_way::now, context, now_ns); }

int32_t rovk_unit_advance(void* context, uint64_t duration_ns) {
  return to_unit(&rovk_way::advance, context, duration_ns);
}

int32_t rovk_unit_set_input(void* context, const char* input, uint32_t index, int64_t value) {
  return to_unit(&rovk_way::set_input, context, input, index, value);
}

int32_t rovk_unit_get_input(void* context, const char* input, uint32_t index, int64_t* value) {
  return to_unit(&rovk_way::get_input, context, input, index, value);
}

int32_t rovk_unit_release_input(void* context, const char* input, uint32_t index) {
  return to_unit(&rovk_way::release_input, context, input, index);
}

int32_t rovk_unit_power(void* context, int32_t on) { return to_unit(&rovk_way::power, context, on); }

int32_t rovk_unit_reset(void* context, uint16_t address, uint16_t type) {
  return to_unit(&rovk_way::reset, context, address, type);
}

int32_t rovk_unit_fault(void* context, uint16_t address, uint16_t fault_id) {
  return to_unit(&rovk_way::fault, context, address, fault_id);
}

int32_t rovk_unit_spontaneous_error(void* context, uint16_t address, uint16_t error_id, const uint8_t* payload) {
  return to_unit(&rovk_way::spontaneous_error, context, address, error_id, payload);
}

int32_t rovk_unit_disturb(void* context, const char* what, uint32_t count, uint32_t value) {
  return to_unit(&rovk_way::disturb, context, what, count, value);
}

int32_t rovk_unit_plan(void* context, const char* rules) { return to_unit(&rovk_way::plan, context, rules); }

int32_t rovk_unit_at(void* context, uint64_t when_ns, rovk_unit_action action, void* pointer) {
  return to_unit(&rovk_way::at, context, when_ns, action, pointer);
}

int32_t rovk_unit_probe(void* context, const char* what, uint32_t index, uint64_t when_ns, int64_t* value) {
  return to_unit(&rovk_way::probe, context, what, index, when_ns, value);
}

int32_t rovk_unit_report(void* context, char* text, uint32_t size, uint32_t* needed) {
  return to_unit(&rovk_way::report, context, text, size, needed);
}
