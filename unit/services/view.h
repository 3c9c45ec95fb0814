// What a view is made of. A view shows the things of its board in the words of one service: it turns a
// command into what it does to its things, a thing's state into an answer, and what things tell into
// events. It keeps nothing that a thing should know. It knows the catalogue by name and nothing of
// transports, transactions or Lua.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/catalogue.h"
#include "unit/profiles/description.h"
#include "unit/things/board.h"
#include "unit/things/timeline.h"
#include "unit/world.h"

namespace rovk::unit {

// What can be wrong with a peripheral: the `id` of get_fault and the `fault_id` of fault_exists. Other
// numbers may be given from outside.
enum class Fault : uint16_t { none = 0, motor_blocked = 1, stall = 2, overheated = 3, no_supply = 4, memory = 5 };

// Thrown by a view to answer with an error. `id` is an error of the service or of the common set;
// `detail` fills the number fields of that error's detail record in order.
struct Refusal {
  uint16_t id;
  std::vector<int64_t> detail = {};
};

class Call;

// The course of a command that takes time, from its turn in the queue to its end.
class Course {
 public:
  virtual ~Course() = default;
  virtual void take(Time duration, std::function<void(Call&)> last) = 0;
  virtual class Ticket wait() = 0;
  virtual void end(const std::function<void(Call&)>& last) = 0;
};

// The end of a command that waits for a thing. May be copied, ends the command once, and does nothing for
// one that a reset has broken off.
class Ticket {
 public:
  explicit Ticket(std::weak_ptr<Course> course) : course_(std::move(course)) {}
  // `last` may answer and may refuse.
  void end(const std::function<void(Call&)>& last = {}) const {
    if (const auto course = course_.lock()) course->end(last);
  }

 private:
  std::weak_ptr<Course> course_;
};

// One command under way: its inputs by field name, and its answer. Naming a field that the record
// does not have is a defect of the view, found by the tests that run every command.
class Call {
 public:
  Call(const catalogue::Service& service, const catalogue::Command& command, std::span<const uint8_t> payload,
       uint16_t application);

  const catalogue::Command& command() const { return command_; }
  uint16_t application() const { return application_; }  // who asks

  bool has(std::string_view field) const;
  int64_t number(std::string_view field) const;
  std::span<const uint8_t> bytes(std::string_view field) const;

  // Values are kept to the width of the field.
  void set(std::string_view field, int64_t value);
  // For who has looked the field up already.
  int64_t number(const catalogue::Field& field) const;
  void set(const catalogue::Field& field, int64_t value);
  [[noreturn]] void refuse_input(const catalogue::Field& field) const;
  void set_bytes(std::string_view field, std::span<const uint8_t> value);
  void set_version(std::string_view field, rovk_version value);

  // For commands that take time, which View::queue() sets: the command goes on after its handler has
  // returned, for `duration`, and `last` runs at its end, where it has its effects, may answer and may
  // refuse. Without `last`, and in a handler set by View::on(), the answer alone is late.
  void take(Time duration, std::function<void(Call&)> last = {});
  // The command goes on until a thing says that it is done: the ticket ends it.
  Ticket wait();

  // Refusals. `field` is the input at fault; its payload offset goes into the error.
  [[noreturn]] void refuse_input(std::string_view field) const;
  [[noreturn]] void refuse(std::string_view error, std::initializer_list<int64_t> detail = {}) const;
  // Refuses an input outside the limits, gives it back otherwise.
  int64_t within(std::string_view field, int64_t low, int64_t high) const;

  // Which device it is about, once the view has looked at its inputs.
  unsigned device() const { return device_; }
  void pick_device(unsigned device) { device_ = device; }

  std::span<const uint8_t> answer() const;
  Time duration() const { return duration_; }

  // For the unit around it: who carries out what take() and wait() ask for. Null: nobody.
  void follow(Course* course) { course_ = course; }
  bool same_as(const Call& other) const;  // command, inputs and who asks

 private:
  const catalogue::Field& input(std::string_view field) const;
  const catalogue::Field& output(std::string_view field);

  const catalogue::Service& service_;
  const catalogue::Command& command_;
  mutable unsigned next_input_ = 0;  // where the search for a field begins
  unsigned next_output_ = 0;
  uint8_t request_[22] = {};
  uint8_t answer_[22] = {};
  uint16_t application_;
  unsigned device_ = 0;
  Time duration_{0};
  Course* course_ = nullptr;
};

// A value that a device keeps, as get and set commands of one subject see it. The subject of
// `get_contrast` and `set_contrast` is "contrast".
struct Register {
  std::string_view subject;
  std::string_view field;
  int64_t low = 0;
  int64_t high = 0;
  int64_t initial = 0;
  int key = -1;  // of what a Backing keeps, with limits of its own; below 0: it is kept here
};

// Keeps registers that are a thing's, so that they are the same for every service that shows them.
class Backing {
 public:
  struct Limits {
    int64_t low;
    int64_t high;
  };
  virtual ~Backing() = default;
  virtual int64_t get(int key, unsigned device) const = 0;
  virtual void set(int key, unsigned device, int64_t value) = 0;
  virtual Limits limits(int key, unsigned device) const = 0;
  virtual void restore(int key, unsigned device) = 0;
};

// The plain part of a service: what `set_<subject>` writes, `get_<subject>` reads back, field by field
// of the same name. An answer's `min`, `max`, `min_<field>` and `max_<field>` are the limits of the
// register. A field without a declared register has the limits of its type and starts at 0, or next to
// it; `enable` alone is a flag by its name.
//
// Cells are made when they are first needed, since most services of a unit are never asked; which of them
// a command reads or writes is worked out at its first use.
class Registers {
 public:
  // `declared` has to outlive this. `described` changes limits and initial values of what is declared or
  // follows from the commands. Throws DescriptionError where it names nothing that is there.
  Registers(const catalogue::Service& service, unsigned devices, std::span<const Register> declared,
            std::span<const ValueDescription> described = {});
  // Before the first use.
  void back_with(Backing& backing) { backing_ = &backing; }

  // A register that neither the service's commands nor a declaration knows is a defect of the view.
  int64_t get(std::string_view subject, std::string_view field, unsigned device = 0) const;
  // Keeps the value as it is: limits bind the commands, not the view.
  void set(std::string_view subject, std::string_view field, unsigned device, int64_t value);

  int64_t low(std::string_view subject, std::string_view field) const { return cell(subject, field).row.low; }
  int64_t high(std::string_view subject, std::string_view field) const { return cell(subject, field).row.high; }

  // Answers a get_ or set_ command by the rule above; false for any other command. `subject` takes
  // the place of the one in the command's name. A set_ stores all of its fields or, refused, none.
  bool run(Call& call, unsigned device, std::string_view subject = {});
  // Back to the initial values.
  void reset();

 private:
  struct Cell {
    Register row;
    std::vector<int64_t> values;  // one for each device; none when it is kept elsewhere
  };
  // One field of a command and what of a cell it carries.
  struct Step {
    enum class Part : uint8_t { value, low, high } part;
    const catalogue::Field* field;
    Cell* cell;
  };
  struct Plan {
    bool made = false;
    std::vector<Step> steps;
  };
  void make() const;
  void declare(const Register& row) const;
  void describe(const ValueDescription& value);
  Cell* find(std::string_view subject, std::string_view field) const;
  Cell& cell(std::string_view subject, std::string_view field) const;
  Plan plan(const catalogue::Command& command, std::string_view subject) const;
  int64_t value_of(const Cell& cell, unsigned device) const;
  void put(Cell& cell, unsigned device, int64_t value);
  Backing::Limits limits_of(const Cell& cell, unsigned device) const;

  const catalogue::Service& service_;
  unsigned devices_;
  std::span<const Register> declared_;
  Backing* backing_ = nullptr;
  // Made on first use, which a reading may be.
  mutable bool made_ = false;
  mutable std::vector<Cell> cells_;
  mutable std::vector<Plan> plans_;  // in the order of the service's commands
};

// The unit as a view sees it.
class Host : public Timeline {
 public:
  // Sends an event to all subscribers of the peripheral. `event` is what View::event() gave, `values` are the
  // fields without reserved ones.
  virtual void raise(const class View& view, const catalogue::Event& event, std::initializer_list<int64_t> values) = 0;
  // Sends spontaneous_error about an error of the view's service or of the common set.
  virtual void report(const class View& view, std::string_view error, std::initializer_list<int64_t> detail) = 0;
  // Gives the peripheral a fault and tells of it by spontaneous_error. It stays until it is cleared, and
  // longer while View::standing_fault() has one. A peripheral that has a fault keeps that one.
  virtual void fail(const class View& view, Fault fault) = 0;
  virtual things::Body& body() = 0;
  // What is not a thing yet: inputs that views read, and views that others ask.
  virtual World& world() = 0;
  virtual class View* find(std::string_view service) = 0;
};

// What a peripheral is set up with: its service, and where its things are.
struct Setup {
  const catalogue::Service& service;
  Host& host;
  std::vector<uint32_t> devices;  // ROVK_PERIPHERAL_DEVICE_ID_*, one for each index
  uint8_t location;               // ROVK_GPI_LOCATION_*
  uint16_t address;
  const things::Board& board;
  const PeripheralDescription& description;
};

class View {
 public:
  View(const Setup& setup, std::span<const Register> registers);
  virtual ~View() = default;
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  // Answers a command of the view's own service, opcodes from 32 up: by the handler that was set for it,
  // else as plain get or set. An `index` beyond the devices is refused first. Throws Refusal.
  void run(Call& call);
  // Whether the command takes time, so that it waits for its turn in the peripheral's queue.
  bool takes_time(const catalogue::Command& command) const;
  // Refuses an index beyond the devices, which needs no waiting.
  void check(Call& call) const;

  // Power-on state: of what the view keeps by get and set, and of the things that it shows. Whoever drives
  // things extends this.
  virtual void reset() { registers_.reset(); }
  // What self_test finds. A disruptive test may move things.
  virtual bool self_test(bool /*disruptive*/) { return true; }
  // What is answered even with a fault: what only tells, where telling helps to find the cause.
  virtual bool answers_with_fault(const catalogue::Command&) const { return false; }
  // The fault whose cause is there now, whether or not it was told of.
  virtual Fault standing_fault() { return Fault::none; }

  const catalogue::Service& service() const { return setup_.service; }
  unsigned devices() const { return static_cast<unsigned>(setup_.devices.size()); }
  const Setup& setup() const { return setup_; }

 protected:
  using Handler = std::function<void(Call&)>;
  // Gives a command a behaviour of its own, which is done when the handler returns.
  void on(std::string_view command, Handler handler);
  // The same for a command that takes time: it runs when those before it in the queue have ended.
  void queue(std::string_view command, Handler handler);
  // An event of the service or of the common set, for Host::raise(). Views ask for theirs when they are made, so
  // that nothing is searched for each time something happens.
  const catalogue::Event& event(std::string_view name) const;
  // The thing behind a device's index. Throws DescriptionError when there is none, so views ask for their
  // things when they are made.
  template <typename Thing>
  Thing& thing(unsigned device) const {
    return thing<Thing>(device, device);
  }
  // The same where the place of one that is not described is something else than its index.
  template <typename Thing>
  Thing& thing(unsigned device, unsigned place) const {
    const DeviceDescription& described = setup_.description.devices.at(device);
    Thing* const found = setup_.host.body().find_near<Thing>(setup_.board, described.thing.value_or(place));
    if (!found) no_thing(device);
    return *found;
  }
  // Those behind all indexes, in their order.
  template <typename Thing>
  std::vector<Thing*> all_things() const {
    std::vector<Thing*> all;
    for (unsigned i = 0; i < devices(); ++i) all.push_back(&thing<Thing>(i));
    return all;
  }
  // The device that a call is about: its `index`, 0 when it has none.
  static unsigned device(const Call& call) { return call.device(); }

  Registers& registers() { return registers_; }
  const Registers& registers() const { return registers_; }
  Host& host() { return setup_.host; }
  World& world() { return setup_.host.world(); }

 private:
  struct Entry {
    Handler handler;  // empty: plain get or set
    bool takes_time = false;
    const catalogue::Field* device = nullptr;  // the input that picks one; null: it is the first
  };
  Entry& entry(std::string_view command);
  Entry& entry(const catalogue::Command& command);
  const Entry& entry(const catalogue::Command& command) const;
  [[noreturn]] void no_thing(unsigned device) const;

  Setup setup_;
  Registers registers_;
  std::vector<Entry> entries_;  // in the order of the service's commands
};

}  // namespace rovk::unit
