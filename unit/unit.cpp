// How it runs: one queue holds all that is to happen, timers of the models as well as messages on
// their way to applications, ordered by due time and then by making. Everything happens on the
// caller's thread, in run() or at once in submit().
#include "unit/unit.h"

#include <rovk/constants.h>

#include <algorithm>
#include <deque>
#include <stdexcept>
#include <string>

#include "catalogue/fields.h"
#include "unit/common_service.h"
#include "unit/devices.h"
#include "unit/models/lens_parts.h"
#include "unit/models/models.h"
#include "unit/router.h"
#include "wire/queue.h"

namespace rovk::unit {
namespace {

using catalogue::load;
using catalogue::store;

enum class Disturbance : uint8_t { lose, duplicate, delay, corrupt, misdirect };

constexpr std::pair<std::string_view, Disturbance> disturbances[] = {
    {"lose", Disturbance::lose},       {"duplicate", Disturbance::duplicate}, {"delay", Disturbance::delay},
    {"corrupt", Disturbance::corrupt}, {"misdirect", Disturbance::misdirect},
};

// `type` of communication_failure: a route was added, and nobody answers at its end.
constexpr int64_t nobody_answers = 1;

uint8_t* bytes_of(rovk_message& message) { return reinterpret_cast<uint8_t*>(&message); }
const uint8_t* bytes_of(const rovk_message& message) { return reinterpret_cast<const uint8_t*>(&message); }

rovk_message blank(uint16_t application, uint16_t peripheral, uint32_t uuid, uint8_t type) {
  rovk_message message = {};
  uint8_t* bytes = bytes_of(message);
  store(bytes + ROVK_OFFSET_APPLICATION, 2, application);
  store(bytes + ROVK_OFFSET_PERIPHERAL, 2, peripheral);
  store(bytes + ROVK_OFFSET_UUID, 4, uuid);
  bytes[ROVK_OFFSET_TYPE] = type;
  return message;
}

// Writes the numbers into the value fields of a record, in order.
void fill(uint8_t* bytes, const catalogue::Record* record, std::span<const int64_t> values) {
  std::size_t next = 0;
  if (record) {
    for (const catalogue::Field& field : record->fields) {
      if (!field.reserved && next < values.size()) catalogue::store_number(bytes, field, values[next++]);
    }
  }
  if (next != values.size()) throw std::logic_error("more values than the record has fields");
}

}  // namespace

struct Unit::State final : Host {
  struct Disturbed {
    Disturbance what;
    uint32_t count;
    uint32_t value;
  };
  struct Application {
    wire::Queue inbox;
    std::deque<Disturbed> disturbed;
  };
  using Due = std::pair<Time, uint64_t>;  // when, and which was made first

  explicit State(const Options& given) : options(given), clock(given.virtual_clock) {
    const std::vector<Fitting> fitted = fittings();
    std::vector<uint16_t> addresses;
    addresses.reserve(fitted.size());
    for (const Fitting& fitting : fitted) addresses.push_back(fitting.address);
    for (const Fitting& fitting : fitted) {
      const Setup setup = {*fitting.service, *this, fitting.devices, fitting.location};
      std::unique_ptr<Model> model;
      if (fitting.address == ROVK_ROUTER_PERIPHERAL_ADDRESS) {
        auto own = std::make_unique<Router>(setup, addresses);
        router = own.get();
        model = std::move(own);
      } else {
        model = find_maker(fitting.service->name)(setup);
      }
      peripherals.emplace(fitting.address, Peripheral{fitting.address, std::move(model)});
    }
    for (auto& [address, peripheral] : peripherals) peripheral.model->reset();
  }

  // Host
  Time now() const override { return present; }
  TimerId at(Time when, std::function<void()> action) override {
    const TimerId timer = ++made;
    planned.emplace(timer, when);
    queue.emplace(Due{when, timer}, std::move(action));
    return timer;
  }
  void cancel(TimerId timer) override {
    const auto found = planned.find(timer);
    if (found == planned.end()) return;
    queue.erase({found->second, timer});
    planned.erase(found);
  }
  void raise(const Model& model, std::string_view event, std::initializer_list<int64_t> values) override {
    const catalogue::Event* row = catalogue::find_event(model.service(), event);
    if (!row) row = catalogue::find_event(catalogue::common(), event);
    if (!row) throw std::logic_error("no event " + std::string(event));
    uint8_t payload[ROVK_MESSAGE_PAYLOAD_SIZE] = {};
    fill(payload, row->record, {values.begin(), values.size()});
    raise(address_of(model), row->id, payload);
  }
  void report(const Model& model, std::string_view error, std::initializer_list<int64_t> detail) override {
    const catalogue::Error* row = catalogue::find_error(model.service(), error);
    if (!row) row = catalogue::find_error(catalogue::common(), error);
    if (!row) throw std::logic_error("no error " + std::string(error));
    uint8_t data[ROVK_MESSAGE_ERROR_INFO_PAYLOAD_SIZE] = {};
    fill(data, row->detail, {detail.begin(), detail.size()});
    report(address_of(model), row->id, data);
  }
  World& world() override { return surroundings; }
  Lens& lens() override { return optics; }
  Model* find(std::string_view service) override {
    for (auto& [address, peripheral] : peripherals) {
      if (service == peripheral.model->service().name) return peripheral.model.get();
    }
    return nullptr;
  }

  uint16_t address_of(const Model& model) const {
    const auto found = std::find_if(peripherals.begin(), peripherals.end(),
                                    [&](const auto& entry) { return entry.second.model.get() == &model; });
    return found == peripherals.end() ? uint16_t{0} : found->first;
  }

  Peripheral* find(uint16_t address) {
    const auto found = peripherals.find(address);
    return found == peripherals.end() ? nullptr : &found->second;
  }

  void raise(uint16_t peripheral, uint8_t id, const uint8_t* payload) {
    for (const auto& [application, state] : applications) {
      if (!router->registered(application, peripheral)) continue;
      rovk_message message = blank(application, peripheral, 0, ROVK_TYPE_EVENT);
      bytes_of(message)[ROVK_OFFSET_BODY] = id;
      std::copy_n(payload, ROVK_MESSAGE_PAYLOAD_SIZE, bytes_of(message) + ROVK_OFFSET_PAYLOAD);
      send(application, message, present);
    }
  }

  void report(uint16_t peripheral, uint16_t error, const uint8_t* data) {
    uint8_t payload[ROVK_MESSAGE_PAYLOAD_SIZE] = {};
    store(payload, 2, peripheral);
    store(payload + 2, 2, error);
    std::copy_n(data, ROVK_MESSAGE_ERROR_INFO_PAYLOAD_SIZE, payload + 4);
    raise(peripheral, ROVK_COMMON_EVENT_SPONTANEOUS_ERROR, payload);
  }

  void send(uint16_t application, const rovk_message& message, Time when) {
    at(when, [this, application, message] {
      const auto found = applications.find(application);
      if (found != applications.end()) found->second.inbox.push(message);
    });
  }

  void answer(uint16_t application, rovk_message message, Time when) {
    auto& pending = applications.at(application).disturbed;
    if (pending.empty()) return send(application, message, when);
    const Disturbed now = pending.front();
    if (--pending.front().count == 0) pending.pop_front();
    uint8_t* bytes = bytes_of(message);
    switch (now.what) {
      case Disturbance::lose:
        return;
      case Disturbance::duplicate:
        send(application, message, when);
        break;
      case Disturbance::delay:
        when += std::chrono::milliseconds(now.value);
        break;
      case Disturbance::corrupt:
        bytes[ROVK_OFFSET_TYPE] ^= 0x80;
        break;
      case Disturbance::misdirect:
        store(bytes + ROVK_OFFSET_UUID, 4, load(bytes + ROVK_OFFSET_UUID, 4) ^ 0x00800000);
        break;
    }
    send(application, message, when);
  }

  // Does what is due up to `until`, each at its own time.
  void run_until(Time until) {
    while (!queue.empty() && queue.begin()->first.first <= until) {
      auto next = queue.extract(queue.begin());
      planned.erase(next.key().second);
      present = std::max(present, next.key().first);
      clock.move_to(present);
      next.mapped()();
    }
    present = std::max(present, until);
    clock.move_to(present);
  }

  void reset(Peripheral& peripheral, uint16_t type) {
    peripheral.fault = 0;
    peripheral.model->reset();
    raise(*peripheral.model, "reset_occurred", {type});
  }

  // The peripheral that answers, and the command as it understands it.
  void run_command(Peripheral& peripheral, Call& call, bool is_common) {
    const uint16_t holder = router->holder(peripheral.address);
    if (holder != 0 && holder != call.application() && (!is_common || changes_peripheral(call.command()))) {
      call.refuse("reservation_exists", {holder});
    }
    if (!is_common) {
      if (peripheral.fault != 0) call.refuse("fault_exists", {peripheral.fault});
      if (peripheral.under_way >= peripheral.queue_depth()) call.refuse("busy");
      peripheral.model->run(call);
    } else if (call.command().opcode == ROVK_COMMON_COMMAND_RESET) {
      reset(peripheral, static_cast<uint16_t>(ResetType::commanded));
    } else {
      run_common(peripheral, call);
    }
  }

  // Carries a command out and makes its answer.
  void handle(uint16_t application, const rovk_message& command) {
    const uint8_t* given = bytes_of(command);
    const auto address = static_cast<uint16_t>(load(given + ROVK_OFFSET_PERIPHERAL, 2));
    const uint8_t opcode = given[ROVK_OFFSET_BODY];
    rovk_message reply = blank(application, address, load(given + ROVK_OFFSET_UUID, 4), ROVK_TYPE_RESPONSE);
    uint8_t* body = bytes_of(reply);
    Time duration{0};
    const catalogue::Service* service = &catalogue::common();
    uint16_t answerer = address;
    try {
      Peripheral* peripheral = find(address);
      if (!peripheral) {
        answerer = ROVK_ROUTER_PERIPHERAL_ADDRESS;
        if (router->leads_to(address)) throw Refusal{ROVK_COMMON_ERROR_COMMUNICATION_FAILURE, {nobody_answers}};
        throw Refusal{ROVK_COMMON_ERROR_UNKNOWN_PERIPHERAL};
      }
      const bool is_common = opcode <= ROVK_COMMON_COMMAND_LAST;
      if (!is_common) service = &peripheral->model->service();
      const catalogue::Command* row = catalogue::find_command(*service, opcode);
      if (!row) throw Refusal{ROVK_COMMON_ERROR_UNKNOWN_COMMAND};
      Call call(*service, *row, {given + ROVK_OFFSET_PAYLOAD, ROVK_MESSAGE_PAYLOAD_SIZE}, application);
      run_command(*peripheral, call, is_common);
      std::copy(call.answer().begin(), call.answer().end(), body + ROVK_OFFSET_PAYLOAD);
      duration = std::max(call.duration(), Time{0});
      if (duration > Time{0}) {
        ++peripheral->under_way;
        at(present + duration, [peripheral] { --peripheral->under_way; });
      }
    } catch (const Refusal& refusal) {
      const catalogue::Error* error = catalogue::find_error(*service, refusal.id);
      if (!error) error = catalogue::find_error(catalogue::common(), refusal.id);
      body[ROVK_OFFSET_BODY] = ROVK_RESPONSE_ERROR_INFO;
      store(body + ROVK_OFFSET_PAYLOAD, 2, answerer);
      store(body + ROVK_OFFSET_ERROR_ID, 2, refusal.id);
      fill(body + ROVK_OFFSET_ERROR_DATA, error ? error->detail : nullptr, refusal.detail);
    }
    answer(application, reply,
           present + duration + options.latency + (clock.is_virtual() ? Time{0} : options.processing));
  }

  Options options;
  Clock clock;
  World surroundings;
  Lens optics{*this};
  Time present{0};
  uint64_t made = 0;
  uint64_t dropped = 0;
  std::map<Due, std::function<void()>> queue;
  std::map<TimerId, Time> planned;
  std::map<uint16_t, Peripheral> peripherals;
  Router* router = nullptr;
  std::map<uint16_t, Application> applications;
  uint16_t last_joined = 0;
};

std::string disturbance_names() {
  std::string list;
  for (const auto& [name, what] : disturbances) list += (list.empty() ? "" : ", ") + std::string(name);
  return list;
}

Unit::Unit(const Options& options) : state_(std::make_unique<State>(options)) {}

Unit::~Unit() = default;

uint16_t Unit::join() {
  do {
    ++state_->last_joined;
  } while (state_->last_joined == 0 || state_->applications.contains(state_->last_joined));
  state_->applications.try_emplace(state_->last_joined);
  return state_->last_joined;
}

void Unit::leave(uint16_t application) {
  state_->applications.erase(application);
  state_->router->forget(application);
}

void Unit::submit(uint16_t application, const rovk_message& message) {
  run();
  if (!state_->applications.contains(application) || bytes_of(message)[ROVK_OFFSET_TYPE] != ROVK_TYPE_COMMAND) {
    ++state_->dropped;
    return;
  }
  if (state_->clock.is_virtual()) state_->run_until(state_->present + state_->options.processing);
  state_->handle(application, message);
  run();
}

uint64_t Unit::dropped() const { return state_->dropped; }

uint64_t Unit::lost_events(uint16_t application) const {
  const auto found = state_->applications.find(application);
  return found == state_->applications.end() ? 0 : found->second.inbox.lost();
}

bool Unit::take(uint16_t application, rovk_message& message) {
  run();
  const auto found = state_->applications.find(application);
  if (found == state_->applications.end() || found->second.inbox.empty()) return false;
  message = *found->second.inbox.take();
  return true;
}

bool Unit::waiting(uint16_t application) const {
  const auto found = state_->applications.find(application);
  return found != state_->applications.end() && !found->second.inbox.empty();
}

void Unit::run() { state_->run_until(state_->clock.now()); }

std::optional<Time> Unit::next_due() const {
  if (state_->queue.empty()) return std::nullopt;
  return state_->queue.begin()->first.first;
}

void Unit::advance_to(Time when) {
  if (state_->clock.is_virtual()) state_->run_until(std::max(when, state_->clock.now()));
}

Clock& Unit::clock() { return state_->clock; }

World& Unit::world() { return state_->surroundings; }

void Unit::set_input(Input input, unsigned index, int64_t value) {
  run();
  state_->surroundings.set(input, index, value);
  state_->optics.sense(input);
  for (auto& [address, peripheral] : state_->peripherals) peripheral.model->sense(input, index, value);
  run();
}

bool Unit::reset_peripheral(uint16_t address, uint16_t type) {
  run();
  Peripheral* peripheral = state_->find(address);
  if (!peripheral) return false;
  state_->reset(*peripheral, type);
  run();
  return true;
}

bool Unit::set_fault(uint16_t address, uint16_t fault_id) {
  Peripheral* peripheral = state_->find(address);
  if (!peripheral) return false;
  peripheral->fault = fault_id;
  return true;
}

bool Unit::spontaneous_error(uint16_t address, uint16_t error_id, const uint8_t* payload) {
  run();
  if (!state_->find(address)) return false;
  const uint8_t nothing[ROVK_MESSAGE_ERROR_INFO_PAYLOAD_SIZE] = {};
  state_->report(address, error_id, payload ? payload : nothing);
  run();
  return true;
}

bool Unit::disturb(uint16_t application, std::string_view what, uint32_t count, uint32_t value) {
  const auto row = std::find_if(std::begin(disturbances), std::end(disturbances),
                                [what](const auto& entry) { return entry.first == what; });
  const auto found = state_->applications.find(application);
  if (row == std::end(disturbances) || found == state_->applications.end()) return false;
  if (count > 0) found->second.disturbed.push_back({row->second, count, value});
  return true;
}

}  // namespace rovk::unit
