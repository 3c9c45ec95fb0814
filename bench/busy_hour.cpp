// An hour of a busy unit on a virtual clock, as fast as it goes: heater, fan and illuminator switched,
// temperatures, powers and an EEPROM read, the loops at work, all of it told by events. Prints what came
// and how long it took; ends with 1 when that was more than a second.
#include <rovk/constants.h>

#include <chrono>
#include <cstdio>
#include <string_view>

#include "catalogue/fields.h"
#include "unit/fittings.h"
#include "unit/unit.h"

namespace {

using namespace std::chrono_literals;
using rovk::unit::Time;

class BusyUnit {
 public:
  BusyUnit() : unit_({.virtual_clock = true}), application_(unit_.join()) {
    fitted_ = rovk::unit::fittings(unit_.description());
  }

  void run(std::string_view service, std::string_view command, int64_t device = 0, int64_t value = 0) {
    const auto* const row = rovk::catalogue::find_service(service);
    send(address_of(*row), *rovk::catalogue::find_command(*row, command), device, value);
  }
  void listen(std::string_view service) {
    const auto* const router = rovk::catalogue::find_service("router_0000");
    send(ROVK_ROUTER_PERIPHERAL_ADDRESS, *rovk::catalogue::find_command(*router, "register_event"),
         address_of(*rovk::catalogue::find_service(service)), 0);
  }
  void cool_air(int64_t millidegrees) { unit_.set_input(rovk::unit::Input::air_temperature, 0, millidegrees); }
  void wait(Time duration) {
    unit_.advance_to(unit_.clock().now() + duration);
    rovk_message message;
    while (unit_.take(application_, message)) {
      ++(message.route.type == ROVK_TYPE_EVENT ? events : answers);
    }
  }

  unsigned commands = 0, answers = 0, events = 0;

 private:
  uint16_t address_of(const rovk::catalogue::Service& service) const {
    for (const auto& fitting : fitted_) {
      if (fitting.service == &service) return fitting.address;
    }
    return 0;
  }
  // The first number goes into the record's first value, the second into its next.
  void send(uint16_t address, const rovk::catalogue::Command& command, int64_t first, int64_t second) {
    rovk_message message = {};
    auto* const bytes = reinterpret_cast<uint8_t*>(&message);
    rovk::catalogue::store(bytes + ROVK_OFFSET_APPLICATION, 2, application_);
    rovk::catalogue::store(bytes + ROVK_OFFSET_PERIPHERAL, 2, address);
    rovk::catalogue::store(bytes + ROVK_OFFSET_UUID, 4, ++commands);
    bytes[ROVK_OFFSET_TYPE] = ROVK_TYPE_COMMAND;
    bytes[ROVK_OFFSET_BODY] = command.opcode;
    int64_t values[] = {first, second};
    unsigned next = 0;
    if (command.request) {
      for (const auto& field : command.request->fields) {
        if (field.reserved || next == 2) continue;
        rovk::catalogue::store_number(bytes + ROVK_OFFSET_PAYLOAD, field, values[next++]);
      }
    }
    unit_.submit(application_, message);
  }

  rovk::unit::Unit unit_;
  uint16_t application_;
  std::vector<rovk::unit::Fitting> fitted_;
};

}  // namespace

int main() {
  const auto start = std::chrono::steady_clock::now();
  BusyUnit unit;
  for (const char* service : {"heater_000a", "power_pwm_0025", "fan_000b", "speed_pwm_0026", "ir_illuminator_0008",
                              "power_monitor_000f", "power_monitor_002e"}) {
    unit.listen(service);
  }
  unit.cool_air(-5'000);
  constexpr unsigned rounds = 4'250;
  for (unsigned round = 0; round < rounds; ++round) {
    const int64_t on = round % 2;
    unit.run("heater_000a", "set_state", 0, on);
    unit.run("ir_illuminator_0008", "set_state", 0, on);
    if (on) unit.run("fan_000b", "set_state", 0, round / 2 % 2);
    for (int64_t sensor = 0; sensor < 4; ++sensor) {
      unit.run("temperature_sensor_0009", "get_millidegree_celsius", sensor);
    }
    unit.run("power_monitor_002e", "get_power");
    unit.run("fan_000b", "get_feedback");
    unit.run("eeprom_partition_table_0013", "get_tag_info", 1, 0);
    unit.wait(Time(1h) / rounds);
  }
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  std::printf("an hour of a busy unit: %u commands, %u answers, %u events in %.3f s\n", unit.commands, unit.answers,
              unit.events, took.count());
  return took.count() > 1 ? 1 : 0;
}
