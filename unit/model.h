// What a model of a service is made of: a call to answer, refusals, plain get/set registers, timers
// and events of the unit around it. A model is the behaviour of one peripheral; it knows the catalogue
// by name and nothing of transports, transactions or Lua.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "catalogue/catalogue.h"
#include "unit/world.h"

namespace rovk::unit {

// Time since the unit was switched on.
using Time = std::chrono::nanoseconds;
using namespace std::chrono_literals;

// Thrown by a model to answer with an error. `id` is an error of the service or of the common set;
// `detail` fills the number fields of that error's detail record in order.
struct Refusal {
  uint16_t id;
  std::vector<int64_t> detail = {};
};

// One command under way: its inputs by field name, and its answer. Naming a field that the record
// does not have is a defect of the model, found by the tests that run every command.
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
  void set_bytes(std::string_view field, std::span<const uint8_t> value);
  void set_version(std::string_view field, rovk_version value);

  // The answer leaves after `duration` instead of at once: for a command that ends when a movement or
  // a run does.
  void take(Time duration) { duration_ = duration; }

  // Refusals. `field` is the input at fault; its payload offset goes into the error.
  [[noreturn]] void refuse_input(std::string_view field) const;
  [[noreturn]] void refuse(std::string_view error, std::initializer_list<int64_t> detail = {}) const;
  // Refuses an input outside the limits, gives it back otherwise.
  int64_t within(std::string_view field, int64_t low, int64_t high) const;

  std::span<const uint8_t> answer() const;
  Time duration() const { return duration_; }

 private:
  const catalogue::Service& service_;
  const catalogue::Command& command_;
  uint8_t request_[22] = {};
  uint8_t answer_[22] = {};
  uint16_t application_;
  Time duration_{0};
};

// A value that a device keeps, as get and set commands of one subject see it. The subject of
// `get_contrast` and `set_contrast` is "contrast".
struct Register {
  std::string_view subject;
  std::string_view field;
  int64_t low;
  int64_t high;
  int64_t initial;
};

// The plain part of a service: what `set_<subject>` writes, `get_<subject>` reads back, field by field
// of the same name. An answer's `min`, `max`, `min_<field>` and `max_<field>` are the limits of the
// register. A field without a declared register has the limits of its type and starts at 0, or next to
// it; `enable` alone is a flag by its name.
class Registers {
 public:
  Registers(const catalogue::Service& service, unsigned devices, std::span<const Register> declared);

  // A register that neither the service's commands nor a declaration knows is a defect of the model.
  int64_t get(std::string_view subject, std::string_view field, unsigned device = 0) const;
  // Keeps the value as it is: limits bind the commands, not the model.
  void set(std::string_view subject, std::string_view field, unsigned device, int64_t value);
  int64_t low(std::string_view subject, std::string_view field) const;
  int64_t high(std::string_view subject, std::string_view field) const;

  // Answers a get_ or set_ command by the rule above; false for any other command. `subject` takes
  // the place of the one in the command's name. A set_ stores all of its fields or, refused, none.
  bool run(Call& call, unsigned device, std::string_view subject = {});
  // Back to the initial values.
  void reset();

 private:
  struct Cell {
    Register row;
    std::vector<int64_t> values;  // one for each device
  };
  void declare(const Register& row);
  const Cell& cell(std::string_view subject, std::string_view field) const;
  Cell& cell(std::string_view subject, std::string_view field);
  void read(Call& call, unsigned device, std::string_view subject) const;
  void write(const Call& call, unsigned device, std::string_view subject);

  std::map<std::pair<std::string_view, std::string_view>, Cell> cells_;
  unsigned devices_;
};

using TimerId = uint64_t;

// The unit as a model sees it.
class Host {
 public:
  virtual ~Host() = default;
  virtual Time now() const = 0;
  // Runs `action` once when the clock reads `when`. A reset of the peripheral does not cancel it.
  virtual TimerId at(Time when, std::function<void()> action) = 0;
  virtual void cancel(TimerId timer) = 0;
  // Sends an event to all subscribers of the peripheral. `values` are the fields without reserved ones.
  virtual void raise(const class Model& model, std::string_view event, std::initializer_list<int64_t> values) = 0;
  // Sends spontaneous_error about an error of the model's service or of the common set.
  virtual void report(const class Model& model, std::string_view error, std::initializer_list<int64_t> detail) = 0;
  virtual World& world() = 0;
  // The mechanics behind all services of the lens.
  virtual class Lens& lens() = 0;
  // The model of another service, for those that show one device in two ways. Null: there is none.
  virtual class Model* find(std::string_view service) = 0;
};

// What a peripheral is set up with: its service and the physical device behind each index.
struct Setup {
  const catalogue::Service& service;
  Host& host;
  std::vector<uint32_t> devices;  // ROVK_PERIPHERAL_DEVICE_ID_*, one for each index
  uint8_t location;               // ROVK_GPI_LOCATION_*
};

class Model {
 public:
  Model(const Setup& setup, std::span<const Register> registers);
  virtual ~Model() = default;
  Model(const Model&) = delete;
  Model& operator=(const Model&) = delete;

  // Answers a command of the model's own service, opcodes from 32 up: by the handler that was set
  // for it, else as plain get or set. An `index` beyond the devices is refused first. Throws Refusal.
  void run(Call& call);

  // Power-on state. A model with state of its own extends this.
  virtual void reset() { registers_.reset(); }
  // Something outside changed: a button, a contact, a temperature. Most models do not care.
  virtual void sense(Input, unsigned /*index*/, int64_t /*value*/) {}
  // What self_test finds. A disruptive test may move things.
  virtual bool self_test(bool /*disruptive*/) { return true; }

  const catalogue::Service& service() const { return setup_.service; }
  unsigned devices() const { return static_cast<unsigned>(setup_.devices.size()); }
  const Setup& setup() const { return setup_; }

 protected:
  using Handler = std::function<void(Call&)>;
  // Gives a command a behaviour of its own.
  void on(std::string_view command, Handler handler);
  // The device that a call is about: its `index`, 0 when it has none.
  static unsigned device(const Call& call);

  Registers& registers() { return registers_; }
  const Registers& registers() const { return registers_; }
  Host& host() { return setup_.host; }
  World& world() { return setup_.host.world(); }

 private:
  Setup setup_;
  Registers registers_;
  std::map<std::string_view, Handler> handlers_;
};

}  // namespace rovk::unit
