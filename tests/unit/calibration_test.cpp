// Calibrations: what they find, how long they take, and each way to fail.
#include "tests/unit/bench.h"

namespace rovk::unit {
namespace {

constexpr std::string_view calibration = "calibration_0015";
constexpr std::string_view table = "eeprom_partition_table_0013";
constexpr std::string_view actuator = "linear_actuator_000d";

#define ERROR_OF(name) ROVK_CALIBRATION_0015_ERROR_##name

class CalibrationTest : public UnitTest {
 protected:
  uint16_t error(std::string_view command, const Values& inputs = {}) {
    return ask(calibration, command, inputs).error;
  }
  static int64_t detail(const Received& received, unsigned offset) {
    return received.detail.at(offset) | received.detail.at(offset + 1) << 8;
  }
  // What the runs that save their results come to, all of them alike.
  void expect_saved(uint16_t expected) {
    for (const char* run : {"run_color_calibration", "run_effective_focal_length_calibration", "run_z_calibration"}) {
      EXPECT_EQ(error(run), expected) << run;
    }
  }
};

TEST_F(CalibrationTest, TheZCalibrationIsWhatTheBackFocusGoesTo) {
  play("auto_back_focus_0020 move_calibrated_home ! not_calibrated;");
  const Received found = ask(calibration, "run_z_calibration");
  ASSERT_EQ(found.error, 0);
  EXPECT_GT(unit.clock().now(), 100ms);
  EXPECT_EQ(found["focus_pos_at_flag"], get(actuator, "get_home_position", {{"index", 0}}));
  EXPECT_EQ(found["focus_range"], ask(actuator, "get_position", {{"index", 0}})["max_position"]);
  // It survives the power-on state of everybody who has a part in it.
  play(R"(reset auto_back_focus_0020; reset calibration_0015; reset eeprom_partition_table_0013;
          linear_actuator_000d set_position; auto_back_focus_0020 move_calibrated_home;)");
  EXPECT_EQ(get(actuator, "get_position", {{"index", 0}}), found["z_cal_position"]);
  // A damaged tag is no calibration, and the next run heals it.
  const Values tag = {{"tag_id", 3}, {"partition_index", 2}};
  const int64_t data = ask(table, "get_tag_info", tag, address_of(table, 1))["offset"];
  play("eeprom_partition_table_0013/1 write partition_index=2 size=1 offset=" + std::to_string(data) +
       "; auto_back_focus_0020 move_calibrated_home ! not_calibrated; calibration_0015 run_z_calibration;" +
       "auto_back_focus_0020 move_calibrated_home;");
}

TEST_F(CalibrationTest, ResultsOutOfRangeCarryTheValueAndTheLimits) {
  const struct {
    const char* command;
    uint16_t error;
  } runs[] = {
      {"run_z_calibration", ERROR_OF(Z_CAL_OUT_OF_RANGE)},
      {"run_effective_focal_length_calibration", ERROR_OF(EFL_OUT_OF_RANGE)},
  };
  for (const int64_t temperature : {75'000, -10'000}) {
    unit.set_input(Input::temperature, 1, temperature);
    for (const auto& run : runs) {
      const Received refused = ask(calibration, run.command);
      ASSERT_EQ(refused.error, run.error) << run.command;
      const int64_t value = detail(refused, 0);
      const int64_t low = detail(refused, 2);
      const int64_t high = detail(refused, 4);
      EXPECT_LT(low, high);
      EXPECT_TRUE(temperature > 0 ? value > high : value < low) << run.command << " " << value;
      advance(2s);
    }
  }
  unit.set_input(Input::temperature, 1, 40'000);
  for (const auto& run : runs) EXPECT_EQ(error(run.command), 0) << run.command;
}

TEST_F(CalibrationTest, AStuckMotorFailsByWhereItIsStuck) {
  const struct {
    const char* command;
    unsigned motor;
  } runs[] = {
      {"run_z_calibration", 0},
      {"run_focus_range_home_measurement steps_near=9", 0},
      {"run_effective_focal_length_calibration", 1},
      {"run_zoom_range_home_measurement steps_tele=9", 1},
  };
  for (const auto& run : runs) {
    const std::string index = std::to_string(run.motor);
    const std::string motor = " index=" + index + " ";
    const std::string block = "input motor_blocked " + index + " 1;";
    const std::string release = "input motor_blocked " + index + " 0; common@linear_actuator_000d clear_fault;";
    const std::string calibrate = std::string("calibration_0015 ") + run.command;
    play("linear_actuator_000d move_home" + motor + "; wait 3 s;" + block + calibrate + " ! failed_motor_move;" +
         release);
    play("linear_actuator_000d move_steps steps=50 block=1" + motor + ";" + block + calibrate + " ! failed_find_home;");
    play(release + "linear_actuator_000d set_home_sensor_enable enable=0" + motor + ";" + calibrate +
         " ! failed_find_home; linear_actuator_000d set_home_sensor_enable enable=1" + motor + ";");
    play(calibrate + "; wait 3 s;");
  }
}

TEST_F(CalibrationTest, DataThatCannotBeSavedFailsTheRun) {
  const uint16_t owner = unit.join();
  const uint16_t runner = application;
  application = owner;
  play("eeprom_partition_table_0013/1 lock partition_index=2 timeout_ms=10000;");
  application = runner;
  expect_saved(ERROR_OF(FAILED_SAVE_CAL_DATA));
  application = owner;
  expect_saved(0);
  play("eeprom_partition_table_0013/1 unlock partition_index=2; write partition_index=2 offset=2 size=1;");
  expect_saved(ERROR_OF(FAILED_SAVE_CAL_DATA));
  play("eeprom_partition_table_0013/1 format_partition partition_index=2;");
  expect_saved(0);
}

TEST_F(CalibrationTest, RangesAreMeasuredFromHomeToBothSides) {
  const Received near = ask(calibration, "run_focus_range_home_measurement", {{"steps_near", 1500}});
  ASSERT_EQ(near.error, 0);
  EXPECT_GT(near["home_delta_near"], 0);
  EXPECT_EQ(near["home_delta_far"], 0);
  const Time both_ways = unit.clock().now();
  const Received wide = ask(calibration, "run_zoom_range_home_measurement", {{"steps_wide", 300}, {"steps_tele", 10}});
  ASSERT_EQ(wide.error, 0);
  EXPECT_LT(wide["home_delta_wide"], 0);
  EXPECT_LT(unit.clock().now() - both_ways, both_ways);  // the shorter way takes less
  // A motor that is on its way for somebody else is not to be had.
  play(R"(calibration_0015 run_zoom_range_home_measurement steps_wide=301 ! invalid_payload 0;
          run_zoom_range_home_measurement steps_tele=2701 ! invalid_payload 2;
          linear_actuator_000d set_speed speed=10; set_position position=1000;
          calibration_0015 run_z_calibration ! busy;)");
}

}  // namespace
}  // namespace rovk::unit
