// Lens motors on the virtual clock: where they are on the way, when their events come, and how the
// services that show the same lens agree.
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

class LensTest : public UnitTest {
 protected:
  int64_t position(int64_t motor = focus_motor) {
    const int64_t place = ask(first, "get_position", {{"index", motor}})["position"];
    EXPECT_EQ(ask(second, "get_position", {{"index", motor}})["position"], place) << "generations disagree";
    return place;
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
  // Answered at once; a new target starts from where the motor is.
  play(R"(linear_actuator_000d set_speed speed=100; set_position position=500; at 0 s; get_position -> position=400;
          wait 250 ms; get_position -> position=425; linear_actuator_0028 get_position -> position=425;
          set_position position=405 speed=10; wait 1 s; get_position -> position=415;
          wait 10 s; get_position -> position=405; linear_actuator_000d get_speed -> speed=10;)");
}

TEST_F(LensTest, StepsWithBlockAnswerWhenTheMovementHasEnded) {
  play(R"(linear_actuator_000d set_speed index=1 speed=200; move_steps index=1 steps=100 block=1; at 500 ms;
          get_position index=1 -> position=100; move_steps index=1 steps=-100; at 500 ms; wait 3 s;
          get_position index=1 -> position=0; zoom_0021 get_position -> 0;)");
  EXPECT_EQ(position(focus_motor), 400) << "the other motor has moved";
}

TEST_F(LensTest, PlacesAndSpeedsBeyondTheLimitsAreRefused) {
  const Received speed = ask(second, "get_speed_limits", {{"index", 0}});
  const int64_t high = ask(second, "get_position", {{"index", 0}})["max"];
  play(R"(linear_actuator_000d move_steps steps=-401 ! invalid_payload 2; zoom_0021 set_position position=2901
          ! invalid_payload 2; iris_0010 set_position index=1 position=1001 ! invalid_payload 2;
          lens_focus_001f set_auto_focus_region start_x_percent=60 stop_x_percent=60 start_y_percent=1
          stop_y_percent=60 ! invalid_payload 3;)");
  expect_refused(ask(first, "set_position", {{"index", 0}, {"position", high + 1}}), 2);
  expect_refused(ask(first, "set_speed", {{"index", 0}, {"speed", speed["max"] + 1}}), 2);
  expect_refused(ask(second, "set_position", {{"index", 0}, {"position", high}, {"speed", speed["min"] - 1}}), 6);
  EXPECT_EQ(position(), 400) << "a refused command has moved the motor";
  play("linear_actuator_000d move_steps steps=1601 ! invalid_payload 2; move_steps steps=1600 block=1;");
  EXPECT_EQ(position(), high);
}

TEST_F(LensTest, HomeIsWhereTheSensorSays) {
  play(R"(linear_actuator_000d get_home_sense -> 1; move_steps steps=1 block=1; get_home_sense -> 0;
          set_home_sensor_enable enable=0; move_home ! invalid_sequence; set_home_sensor_enable enable=1;
          move_home; wait 1 s; get_home_sense -> 1;)");
  EXPECT_EQ(position(), get(first, "get_home_position", {{"index", 0}}));
}

TEST_F(LensTest, AMotorThatIsHeldOnItsWayIsAFaultUntilItIsClear) {
  play(R"(listen lens_focus_001f; listen linear_actuator_000d; linear_actuator_000d set_speed speed=100;
          send move_steps steps=200 block=1; wait 1 s; input motor_blocked 0 1;)");
  const auto ended = next();  // events are kept in their order with it
  ASSERT_TRUE(ended);
  std::string seen;
  for (auto told = ended; told; told = next()) {
    if (told->type == ROVK_TYPE_RESPONSE) seen += "answer" + std::to_string(told->error) + " ";
    if (told->type == ROVK_TYPE_EVENT && told->body == ROVK_COMMON_EVENT_SPONTANEOUS_ERROR) seen += "error ";
    if (told->type == ROVK_TYPE_EVENT && told->body > ROVK_COMMON_EVENT_SPONTANEOUS_ERROR) {
      seen += "moves" + std::to_string((*told)["movement"]) + " ";
    }
  }
  EXPECT_EQ(seen, "moves1 error error answer2 moves0 ") << "one error from each who drives the motor";
  for (const char* service :
       {"linear_actuator_000d", "linear_actuator_0028", "lens_focus_001f", "auto_back_focus_0020"}) {
    const std::string here = std::string("common@") + service;
    play(here + " get_fault -> 1; " + here + " clear_fault; " + here + " get_fault -> 1; " + here +
         " self_test ! self_test_failed;");
  }
  play(R"(linear_actuator_000d get_position ! fault_exists 1; imgctrl_0006 trigger_focus;
          calibration_0015 run_z_calibration ! failed_find_home; zoom_0021 set_position position=7; wait 1 s;
          get_position -> 7; input motor_blocked 0 0; common@linear_actuator_000d clear_fault;
          common@linear_actuator_0028 clear_fault; linear_actuator_000d get_position -> position=500;
          move_steps steps=1 block=1;)");
  play("linear_actuator_0028 set_position index=1 position=107 speed=100; input motor_blocked 2 1; wait 10 s;");
  EXPECT_EQ(position(zoom_motor), 107) << "another motor is blocked";
}

TEST_F(LensTest, AutoFocusFindsTheSharpPlaceAndTellsOfOneMovement) {
  listen(focus);
  listen(image);
  const Received before = ask("imaging_pipe_statistics_0024", "get_image_statistics");
  play("lens_focus_001f do_auto_focus; wait 5 s;");
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
  play("lens_focus_001f do_auto_focus index=1; wait 5 s;");
  EXPECT_EQ(movements(image), "");
  EXPECT_EQ(position(), sharp + 15);
}

TEST_F(LensTest, ANewTargetOnTheWayIsTheSameMovement) {
  play(R"(listen lens_focus_001f; imgctrl_0006 trigger_focus; wait 10 ms; send move_to_zcal;
          linear_actuator_0028 set_position speed=1000; wait 5 s;)");
  EXPECT_EQ(movements(focus), "10");
}

TEST_F(LensTest, ManualFocusFollowsTheFilter) {
  play(R"(lens_focus_001f set_manual_focus_day_position position=700; set_manual_focus_night_position position=900;
          wait 5 s; linear_actuator_000d get_position -> position=400;
          lens_focus_001f set_manual_mode_enable enable=1; wait 5 s; linear_actuator_000d get_position -> position=700;
          listen day_night_001d; listen imgctrl_0006;)");
  ask(image, "set_param", {{"param", EXP_DN_MODE}, {"value", 2}});
  advance(400ms);
  EXPECT_EQ(movements(day_night), "1");
  play("listen lens_focus_001f; wait 5 s; linear_actuator_000d get_position -> position=900;");
  for (const Received& event : events()) {
    if (event.peripheral == address_of(focus)) {
      EXPECT_EQ(event["index"], 0) << "the thermal lens has no filter";
    }
  }
}

TEST_F(LensTest, WarmthRefocusesWhenItIsAskedFor) {
  play("lens_focus_001f do_auto_focus; wait 5 s;");
  const int64_t cool = position();
  play("input temperature 1 60000; wait 5 s;");
  EXPECT_EQ(position(), cool);
  play("lens_focus_001f set_auto_temperature_refocus_enable enable=1; input temperature 1 61000; wait 5 s;");
  const int64_t warm = position();
  EXPECT_GT(warm, cool);
  play("input temperature 1 63000; wait 5 s;");  // too little to go again
  EXPECT_EQ(position(), warm);
}

TEST_F(LensTest, NightFallsAfterTheDetectTime) {
  const struct {
    std::string story;
    const char* movements;
  } rows[] = {
      // A passing shadow, then one that stays.
      {"day_night_001d set_auto_mode_detect_time time_seconds=3; input light 0 9999; wait 2900 ms;"
       "input light 0 200000; input light 0 9999; wait 2900 ms;",
       ""},
      {"wait 200 ms;", "1"},
      {"wait 1 s;", "0"},
      {"input light 0 29000; wait 60 s;", ""},  // more than fell, not enough for day but at a darker threshold
      {"set_auto_day_to_night_transition_level value=" +
           std::to_string(ROVK_DAY_NIGHT_001D_AUTO_MODE_TRANSITION_LEVEL_DARKER) + "; wait 60 s;",
       "10"},
      // By hand the light has no say.
      {"set_manual_mode_enable enable=1; input light 0 0; wait 60 s;", ""},
      {"set_manual_filter_position_day day=0; wait 60 s;", "10"},
  };
  listen(day_night);
  for (const auto& row : rows) {
    play(row.story);
    EXPECT_EQ(movements(day_night), row.movements) << row.story;
  }
}

TEST_F(LensTest, TheIrisMovesBetweenItsEnds) {
  for (const auto& [command, end] : {std::pair{"closed_position", 0}, {"open_position", 1000}}) {
    play("iris_0010 " + std::string(command) + " index=1; wait 100 ms; get_position index=1 -> min_position=0" +
         " max_position=1000 position=" + std::to_string(end == 0 ? 800 : 200) +
         "; wait 1 s; get_position index=1 -> position=" + std::to_string(end) + ";");
  }
  EXPECT_EQ(get("iris_0010", "get_position", {{"index", 0}}), 1000) << "the other iris has moved";
}

}  // namespace
}  // namespace rovk::unit
