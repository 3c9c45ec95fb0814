// Calibrations and measurements of the lens, which take as long as their motors move. What they find
// follows from the lens and its temperature: too warm or too cold and a result lies out of range.
//
// A run first looks for the home flag: it fails with failed_find_home when the sensor is off or the
// motor is stuck away from it. From there it moves: failed_motor_move when the motor is stuck. What it
// found is saved last: failed_save_cal_data when the calibration partition cannot be written.
#include <rovk/constants.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "catalogue/fields.h"
#include "unit/services/calibration_data.h"
#include "unit/services/eeproms.h"
#include "unit/services/lens_parts.h"
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

// Hundredths of a millimetre.
constexpr int64_t nominal_focal_length = 4300;
constexpr int64_t focal_length_per_degree = 6;
constexpr int64_t focal_length_tolerance = 150;

// Steps of the focus motor.
constexpr int64_t z_cal_low = 900;
constexpr int64_t z_cal_high = 1100;

constexpr Time color_run_time = 800ms;

// A motor loses a step or two when it turns round, and one more for this many steps on the way.
constexpr int64_t steps_for_one_lost = 500;
constexpr int64_t lost_at_turn = 1;

int64_t lost_steps(int64_t steps) { return steps == 0 ? 0 : lost_at_turn + steps / steps_for_one_lost; }

class Calibration : public View {
 public:
  explicit Calibration(const Setup& setup) : View(setup, {}) {
    queue("run_color_calibration", [this](Call& call) {
      call.take(color_run_time, [this](Call& ended) {
        const uint16_t done[] = {1};
        save(ended, CalibrationTag::color, done);
      });
    });
    on("run_effective_focal_length_calibration", [this](Call& call) { run_focal_length(call); });
    on("run_z_calibration", [this](Call& call) { run_z(call); });
    on("run_focus_range_home_measurement", [this](Call& call) {
      measure(call, lens_of(host()).focus(), {"steps_far", "home_delta_far"}, {"steps_near", "home_delta_near"});
    });
    on("run_zoom_range_home_measurement", [this](Call& call) {
      measure(call, lens_of(host()).zoom(), {"steps_wide", "home_delta_wide"}, {"steps_tele", "home_delta_tele"});
    });
  }

 private:
  // One way from home: how far, and what the measurement tells of it.
  struct Way {
    const char* steps;
    const char* delta;
  };

  void check_motor(const Call& call, const LensMotor& motor) {
    if (motor.moving()) call.refuse("busy");
    if (!motor.home_sensor() || (motor.blocked() && motor.position() != motor.build().home)) {
      call.refuse("failed_find_home");
    }
    if (motor.blocked()) call.refuse("failed_motor_move");
  }

  void save(const Call& call, CalibrationTag tag, std::span<const uint16_t> numbers) {
    if (!save_calibration(host(), call.application(), tag, numbers)) call.refuse("failed_save_cal_data");
  }

  void run_focal_length(Call& call) {
    Lens& lens = lens_of(host());
    LensMotor& motor = lens.zoom();
    check_motor(call, motor);
    const int64_t found = nominal_focal_length + focal_length_per_degree * lens.warming();
    const int64_t low = nominal_focal_length - focal_length_tolerance;
    const int64_t high = nominal_focal_length + focal_length_tolerance;
    if (found < low || found > high) {
      motor.move(motor.build().home);
      call.refuse("efl_out_of_range", {std::clamp<int64_t>(found, 0, UINT16_MAX), low, high});
    }
    const uint16_t numbers[] = {static_cast<uint16_t>(found)};
    save(call, CalibrationTag::focal_length, numbers);
    call.take(motor.travel({motor.build().home, motor.build().high, motor.build().home}, LensMotor::highest_speed));
  }

  void run_z(Call& call) {
    Lens& lens = lens_of(host());
    LensMotor& motor = lens.focus();
    check_motor(call, motor);
    const int64_t found = lens.best_focus();
    if (found < z_cal_low || found > z_cal_high) {
      motor.move(motor.build().home);
      call.refuse("z_cal_out_of_range", {found, z_cal_low, z_cal_high});
    }
    const uint16_t numbers[] = {static_cast<uint16_t>(found), static_cast<uint16_t>(motor.build().home),
                                static_cast<uint16_t>(motor.build().high)};
    save(call, CalibrationTag::z, numbers);
    call.set("z_cal_position", found);
    call.set("focus_pos_at_flag", motor.build().home);
    call.set("focus_range", motor.build().high);
    call.take(motor.travel({motor.build().home, motor.build().high, found}, LensMotor::highest_speed));
  }

  // Goes from home to both sides and back, and tells by how many steps home then lies off: below when
  // it comes from below, above when it comes from above.
  void measure(Call& call, LensMotor& motor, const Way& down, const Way& up) {
    const int64_t home = motor.build().home;
    const int64_t steps_down = call.within(down.steps, 0, home);
    const int64_t steps_up = call.within(up.steps, 0, motor.build().high - home);
    check_motor(call, motor);
    call.set(down.delta, -lost_steps(steps_down));
    call.set(up.delta, lost_steps(steps_up));
    call.take(motor.travel({home, home - steps_down, home, home + steps_up, home}, LensMotor::highest_speed));
  }
};

using things::EepromError;
using things::EepromMemory;

// The board and the partition that calibrations are kept in. Throws EepromError.
things::Eeprom& calibration_eeprom(Host& host) {
  things::Eeprom* const eeprom = find_eeprom(host.body(), ROVK_GPI_LOCATION_IMAGER_BOARD);
  if (!eeprom) throw EepromError{"partition_access"};
  return *eeprom;
}

unsigned calibration_partition(const EepromMemory& memory) {
  const auto found = memory.find_partition(ROVK_EPT_PARTITION_TYPE_ICAL);
  if (!found) throw EepromError{"partition_access"};
  return *found;
}

}  // namespace

bool save_calibration(Host& host, uint16_t application, CalibrationTag tag, std::span<const uint16_t> numbers) {
  std::vector<uint8_t> bytes;
  for (const uint16_t number : numbers) {
    bytes.push_back(static_cast<uint8_t>(number));
    bytes.push_back(static_cast<uint8_t>(number >> 8));
  }
  const auto id = static_cast<uint16_t>(tag);
  try {
    things::Eeprom& eeprom = calibration_eeprom(host);
    EepromMemory& memory = eeprom.memory();
    const unsigned index = calibration_partition(memory);
    if (eeprom.locked_for(index, application)) return false;
    const things::PartitionRow row = memory.partition(index);
    if (!memory.has_tag(row, id)) memory.append_tag(row, id, static_cast<uint16_t>(bytes.size()));
    memory.write_tag(row, id, 0, bytes);
    return true;
  } catch (const EepromError&) {
    return false;
  }
}

std::optional<uint16_t> load_calibration(Host& host, CalibrationTag tag) {
  try {
    EepromMemory& memory = calibration_eeprom(host).memory();
    const things::PartitionRow row = memory.partition(calibration_partition(memory));
    const std::span<const uint8_t> bytes = memory.read_tag(row, static_cast<uint16_t>(tag), 0, 2);
    return static_cast<uint16_t>(catalogue::load(bytes.data(), 2));
  } catch (const EepromError&) {
    return std::nullopt;
  }
}

std::unique_ptr<View> make_calibration_0015(const Setup& setup) { return std::make_unique<Calibration>(setup); }

}  // namespace rovk::unit
