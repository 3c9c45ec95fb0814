// Lens motors on the virtual clock: where they are on the way, when their events come, and how the
// services that show the same lens agree.
#include <rovk/constants.h>

#include "tests/unit/bench.h"

namespace rovk::unit {
namespace {

constexpr std::string_view first = "linear_actuator_000d";
constexpr std::string_view second = "linear_actuator_0028";
constexpr std::string_view focus = "lens_focus_001f";
constexpr std::string_view day_night = "day_night_001d";
constexpr std::string_view image = "imgctrl_0006";

constexpr int64_t focus_motor = 0;
constexpr int64_t zoom_motor = 1;

class LensTest : public ::testing::Test, public Bench {
 protected:
  int64_t position(int64_t motor = focus_motor) {
    const int64_t place = ask(first, "get_position", {{"index", motor}})["position"];
    EXPECT_EQ(ask(second, "get_position", {{"index", motor}})["position"], place) << "generations disagree";
    return place;
  }
  Time now() { return unit.clock().now(); }
  void expect_refused(const Received& received, int64_t offset) {
    EXPECT_EQ(received.error, ROVK_COMMON_ERROR_INVALID_PAYLOAD);
    ASSERT_FALSE(received.detail.empty());
    EXPECT_EQ(received.detail[0], offset);
  }
  // Movement values of a service's events in order, one digit each.
  std::string movements(std::string_view service) {
    std::string all;
    for (const Received& event : events()) {
      if (event.peripheral == address_of(service)) all += std::to_string(event["movement"]);
    }
    return all;
  }
};

TEST_F(LensTest, AMotorIsOnItsWayForAsLongAsItsSpeedSays) {
  ASSERT_EQ(ask(first, "set_speed", {{"index", 0}, {"speed", 100}}).error, 0);
  ASSERT_EQ(ask(first, "set_position", {{"index", 0}, {"position", 500}}).error, 0);
  EXPECT_EQ(now(), 0s);  // answered at once
  EXPECT_EQ(position(), 400);
  advance(250ms);
  EXPECT_EQ(position(), 425);
  // A new target starts from where the motor is.
  ASSERT_EQ(ask(second, "set_position", {{"index", 0}, {"position", 405}, {"speed", 10}}).error, 0);
  advance(1s);
  EXPECT_EQ(position(), 415);
  advance(10s);
  EXPECT_EQ(position(), 405);
  EXPECT_EQ(ask(first, "get_speed", {{"index", 0}})["speed"], 10);
}

TEST_F(LensTest, StepsWithBlockAnswerWhenTheMovementHasEnded) {
  ask(first, "set_speed", {{"index", 1}, {"speed", 200}});
  ASSERT_EQ(ask(first, "move_steps", {{"index", 1}, {"steps", 100}, {"block", 1}}).error, 0);
  EXPECT_EQ(now(), 500ms);
  EXPECT_EQ(position(zoom_motor), 400);
  ASSERT_EQ(ask(first, "move_steps", {{"index", 1}, {"steps", -400}}).error, 0);
  EXPECT_EQ(now(), 500ms);
  advance(3s);
  EXPECT_EQ(position(zoom_motor), 0);
  EXPECT_EQ(get("zoom_0021", "get_position", {{"index", 0}}), 0);
  EXPECT_EQ(position(focus_motor), 400) << "the other motor has moved";
}

TEST_F(LensTest, PlacesAndSpeedsBeyondTheLimitsAreRefused) {
  const Received place = ask(second, "get_position", {{"index", 0}});
  const Received speed = ask(second, "get_speed_limits", {{"index", 0}});
  const int64_t high = place["max"];
  expect_refused(ask(first, "move_steps", {{"index", 0}, {"steps", -401}}), 2);
  expect_refused(ask(first, "set_position", {{"index", 0}, {"position", high + 1}}), 2);
  expect_refused(ask(first, "set_speed", {{"index", 0}, {"speed", speed["max"] + 1}}), 2);
  expect_refused(ask(second, "set_position", {{"index", 0}, {"position", high}, {"speed", speed["min"] - 1}}), 6);
  expect_refused(ask("zoom_0021", "set_position", {{"position", 3001}}), 2);
  expect_refused(ask("iris_0010", "set_position", {{"index", 1}, {"position", 1001}}), 2);
  expect_refused(ask(focus, "set_auto_focus_region",
                     {{"start_x_percent", 60}, {"stop_x_percent", 60}, {"start_y_percent", 1}, {"stop_y_percent", 60}}),
                 3);
  EXPECT_EQ(position(), 400) << "a refused command has moved the motor";
}

TEST_F(LensTest, HomeIsWhereTheSensorSays) {
  EXPECT_EQ(get(first, "get_home_sense", {{"index", 0}}), 1);
  ask(first, "move_steps", {{"index", 0}, {"steps", 1}, {"block", 1}});
  EXPECT_EQ(get(first, "get_home_sense", {{"index", 0}}), 0);
  ask(first, "set_home_sensor_enable", {{"index", 0}, {"enable", 0}});
  EXPECT_EQ(ask(first, "move_home", {{"index", 0}}).error, ROVK_COMMON_ERROR_INVALID_SEQUENCE);
  ask(first, "set_home_sensor_enable", {{"index", 0}, {"enable", 1}});
  EXPECT_EQ(ask(first, "move_home", {{"index", 0}}).error, 0);
  advance(1s);
  EXPECT_EQ(position(), get(first, "get_home_position", {{"index", 0}}));
  EXPECT_EQ(get(first, "get_home_sense", {{"index", 0}}), 1);
}

TEST_F(LensTest, AMotorThatIsBlockedStopsWhereItStands) {
  listen(focus);
  ask(first, "set_speed", {{"index", 0}, {"speed", 100}});
  ask(first, "set_position", {{"index", 0}, {"position", 600}});
  advance(1s);
  unit.set_input(Input::motor_blocked, 0, 1);
  advance(10s);
  EXPECT_EQ(position(), 500);
  EXPECT_EQ(movements(focus), "10");
  ask(first, "set_position", {{"index", 0}, {"position", 0}});
  advance(10s);
  EXPECT_EQ(position(), 500);
  EXPECT_EQ(movements(focus), "");
  ask(first, "move_steps", {{"index", 1}, {"steps", 7}, {"block", 1}});
  EXPECT_EQ(position(zoom_motor), 307) << "the zoom is not blocked";
}

TEST_F(LensTest, AutoFocusFindsTheSharpPlaceAndTellsOfOneMovement) {
  listen(focus);
  listen(image);
  const Received before = ask("imaging_pipe_statistics_0024", "get_image_statistics");
  ASSERT_EQ(ask(focus, "do_auto_focus", {{"index", 0}}).error, 0);
  advance(5s);
  const std::vector<Received> told = events();
  ASSERT_EQ(told.size(), 4U);  // a start and a stop from each of the two services
  for (unsigned i = 0; i < 4; ++i) EXPECT_EQ(told[i]["movement"], i < 2 ? 1 : 0);
  const int64_t sharp = position();
  const Received after = ask("imaging_pipe_statistics_0024", "get_image_statistics");
  EXPECT_GT(after["focus_metric_high"], before["focus_metric_high"]);
  EXPECT_GT(after["focus_metric_low"], before["focus_metric_low"]);
  for (const int64_t off : {sharp - 15, sharp + 15}) {
    ask(second, "set_position", {{"index", 0}, {"position", off}, {"speed", 4000}});
    advance(1s);
    const Received beside = ask(image, "get_image_stats");
    EXPECT_LT(beside["focus_metric_h"], after["focus_metric_high"]);
    EXPECT_LT(after["focus_metric_low"] - beside["focus_metric_l"],
              after["focus_metric_high"] - beside["focus_metric_h"]);
  }
  // The thermal lens has a motor of its own, of which image control knows nothing.
  events();
  ask(focus, "do_auto_focus", {{"index", 1}});
  advance(5s);
  EXPECT_EQ(movements(image), "");
  EXPECT_EQ(position(), sharp + 15);
}

TEST_F(LensTest, ANewTargetOnTheWayIsTheSameMovement) {
  listen(focus);
  ask(image, "trigger_focus");
  advance(10ms);
  ask(image, "move_to_zcal");
  ask(second, "set_position", {{"index", 0}, {"position", 0}, {"speed", 1000}});
  advance(5s);
  EXPECT_EQ(movements(focus), "10");
}

TEST_F(LensTest, ManualFocusFollowsTheFilter) {
  ask(focus, "set_manual_focus_day_position", {{"index", 0}, {"position", 700}});
  ask(focus, "set_manual_focus_night_position", {{"index", 0}, {"position", 900}});
  advance(5s);
  EXPECT_EQ(position(), 400) << "automatic focus does not go to the manual place";
  ask(focus, "set_manual_mode_enable", {{"index", 0}, {"enable", 1}});
  advance(5s);
  EXPECT_EQ(position(), 700);
  listen(day_night);
  listen(image);
  ask(image, "set_param", {{"param", EXP_DN_MODE}, {"value", 2}});
  advance(400ms);
  EXPECT_EQ(movements(day_night), "1");
  listen(focus);
  advance(5s);
  EXPECT_EQ(position(), 900);
  for (const Received& event : events()) {
    if (event.peripheral == address_of(focus)) {
      EXPECT_EQ(event["index"], 0) << "the thermal lens has no filter";
    }
  }
}

TEST_F(LensTest, WarmthRefocusesWhenItIsAskedFor) {
  ask(focus, "do_auto_focus", {{"index", 0}});
  advance(5s);
  const int64_t cool = position();
  unit.set_input(Input::temperature, 1, 60'000);
  advance(5s);
  EXPECT_EQ(position(), cool);
  ask(focus, "set_auto_temperature_refocus_enable", {{"index", 0}, {"enable", 1}});
  unit.set_input(Input::temperature, 1, 61'000);
  advance(5s);
  EXPECT_GT(position(), cool);
  const int64_t warm = position();
  unit.set_input(Input::temperature, 1, 63'000);  // too little to go again
  advance(5s);
  EXPECT_EQ(position(), warm);
}

TEST_F(LensTest, NightFallsAfterTheDetectTime) {
  listen(day_night);
  ask(day_night, "set_auto_mode_detect_time", {{"time_seconds", 3}});
  unit.set_input(Input::light, 0, 9'999);
  advance(2900ms);
  unit.set_input(Input::light, 0, 200'000);  // a passing shadow
  unit.set_input(Input::light, 0, 9'999);
  advance(2900ms);
  EXPECT_EQ(movements(day_night), "");
  advance(200ms);
  EXPECT_EQ(movements(day_night), "1");
  advance(1s);
  EXPECT_EQ(movements(day_night), "0");
  unit.set_input(Input::light, 0, 29'000);  // more than fell, not enough for day
  advance(1min);
  EXPECT_EQ(movements(day_night), "");
  ask(day_night, "set_auto_day_to_night_transition_level",
      {{"value", ROVK_DAY_NIGHT_001D_AUTO_MODE_TRANSITION_LEVEL_DARKER}});
  advance(1min);
  EXPECT_EQ(movements(day_night), "10") << "a darker threshold makes this day";
  // By hand the light has no say.
  ask(day_night, "set_manual_mode_enable", {{"enable", 1}});
  unit.set_input(Input::light, 0, 0);
  advance(1min);
  EXPECT_EQ(movements(day_night), "");
  ask(day_night, "set_manual_filter_position_day", {{"day", 0}});
  advance(1min);
  EXPECT_EQ(movements(day_night), "10");
}

TEST_F(LensTest, TheIrisMovesBetweenItsEnds) {
  for (const auto& [command, end] : {std::pair{"closed_position", "min_position"}, {"open_position", "max_position"}}) {
    ASSERT_EQ(ask("iris_0010", command, {{"index", 1}}).error, 0);
    advance(100ms);
    const Received on_the_way = ask("iris_0010", "get_position", {{"index", 1}});
    EXPECT_GT(on_the_way["position"], on_the_way["min_position"]);
    EXPECT_LT(on_the_way["position"], on_the_way["max_position"]);
    advance(1s);
    const Received there = ask("iris_0010", "get_position", {{"index", 1}});
    EXPECT_EQ(there["position"], there[end]);
  }
  EXPECT_EQ(get("iris_0010", "get_position", {{"index", 0}}), 1000) << "the other iris has moved";
}

}  // namespace
}  // namespace rovk::unit
