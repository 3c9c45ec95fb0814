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
#include "unit/services/views.h"
#include "unit/things/lens.h"

namespace rovk::unit {
namespace {

using things::Lens;
using things::LensMotor;

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

class Calibration final : public View {
 public:
  explicit Calibration(const Setup& setup) : View(setup, {}), lenses_(all_things<Lens>()) {
    queue("run_color_calibration", [this](Call& call) {
      call.take(color_run_time, [this](Call& ended) { save(ended, CalibrationTag::color, {1}); });
    });
    queue("run_effective_focal_length_calibration", [this](Call& call) { run_focal_length(call); });
    queue("run_z_calibration", [this](Call& call) { run_z(call); });
    queue("run_focus_range_home_measurement", [this](Call& call) {
      measure(call, lens(call).focus(), {"steps_far", "home_delta_far"}, {"steps_near", "home_delta_near"});
    });
    queue("run_zoom_range_home_measurement", [this](Call& call) {
      measure(call, lens(call).zoom(), {"steps_wide", "home_delta_wide"}, {"steps_tele", "home_delta_tele"});
    });
  }

  void reset() override {
    View::reset();
    for (Lens* lens : lenses_) {
      lens->focus().stop();
      lens->zoom().stop();
    }
  }
  // A run takes both motors.
  bool self_test(bool disruptive) override {
    return !disruptive || std::none_of(lenses_.begin(), lenses_.end(),
                                       [](Lens* lens) { return lens->focus().blocked() || lens->zoom().blocked(); });
  }

 private:
  // One way from home: how far, and what the measurement tells of it.
  struct Way {
    const char* steps;
    const char* delta;
  };

  Lens& lens(const Call& call) const { return *lenses_[device(call)]; }

  // Looks for home, goes on to the stops from there, and comes to `last`.
  void run(Call& call, LensMotor& motor, std::initializer_list<int64_t> stops, std::function<void(Call&)> last) {
    if (motor.moving()) call.refuse("busy");
    if (!motor.home_sensor()) call.refuse("failed_find_home");
    const Ticket ticket = call.wait();
    motor.travel({motor.build().home}, motor.build().highest_speed,
                 [ticket, &motor, way = std::vector<int64_t>(stops), last = std::move(last)](LensMotor::End end) {
                   if (end != LensMotor::End::arrived) return fail(ticket, end, "failed_find_home");
                   next(ticket, motor, way, 0, last);
                 });
  }

  static void next(const Ticket& ticket, LensMotor& motor, const std::vector<int64_t>& way, std::size_t stop,
                   const std::function<void(Call&)>& last) {
    if (stop == way.size()) return ticket.end(last);
    motor.travel({way[stop]}, motor.build().highest_speed, [=, &motor](LensMotor::End end) {
      if (end != LensMotor::End::arrived) return fail(ticket, end, "failed_motor_move");
      next(ticket, motor, way, stop + 1, last);
    });
  }

  // Held on the way, or taken over by another command.
  static void fail(const Ticket& ticket, LensMotor::End end, const char* error) {
    ticket.end([=](Call& call) { call.refuse(end == LensMotor::End::blocked ? error : "busy"); });
  }

  void save(const Call& call, CalibrationTag tag, std::initializer_list<int64_t> numbers) {
    std::vector<uint16_t> kept;
    for (const int64_t number : numbers) kept.push_back(static_cast<uint16_t>(number));
    if (!save_calibration(*this, device(call), call.application(), tag, kept)) call.refuse("failed_save_cal_data");
  }

  void run_focal_length(Call& call) {
    LensMotor& motor = lens(call).zoom();
    run(call, motor, {motor.build().high, motor.build().home}, [this](Call& ended) {
      const int64_t found = nominal_focal_length + focal_length_per_degree * lens(ended).warming();
      const int64_t low = nominal_focal_length - focal_length_tolerance;
      const int64_t high = nominal_focal_length + focal_length_tolerance;
      if (found < low || found > high) {
        ended.refuse("efl_out_of_range", {std::clamp<int64_t>(found, 0, UINT16_MAX), low, high});
      }
      save(ended, CalibrationTag::focal_length, {found});
    });
  }

  // With the filter in place, or without one as if it were.
  void run_z(Call& call) {
    LensMotor& motor = lens(call).focus();
    run(call, motor, {motor.build().high, lens(call).sharp_at(true)}, [this](Call& ended) {
      const LensMotor& moved = lens(ended).focus();
      const int64_t found = moved.position();
      if (found < z_cal_low || found > z_cal_high) ended.refuse("z_cal_out_of_range", {found, z_cal_low, z_cal_high});
      save(ended, CalibrationTag::z, {found, moved.build().home, moved.build().high});
      ended.set("z_cal_position", found);
      ended.set("focus_pos_at_flag", moved.build().home);
      ended.set("focus_range", moved.build().high);
    });
  }

  // Goes from home to both sides and back, and tells by how many steps home then lies off: below when
  // it comes from below, above when it comes from above.
  void measure(Call& call, LensMotor& motor, const Way& down, const Way& up) {
    const int64_t home = motor.build().home;
    const int64_t steps_down = call.within(down.steps, 0, home);
    const int64_t steps_up = call.within(up.steps, 0, motor.build().high - home);
    run(call, motor, {home - steps_down, home, home + steps_up, home}, [=](Call& ended) {
      ended.set(down.delta, -lost_steps(steps_down));
      ended.set(up.delta, lost_steps(steps_up));
    });
  }

  std::vector<Lens*> lenses_;
};

using things::EepromError;
using things::EepromMemory;

// The memory of the view's board. Throws EepromError.
things::Eeprom& calibration_eeprom(const View& view) {
  things::Eeprom* const eeprom = find_eeprom(view.setup().host.body(), view.setup().location);
  if (!eeprom) throw EepromError{"partition_access"};
  return *eeprom;
}

unsigned calibration_partition(const EepromMemory& memory) {
  const auto found = memory.find_partition(ROVK_EPT_PARTITION_TYPE_ICAL);
  if (!found) throw EepromError{"partition_access"};
  return *found;
}

// Lenses that share a board have tags of their own.
uint16_t tag_of(CalibrationTag tag, unsigned device) {
  constexpr unsigned tags_of_a_device = 16;
  return static_cast<uint16_t>(static_cast<unsigned>(tag) + tags_of_a_device * device);
}

}  // namespace

bool save_calibration(const View& view, unsigned device, uint16_t application, CalibrationTag tag,
                      std::span<const uint16_t> numbers) {
  std::vector<uint8_t> bytes;
  for (const uint16_t number : numbers) {
    bytes.push_back(static_cast<uint8_t>(number));
    bytes.push_back(static_cast<uint8_t>(number >> 8));
  }
  const uint16_t id = tag_of(tag, device);
  try {
    things::Eeprom& eeprom = calibration_eeprom(view);
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

std::optional<uint16_t> load_calibration(const View& view, unsigned device, CalibrationTag tag) {
  try {
    EepromMemory& memory = calibration_eeprom(view).memory();
    const things::PartitionRow row = memory.partition(calibration_partition(memory));
    const std::span<const uint8_t> bytes = memory.read_tag(row, tag_of(tag, device), 0, 2);
    return static_cast<uint16_t>(catalogue::load(bytes.data(), 2));
  } catch (const EepromError&) {
    return std::nullopt;
  }
}

std::unique_ptr<View> make_calibration_0015(const Setup& setup) { return std::make_unique<Calibration>(setup); }

}  // namespace rovk::unit
