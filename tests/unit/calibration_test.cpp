// Calibrations: what they find, how long they take, and each way to fail.
#include <rovk/constants.h>

#include "tests/unit/bench.h"

namespace rovk::unit {
namespace {

constexpr std::string_view calibration = "calibration_0015";
constexpr std::string_view table = "eeprom_partition_table_0013";
constexpr std::string_view actuator = "linear_actuator_000d";
constexpr int64_t ical = 2;  // its index on the imager board

#define ERROR_OF(name) ROVK_CALIBRATION_0015_ERROR_##name

class CalibrationTest : public ::testing::Test, public Bench {
 protected:
  uint16_t error(std::string_view command, const Values& inputs = {}) {
    return ask(calibration, command, inputs).error;
  }
  static int64_t detail(const Received& received, unsigned offset) {
    return received.detail.at(offset) | received.detail.at(offset + 1) << 8;
  }
  uint16_t imager_board() { return address_of(table, 1); }
};

TEST_F(CalibrationTest, TheZCalibrationIsWhatTheBackFocusGoesTo) {
  EXPECT_EQ(ask("auto_back_focus_0020", "move_calibrated_home").error, ROVK_AUTO_BACK_FOCUS_0020_ERROR_NOT_CALIBRATED);
  const Received found = ask(calibration, "run_z_calibration");
  ASSERT_EQ(found.error, 0);
  EXPECT_GT(unit.clock().now(), 100ms);
  EXPECT_EQ(found["focus_pos_at_flag"], get(actuator, "get_home_position", {{"index", 0}}));
  EXPECT_EQ(found["focus_range"], ask(actuator, "get_position", {{"index", 0}})["max_position"]);
  // It survives the power-on state of everybody who has a part in it.
  for (const std::string_view service : {std::string_view("auto_back_focus_0020"), calibration, table}) {
    unit.reset_peripheral(address_of(service), 1);
  }
  ask(actuator, "set_position", {{"index", 0}, {"position", 0}});
  ASSERT_EQ(ask("auto_back_focus_0020", "move_calibrated_home").error, 0);
  EXPECT_EQ(get(actuator, "get_position", {{"index", 0}}), found["z_cal_position"]);
  // A damaged tag is no calibration, and the next run heals it.
  const int64_t data = ask(table, "get_tag_info", {{"tag_id", 3}, {"partition_index", ical}}, imager_board())["offset"];
  ask(table, "write", {{"partition_index", ical}, {"offset", data}, {"size", 1}}, imager_board());
  EXPECT_EQ(ask("auto_back_focus_0020", "move_calibrated_home").error, ROVK_AUTO_BACK_FOCUS_0020_ERROR_NOT_CALIBRATED);
  EXPECT_EQ(error("run_z_calibration"), 0);
  EXPECT_EQ(ask("auto_back_focus_0020", "move_calibrated_home").error, 0);
}

TEST_F(CalibrationTest, ResultsOutOfRangeCarryTheValueAndTheLimits) {
  unit.set_input(Input::temperature, 1, 70'000);
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
      {"run_focus_range_home_measurement", 0},
      {"run_effective_focal_length_calibration", 1},
      {"run_zoom_range_home_measurement", 1},
  };
  for (const auto& run : runs) {
    ask(actuator, "move_home", {{"index", run.motor}});
    advance(3s);
    unit.set_input(Input::motor_blocked, run.motor, 1);
    EXPECT_EQ(error(run.command), ERROR_OF(FAILED_MOTOR_MOVE)) << run.command;
    unit.set_input(Input::motor_blocked, run.motor, 0);
    ask(actuator, "move_steps", {{"index", run.motor}, {"steps", 50}, {"block", 1}});
    unit.set_input(Input::motor_blocked, run.motor, 1);
    EXPECT_EQ(error(run.command), ERROR_OF(FAILED_FIND_HOME)) << run.command;
    unit.set_input(Input::motor_blocked, run.motor, 0);
    ask(actuator, "set_home_sensor_enable", {{"index", run.motor}, {"enable", 0}});
    EXPECT_EQ(error(run.command), ERROR_OF(FAILED_FIND_HOME)) << run.command;
    ask(actuator, "set_home_sensor_enable", {{"index", run.motor}, {"enable", 1}});
    EXPECT_EQ(error(run.command), 0) << run.command;
    advance(3s);
  }
}

TEST_F(CalibrationTest, DataThatCannotBeSavedFailsTheRun) {
  const uint16_t owner = unit.join();
  const uint16_t runner = application;
  const char* const runs[] = {"run_color_calibration", "run_effective_focal_length_calibration", "run_z_calibration"};
  application = owner;
  ask(table, "lock", {{"partition_index", ical}, {"timeout_ms", 10'000}}, imager_board());
  application = runner;
  for (const char* run : runs) EXPECT_EQ(error(run), ERROR_OF(FAILED_SAVE_CAL_DATA)) << run;
  application = owner;
  for (const char* run : runs) EXPECT_EQ(error(run), 0) << run;
  ask(table, "unlock", {{"partition_index", ical}}, imager_board());
  ask(table, "write", {{"partition_index", ical}, {"offset", 2}, {"size", 1}}, imager_board());
  for (const char* run : runs) EXPECT_EQ(error(run), ERROR_OF(FAILED_SAVE_CAL_DATA)) << run;
  ask(table, "format_partition", {{"partition_index", ical}}, imager_board());
  for (const char* run : runs) EXPECT_EQ(error(run), 0) << run;
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
  const Received beyond = ask(calibration, "run_zoom_range_home_measurement", {{"steps_wide", 301}});
  EXPECT_EQ(beyond.error, ROVK_COMMON_ERROR_INVALID_PAYLOAD);
  // A motor that is on its way for somebody else is not to be had.
  ask(actuator, "set_speed", {{"index", 0}, {"speed", 10}});
  ask(actuator, "set_position", {{"index", 0}, {"position", 1000}});
  EXPECT_EQ(error("run_z_calibration"), ROVK_COMMON_ERROR_BUSY);
}

}  // namespace
}  // namespace rovk::unit
