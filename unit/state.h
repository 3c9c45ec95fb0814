// What a unit consists of. It stands between its views, which reach the unit through Host, its peripherals, whose
// commands end here, and the ways to applications.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "unit/agenda.h"
#include "unit/peripherals.h"
#include "unit/persistence.h"
#include "unit/traffic.h"
#include "unit/unit.h"

namespace rovk::unit {

struct Unit::State final : Host, Answers, Traffic::Station {
  State(const Options& options, const UnitDescription& description);

  // Host
  Time now() const override { return agenda.now(); }
  TimerId at(Time when, std::function<void()> action) override { return agenda.at(when, std::move(action)); }
  void cancel(TimerId timer) override { agenda.cancel(timer); }
  void raise(const View& view, const catalogue::Event& event, std::initializer_list<int64_t> values) override;
  void report(const View& view, std::string_view error, std::initializer_list<int64_t> detail) override;
  void fail(const View& view, Fault fault) override;
  things::Body& body() override { return whole; }
  World& world() override { return outside; }
  View* find(std::string_view service) override { return peripherals.find(service); }

  // Answers
  void answer(const Job& job, const Refusal* refusal) override;

  // Traffic::Station
  void arrive(uint16_t application, const rovk_message& command) override;
  void reset_from_outside(uint16_t address, Rule::Direction met) override;
  void switch_off(int64_t off_ms) override;

  // Events go to all who hear the peripheral at that address.
  void tell(const catalogue::Service& service, uint16_t address, const catalogue::Event& event, const uint8_t* payload);
  void report(const catalogue::Service& service, uint16_t address, uint16_t error, const uint8_t* data);

  // What is under way is broken off at once; the peripheral is back when it has booted.
  void reset(Peripheral& peripheral, uint16_t type);
  void boot(Peripheral& peripheral, uint16_t type, Time after);
  void booted(Peripheral& peripheral, uint16_t type);
  void set_power(bool on);

  // Carries a command out and makes its answer; one that takes time goes into the peripheral's queue.
  void handle(uint16_t application, const rovk_message& command);
  // Whether the peripheral takes the command now. Throws Refusal.
  void check(const Peripheral& peripheral, const Call& call, bool is_common) const;
  void write_refusal(rovk_message& reply, const catalogue::Service& service, const Refusal& refusal, uint16_t answerer);

  const Options options;
  const UnitDescription description;
  Coverage coverage;
  World outside;
  uint64_t dropped = 0;
  bool powered = true;
  // What has timers of its own ends before the agenda: views before things.
  Agenda agenda;
  things::Body whole;
  Peripherals peripherals;
  Traffic traffic;
  Persistence persistence;
};

}  // namespace rovk::unit
