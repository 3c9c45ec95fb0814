// How it runs: one queue holds all that is to happen, timers of things and views as well as messages on
// their way to applications, ordered by due time and then by making. Everything happens on the
// caller's thread, in run() or at once in submit().
#include "unit/unit.h"

#include <rovk/constants.h>

#include <algorithm>
#include <deque>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>

#include "catalogue/fields.h"
#include "unit/build.h"
#include "unit/fittings.h"
#include "unit/inputs.h"
#include "unit/keeper.h"
#include "unit/peripheral.h"
#include "unit/services/common.h"
#include "unit/services/router.h"
#include "unit/services/views.h"
#include "unit/things/file_store.h"
#include "wire/message.h"

namespace rovk::unit {
namespace {

using catalogue::store;

// `type` of communication_failure: a route was added, and nobody answers at its end; a reset has broken
// the command off.
constexpr int64_t nobody_answers = 1;
constexpr int64_t broken_off = 2;

const PeripheralDescription router_description = [] {
  PeripheralDescription router;
  router.service = "router_0000";
  router.boot_ms = 0;  // what carries the messages is there as long as the unit is
  return router;
}();

rovk_message blank(uint16_t application, uint16_t peripheral, uint32_t uuid, uint8_t type) {
  rovk_message message = {};
  uint8_t* bytes = wire::bytes(message);
  store(bytes + ROVK_OFFSET_APPLICATION, 2, application);
  store(bytes + ROVK_OFFSET_PERIPHERAL, 2, peripheral);
  store(bytes + ROVK_OFFSET_UUID, 4, uuid);
  bytes[ROVK_OFFSET_TYPE] = type;
  return message;
}

// Makes an answer one of an error, and gives the place of its detail.
uint8_t* write_error(rovk_message& answer, uint16_t answerer, uint16_t id) {
  uint8_t* const bytes = wire::bytes(answer);
  bytes[ROVK_OFFSET_BODY] = ROVK_RESPONSE_ERROR_INFO;
  store(bytes + ROVK_OFFSET_PAYLOAD, 2, answerer);
  store(bytes + ROVK_OFFSET_ERROR_ID, 2, id);
  return bytes + ROVK_OFFSET_ERROR_DATA;
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

const catalogue::Event& common_event(uint8_t id) { return *catalogue::find_event(catalogue::common(), id); }

// A description that the view cannot be made of is told with its place in the unit file.
std::unique_ptr<View> make_view(const Setup& setup, const std::string& board) {
  try {
    return find_maker(setup.service.name)(setup);
  } catch (const DescriptionError& error) {
    fail_at({setup.description.where, board}, error.what());
  }
}

using Direction = Rule::Direction;

}  // namespace

struct Unit::State final : Host, Answers {
  struct Disturbed {
    const Disturbance* what;
    uint32_t count;
    uint32_t value;
  };
  // A message that lets the next one of its kind pass.
  struct Held {
    rovk_message message;
    uint64_t made;
  };
  struct Application {
    wire::Queue inbox;
    std::deque<Disturbed> disturbed;
    std::map<Direction, Held> held;
    bool told = false;  // stands in `reached`
  };
  using Due = std::pair<Time, uint64_t>;  // when, and which was made first

  State(const Options& given, const UnitDescription& described)
      : options(given),
        clock(given.virtual_clock),
        description(described),
        plan(description.plan),
        whole(description.surroundings) {
    build(description, *this, whole);
    bind_inputs(whole, outside);
    const std::vector<Fitting> fitted = fittings(description);
    std::vector<uint16_t> addresses;
    for (const Fitting& fitting : fitted) {
      addresses.push_back(fitting.address);
      if (fitting.description) {
        addresses.insert(addresses.end(), fitting.description->aliases.begin(), fitting.description->aliases.end());
      }
    }
    for (const Fitting& fitting : fitted) {
      const PeripheralDescription& own = fitting.description ? *fitting.description : router_description;
      const Setup setup = {*fitting.service,
                           *this,
                           fitting.devices,
                           fitting.location,
                           fitting.address,
                           *whole.boards().at(fitting.board),
                           own};
      auto& peripheral = peripherals.emplace_back(std::make_unique<Peripheral>(fitting.address, *this, *this));
      by_address.emplace(fitting.address, peripheral.get());
      for (const uint16_t alias : own.aliases) by_address.emplace(alias, peripheral.get());
      if (fitting.address == ROVK_ROUTER_PERIPHERAL_ADDRESS) {
        auto own_view = std::make_unique<Router>(setup, addresses);
        router = own_view.get();
        peripheral->view = std::move(own_view);
      } else {
        peripheral->view = make_view(setup, description.boards[fitting.board].where);
      }
    }
    for (const auto& peripheral : peripherals) peripheral->view->reset();
    for (const auto& peripheral : peripherals) check_values(*peripheral->view);
  }

  // A value that the file describes, of a subject that a thing knows and the view keeps no value of.
  static void check_values(View& view) {
    for (const ValueDescription& value : view.setup().description.values) {
      const catalogue::Service& service = view.service();
      const catalogue::Command* const row = catalogue::find_command(service, "get_" + value.subject);
      const catalogue::Field* const field =
          row && row->answer ? catalogue::find_field(*row->answer, value.field) : nullptr;
      if (!value.initial || !field) continue;
      const std::vector<uint8_t> zeros(ROVK_MESSAGE_PAYLOAD_SIZE);
      Call call(service, *row, zeros, 0);
      try {
        view.run(call);
      } catch (const Refusal&) {
        continue;  // it wants to be told more
      }
      if (catalogue::load_number(call.answer().data(), *field) == *value.initial) continue;
      fail_at({view.setup().description.where}, std::string(service.name) + " shows a thing by " + value.subject + "." +
                                                    value.field + "; what it begins with is told of the thing");
    }
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
  void raise(const View& view, const catalogue::Event& event, std::initializer_list<int64_t> values) override {
    if (!powered) return;
    uint8_t payload[ROVK_MESSAGE_PAYLOAD_SIZE] = {};
    fill(payload, event.record, {values.begin(), values.size()});
    tell(view.service(), view.setup().address, event, payload);
  }
  void report(const View& view, std::string_view error, std::initializer_list<int64_t> detail) override {
    const catalogue::Error* row = catalogue::find_error(view.service(), error);
    if (!row) row = catalogue::find_error(catalogue::common(), error);
    if (!row) throw std::logic_error("no error " + std::string(error));
    uint8_t data[ROVK_MESSAGE_ERROR_INFO_PAYLOAD_SIZE] = {};
    fill(data, row->detail, {detail.begin(), detail.size()});
    report(view.service(), view.setup().address, row->id, data);
  }
  void fail(const View& view, Fault fault) override {
    Peripheral* const peripheral = find(view.setup().address);
    if (!peripheral || peripheral->fault != 0) return;
    peripheral->fault = static_cast<uint16_t>(fault);
    report(view, "fault_exists", {peripheral->fault});
  }
  things::Body& body() override { return whole; }
  World& world() override { return outside; }
  View* find(std::string_view service) override {
    for (const auto& peripheral : peripherals) {
      if (service == peripheral->view->service().name) return peripheral->view.get();
    }
    return nullptr;
  }

  Peripheral* find(uint16_t address) const {
    const auto found = by_address.find(address);
    return found == by_address.end() ? nullptr : found->second;
  }

  // Sends an event of a peripheral of that service to all who hear it.
  void tell(const catalogue::Service& service, uint16_t address, const catalogue::Event& event,
            const uint8_t* payload) {
    for (const uint16_t application : router->hearers(address)) {
      rovk_message message = blank(application, address, 0, ROVK_TYPE_EVENT);
      wire::bytes(message)[ROVK_OFFSET_BODY] = event.id;
      std::copy_n(payload, ROVK_MESSAGE_PAYLOAD_SIZE, wire::bytes(message) + ROVK_OFFSET_PAYLOAD);
      coverage.event(service, event);
      dispatch(Direction::event, application, message, present);
    }
  }

  // The ways between applications and peripherals, on which the plan lies in wait.

  const catalogue::Service* service_at(uint16_t address) const {
    const Peripheral* const peripheral = find(address);
    return peripheral ? &peripheral->view->service() : nullptr;
  }

  bool is_silent(uint16_t address) const {
    const auto found = silent.find(address);
    return found != silent.end() && present < found->second;
  }

  // Sends an answer or event on its way, or whatever the plan makes of it.
  void dispatch(Direction direction, uint16_t application, const rovk_message& message, Time when) {
    if (!disturbed()) return send(application, message, when);
    travel(direction, application, message, when,
           [this, application](const rovk_message& arrived, Time at_time) { send(application, arrived, at_time); });
  }

  bool disturbed() const { return !plan.empty() || !silent.empty(); }

  // Lets the plan judge a message; what comes through goes to `deliver`.
  template <typename Deliver>
  void travel(Direction direction, uint16_t application, rovk_message message, Time when, Deliver deliver) {
    const auto address = wire::peripheral(message);
    const bool was_silent = is_silent(address);
    const Fate fate = plan.judge(direction, service_at(address), message);
    if (fate.silent_ms) silent[address] = std::max(silent[address], present + *fate.silent_ms * 1ms);
    if (was_silent || fate.silent_ms) return;
    // At once, but not in the middle of what causes the message.
    if (fate.resets) at(present, [this, address] { reset_from_outside(address); });
    if (fate.switches_off) at(present, [this, off = fate.off_ms] { switch_off(off); });
    const bool is_command = direction == Direction::command;
    if (fate.lost || (!is_command && (fate.resets || fate.switches_off))) return;
    if (fate.refusal) {
      refuse(message, *fate.refusal);
      if (is_command) return send(application, message, when + delay());
    }
    when += fate.late;
    auto& held = applications.at(application).held;
    if (fate.swapped && !held.contains(direction)) {
      const uint64_t number = ++made;
      held[direction] = {message, number};
      // Nothing may come behind which it could go.
      at(when + fate.swap_ms * 1ms,
         [this, direction, application, number, deliver] { release(direction, application, number, deliver); });
      return;
    }
    deliver(message, when);
    if (fate.doubled) deliver(message, when);
    const auto before = held.find(direction);
    if (before != held.end()) {
      at(when, [this, direction, application, number = before->second.made, deliver] {
        release(direction, application, number, deliver);
      });
    }
  }

  template <typename Deliver>
  void release(Direction direction, uint16_t application, uint64_t number, Deliver deliver) {
    const auto found = applications.find(application);
    if (found == applications.end()) return;
    const auto held = found->second.held.find(direction);
    if (held == found->second.held.end() || held->second.made != number) return;
    const rovk_message message = held->second.message;
    found->second.held.erase(held);
    deliver(message, present);
  }

  // Turns a command or an answer into a refusal by a rule.
  void refuse(rovk_message& message, const Rule& rule) {
    const uint16_t address = wire::peripheral(message);
    message = blank(wire::application(message), address, wire::uuid(message), ROVK_TYPE_RESPONSE);
    std::copy(rule.detail.begin(), rule.detail.end(), write_error(message, address, rule.error));
    if (const auto* const service = service_at(address)) coverage.error(*service, rule.error);
  }

  void reset_from_outside(uint16_t address) {
    Peripheral* const peripheral = find(address);
    if (peripheral && powered) reset(*peripheral, static_cast<uint16_t>(ResetType::watchdog));
  }

  void switch_off(int64_t off_ms) {
    set_power(false);
    if (off_ms > 0) at(present + off_ms * 1ms, [this] { set_power(true); });
  }

  void arrive(uint16_t application, const rovk_message& command) {
    if (powered && applications.contains(application)) handle(application, command);
  }

  void report(const catalogue::Service& service, uint16_t address, uint16_t error, const uint8_t* data) {
    if (!powered) return;
    uint8_t payload[ROVK_MESSAGE_PAYLOAD_SIZE] = {};
    store(payload, 2, address);
    store(payload + 2, 2, error);
    std::copy_n(data, ROVK_MESSAGE_ERROR_INFO_PAYLOAD_SIZE, payload + 4);
    tell(service, address, common_event(ROVK_COMMON_EVENT_SPONTANEOUS_ERROR), payload);
  }

  void send(uint16_t application, const rovk_message& message, Time when) {
    // Due at once, and nothing is due before it: it need not wait in the queue.
    if (when <= present && (queue.empty() || queue.begin()->first.first > present))
      return deliver(application, message);
    at(when, [this, application, message] { deliver(application, message); });
  }

  void deliver(uint16_t application, const rovk_message& message) {
    const auto found = applications.find(application);
    if (found == applications.end()) return;
    found->second.inbox.push(message);
    if (!std::exchange(found->second.told, true)) reached.push_back(application);
  }

  void answer(uint16_t application, rovk_message message, Time when) {
    auto& pending = applications.at(application).disturbed;
    if (pending.empty()) return dispatch(Direction::answer, application, message, when);
    const Disturbed now = pending.front();
    if (--pending.front().count == 0) pending.pop_front();
    Fate fate;
    now.what->befall(fate, wire::bytes(message), now.value);
    if (fate.lost) return;
    if (fate.doubled) send(application, message, when);
    dispatch(Direction::answer, application, message, when + fate.late);
  }

  // Does what is due up to `until`, each at its own time.
  void run_until(Time until) {
    while (!queue.empty() && queue.begin()->first.first <= until) run_first();
    move_to(until);
  }

  void run_first() {
    auto next = queue.extract(queue.begin());
    planned.erase(next.key().second);
    move_to(next.key().first);
    next.mapped()();
  }

  void move_to(Time when) {
    present = std::max(present, when);
    clock.move_to(present);
  }

  // What is under way is broken off at once; the peripheral is back when it has booted.
  void reset(Peripheral& peripheral, uint16_t type) {
    peripheral.break_off({ROVK_COMMON_ERROR_COMMUNICATION_FAILURE, {broken_off}});
    peripheral.fault = 0;
    peripheral.view->reset();
    if (keeper && keeper->prepare_forgetting(kept_name(peripheral))) keeper->commit();
    boot(peripheral, type, Time{0});
  }

  void boot(Peripheral& peripheral, uint16_t type, Time after) {
    const Time end = present + after + std::chrono::milliseconds(peripheral.view->setup().description.boot_ms);
    peripheral.booting = end > present;
    if (!peripheral.booting) return booted(peripheral, type);
    peripheral.boot.set(end, [this, &peripheral, type] { booted(peripheral, type); });
  }

  void booted(Peripheral& peripheral, uint16_t type) {
    peripheral.booting = false;
    peripheral.boot.stop();
    raise(*peripheral.view, common_event(ROVK_COMMON_EVENT_RESET_OCCURRED), {type});
    if (const Fault standing = peripheral.view->standing_fault(); standing != Fault::none) {
      fail(*peripheral.view, standing);
    }
    std::vector<Peripheral::Origin> waiting;
    waiting.swap(peripheral.resetters);
    for (const Peripheral::Origin& origin : waiting) answer(origin.application, origin.reply, present + delay());
  }

  void set_power(bool on) {
    if (powered == on) return;
    powered = on;
    if (keeper && keeper->prepare_forgetting("")) keeper->commit();
    for (unsigned i = 0; i < whole.count<things::ThermalMass>(); ++i) whole.find<things::ThermalMass>(i)->power(on);
    for (const auto& peripheral : peripherals) {
      peripheral->drop();
      peripheral->fault = 0;
      peripheral->view->reset();
      if (on) {
        boot(*peripheral, static_cast<uint16_t>(ResetType::power_on), std::chrono::milliseconds(description.boot_ms));
      }
    }
  }

  // What is kept from one run to the next.

  static std::string kept_name(const Peripheral& peripheral) {
    const Setup& setup = peripheral.view->setup();
    return setup.board.name() + "/" + (setup.description.name.empty() ? setup.service.name : setup.description.name);
  }

  static bool is_setting(const Peripheral& peripheral, const catalogue::Command& row) {
    return std::string_view(row.name).starts_with("set_") && !peripheral.view->takes_time(row);
  }

  static Keeper::Setting setting_of(const Peripheral& peripheral, const Call& call, const uint8_t* payload) {
    // Commands that set one of many things: a parameter, a triangle.
    uint32_t place = 0;
    for (const char* picks : {"param", "triangle_index", "index"}) {
      if (call.has(picks)) place = place << 8 | static_cast<uint32_t>(call.number(picks));
    }
    return {kept_name(peripheral), call.command().opcode, {payload, payload + ROVK_MESSAGE_PAYLOAD_SIZE}, place};
  }

  // The first of every board, by the board's location.
  std::map<uint8_t, things::Eeprom*> eeproms() const {
    std::map<uint8_t, things::Eeprom*> all;
    for (const auto& board : whole.boards()) {
      if (board->count<things::Eeprom>() > 0) all.try_emplace(board->location(), board->find<things::Eeprom>());
    }
    return all;
  }

  static bool has_memory(const Peripheral& peripheral) {
    return std::string_view(peripheral.view->service().name).starts_with("eeprom_");
  }

  // Puts EEPROMs that have changed on the disk. Without room there they get back what they had, and it
  // throws a Refusal.
  void keep_memories(const Peripheral& peripheral) {
    if (!keeper || !has_memory(peripheral)) return;
    for (const auto& [location, eeprom] : eeproms()) {
      if (!eeprom->touched()) continue;
      things::EepromMemory& memory = eeprom->memory();
      const std::span<const uint8_t> bytes = memory.bytes();
      std::vector<uint8_t>& known = memories[location];
      if (std::equal(bytes.begin(), bytes.end(), known.begin(), known.end())) continue;
      if (!keeper->prepare_memory(location, bytes) || !keeper->commit()) {
        memory.restore(known);
        throw Refusal{ROVK_COMMON_ERROR_NO_RESOURCES};
      }
      known.assign(bytes.begin(), bytes.end());
    }
  }

  void keep_state(const std::string& path) {
    auto kept = std::make_unique<Keeper>(path, description);
    const auto boards = eeproms();
    for (const auto& [location, bytes] : kept->memories()) {
      if (const auto eeprom = boards.find(location); eeprom != boards.end()) eeprom->second->memory().restore(bytes);
    }
    for (const Keeper::Setting& setting : kept->settings()) {
      for (const auto& peripheral : peripherals) {
        const catalogue::Service& service = peripheral->view->service();
        const catalogue::Command* const row = catalogue::find_command(service, setting.opcode);
        if (!row || kept_name(*peripheral) != setting.peripheral) continue;
        std::vector<uint8_t> payload = setting.payload;
        payload.resize(ROVK_MESSAGE_PAYLOAD_SIZE);
        Call call(service, *row, payload, 0);
        try {
          peripheral->view->run(call);
        } catch (const Refusal&) {
          // A limit that has changed since: the device stays as it is made.
        }
      }
    }
    for (unsigned i = 0; i < whole.count<things::FileStore>(); ++i) {
      whole.find<things::FileStore>(i)->keep_in(path + ".files" + (i == 0 ? "" : "." + std::to_string(i)));
    }
    for (const auto& [location, eeprom] : boards) {
      const auto bytes = eeprom->memory().bytes();
      memories[location].assign(bytes.begin(), bytes.end());
    }
    keeper = std::move(kept);
  }

  // Whether the peripheral takes the command now. Throws Refusal.
  void check(const Peripheral& peripheral, const Call& call, bool is_common) const {
    const bool is_reset = is_common && call.command().opcode == ROVK_COMMON_COMMAND_RESET;
    const uint16_t holder = router->holder(peripheral.address);
    if (holder != 0 && holder != call.application() && (!is_common || changes_peripheral(call.command()))) {
      call.refuse("reservation_exists", {holder});
    }
    if (peripheral.booting && !is_reset) call.refuse("busy");
    if (is_common) return;
    if (peripheral.fault != 0 && !peripheral.view->answers_with_fault(call.command())) {
      call.refuse("fault_exists", {peripheral.fault});
    }
    if (peripheral.late >= peripheral.view->setup().description.queue_depth) call.refuse("busy");
  }

  void write_answer(rovk_message& reply, const Call& call) const {
    std::copy(call.answer().begin(), call.answer().end(), wire::bytes(reply) + ROVK_OFFSET_PAYLOAD);
  }

  void write_refusal(rovk_message& reply, const catalogue::Service& service, const Refusal& refusal,
                     uint16_t answerer) {
    coverage.error(service, refusal.id);
    const catalogue::Error* error = catalogue::find_error(service, refusal.id);
    if (!error) error = catalogue::find_error(catalogue::common(), refusal.id);
    fill(write_error(reply, answerer, refusal.id), error ? error->detail : nullptr, refusal.detail);
  }

  // Answers
  void answer(const Job& job, const Refusal* refusal) override {
    rovk_message reply = job.reply;
    if (!refusal && keeper) {
      const auto* const from = find(wire::peripheral(reply));
      try {
        keep_memories(*from);
      } catch (const Refusal& no_room) {
        return answer(job, &no_room);
      }
    }
    if (refusal) {
      const auto address = wire::peripheral(reply);
      // What is broken off cannot say so itself.
      const bool lost = refusal->id == ROVK_COMMON_ERROR_COMMUNICATION_FAILURE;
      write_refusal(reply, find(address)->view->service(), *refusal, lost ? ROVK_ROUTER_PERIPHERAL_ADDRESS : address);
    } else {
      write_answer(reply, job.call);
    }
    if (applications.contains(job.application)) answer(job.application, reply, present + delay());
  }

  // From the end of a command to its answer.
  Time delay() const { return options.latency + (clock.is_virtual() ? Time{0} : options.processing); }

  // Carries a command out and makes its answer; one that takes time goes into the peripheral's queue.
  void handle(uint16_t application, const rovk_message& command) {
    const uint8_t* given = wire::bytes(command);
    const uint16_t address = wire::peripheral(command);
    const uint8_t opcode = wire::body(command);
    rovk_message reply = blank(application, address, wire::uuid(command), ROVK_TYPE_RESPONSE);
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
      if (!is_common) service = &peripheral->view->service();
      const catalogue::Command* row = catalogue::find_command(*service, opcode);
      if (!row) throw Refusal{ROVK_COMMON_ERROR_UNKNOWN_COMMAND};
      coverage.command(*service, *row);
      Call call(*service, *row, {given + ROVK_OFFSET_PAYLOAD, ROVK_MESSAGE_PAYLOAD_SIZE}, application);
      check(*peripheral, call, is_common);
      if (is_common && opcode == ROVK_COMMON_COMMAND_RESET) {
        peripheral->resetters.push_back({application, reply});
        return reset(*peripheral, static_cast<uint16_t>(ResetType::commanded));
      }
      if (is_common) {
        run_common(*peripheral, call);
      } else if (peripheral->view->takes_time(*row)) {
        peripheral->view->check(call);
        return peripheral->accept(std::make_shared<Job>(*peripheral, call, application, reply));
      } else {
        const bool kept = keeper && is_setting(*peripheral, *row);
        if (kept && !keeper->prepare(setting_of(*peripheral, call, given + ROVK_OFFSET_PAYLOAD))) {
          throw Refusal{ROVK_COMMON_ERROR_NO_RESOURCES};
        }
        try {
          peripheral->view->run(call);
        } catch (const Refusal&) {
          if (kept) keeper->discard();
          throw;
        }
        // The device has the setting already; who made it learns that it will not last.
        if (kept && !keeper->commit()) throw Refusal{ROVK_COMMON_ERROR_NO_RESOURCES};
        keep_memories(*peripheral);
      }
      write_answer(reply, call);
      duration = std::max(call.duration(), Time{0});
      if (duration > Time{0}) {
        ++peripheral->late;
        at(present + duration, [peripheral] { --peripheral->late; });
      }
    } catch (const Refusal& refusal) {
      write_refusal(reply, *service, refusal, answerer);
    }
    answer(application, reply, present + duration + delay());
  }

  // What has timers of its own ends before the queue: views before things.
  Options options;
  Clock clock;
  UnitDescription description;
  Plan plan;
  Coverage coverage;
  std::unique_ptr<Keeper> keeper;                    // null: nothing is kept
  std::map<uint8_t, std::vector<uint8_t>> memories;  // as they are on the disk
  std::map<uint16_t, Time> silent;                   // until when a peripheral neither hears nor answers
  World outside;
  Time present{0};
  uint64_t made = 0;
  uint64_t dropped = 0;
  bool powered = true;
  std::map<Due, std::function<void()>> queue;
  std::map<TimerId, Time> planned;
  things::Body whole;
  std::vector<std::unique_ptr<Peripheral>> peripherals;  // by address
  std::unordered_map<uint16_t, Peripheral*> by_address;  // with their aliases
  Router* router = nullptr;
  std::map<uint16_t, Application> applications;
  std::vector<uint16_t> reached;  // who got something since somebody asked
  uint16_t last_joined = 0;
};

Unit::Unit(const Options& options, const UnitDescription& description)
    : state_(std::make_unique<State>(options, description)) {}

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
  if (!state_->applications.contains(application) || wire::type(message) != ROVK_TYPE_COMMAND) {
    ++state_->dropped;
    return;
  }
  if (state_->clock.is_virtual()) state_->run_until(state_->present + state_->options.processing);
  if (!state_->powered) return;  // nobody hears it
  if (!state_->disturbed()) {
    state_->handle(application, message);
  } else {
    state_->travel(Direction::command, application, message, state_->present,
                   [state = state_.get(), application](const rovk_message& arrived, Time when) {
                     if (when <= state->present) return state->arrive(application, arrived);
                     state->at(when, [state, application, arrived] { state->arrive(application, arrived); });
                   });
  }
  state_->run_until(state_->present);
}

uint64_t Unit::dropped() const { return state_->dropped; }

const wire::Queue& Unit::inbox(uint16_t application) const { return state_->applications.at(application).inbox; }

bool Unit::take(uint16_t application, rovk_message& message) {
  // Nobody needs the time when nothing can be due.
  if (!state_->queue.empty()) run();
  const auto found = state_->applications.find(application);
  if (found == state_->applications.end()) return false;
  return found->second.inbox.take(message);
}

std::vector<uint16_t> Unit::take_reached() {
  for (const uint16_t application : state_->reached) {
    const auto found = state_->applications.find(application);
    if (found != state_->applications.end()) found->second.told = false;
  }
  return std::exchange(state_->reached, {});
}

void Unit::run() { state_->run_until(state_->clock.now()); }

std::optional<Time> Unit::next_due() const {
  if (state_->queue.empty()) return std::nullopt;
  return state_->queue.begin()->first.first;
}

void Unit::advance_to(Time when) {
  if (state_->clock.is_virtual()) state_->run_until(std::max(when, state_->clock.now()));
}

void Unit::stop_at(Time when) {
  state_->at(when, [] {});
}

Clock& Unit::clock() { return state_->clock; }

World& Unit::world() { return state_->outside; }

const UnitDescription& Unit::description() const { return state_->description; }

things::Body& Unit::body() { return state_->whole; }

bool Unit::set_input(Input input, unsigned index, int64_t value) {
  run();
  if (!state_->outside.set(input, index, value)) return false;
  state_->run_until(state_->present);
  return true;
}

bool Unit::release_input(Input input, unsigned index) {
  run();
  if (!state_->outside.release(input, index)) return false;
  run();
  return true;
}

void Unit::set_power(bool on) {
  run();
  state_->set_power(on);
  run();
}

bool Unit::powered() const { return state_->powered; }

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
  const catalogue::Service* const service = state_->service_at(address);
  if (!service) return false;
  const uint8_t nothing[ROVK_MESSAGE_ERROR_INFO_PAYLOAD_SIZE] = {};
  state_->report(*service, address, error_id, payload ? payload : nothing);
  run();
  return true;
}

void Unit::keep_state(const std::string& path) {
  run();
  state_->keep_state(path);
  run();
}

void Unit::set_plan(const PlanDescription& plan) {
  run();
  state_->plan = Plan(plan);
  state_->silent.clear();
}

const Plan& Unit::plan() const { return state_->plan; }

const Coverage& Unit::coverage() const { return state_->coverage; }

bool Unit::disturb(uint16_t application, std::string_view what, uint32_t count, uint32_t value) {
  const Disturbance* const disturbance = find_disturbance(what);
  const auto found = state_->applications.find(application);
  if (!disturbance || found == state_->applications.end()) return false;
  if (count > 0) found->second.disturbed.push_back({disturbance, count, value});
  return true;
}

}  // namespace rovk::unit
