// The head: places and speeds on the way, limits of both kinds, and the events of its three axes.
#include "tests/unit/bench.h"

namespace rovk::unit {
namespace {

constexpr std::string_view head = "positioning_002a";

class PositioningTest : public UnitTest {
 protected:
  Received go(int64_t pan, int64_t tilt, int64_t zoom, const Values& other = {}) {
    Values inputs = {{"pan_millidegrees", pan},
                     {"tilt_millidegrees", tilt},
                     {"zoom_deciX", zoom},
                     {"pan_millidegrees_per_second", 10'000},
                     {"tilt_millidegrees_per_second", 10'000},
                     {"zoom_deciX_per_second", 10}};
    for (const auto& [name, value] : other) inputs[name] = value;
    return ask(head, "set_position", inputs);
  }
  Received run(int64_t pan, int64_t tilt, int64_t zoom) {
    return ask(head, "set_velocity",
               {{"pan_millidegrees_per_second", pan},
                {"tilt_millidegrees_per_second", tilt},
                {"zoom_deciX_per_second", zoom}});
  }
  void expect_at(int64_t pan, int64_t tilt, int64_t zoom) {
    const Received place = ask(head, "get_position");
    EXPECT_EQ(place.values, (Values{{"pan_millidegrees", pan}, {"tilt_millidegrees", tilt}, {"zoom_deciX", zoom}}));
  }
  Received soft(const std::string& axis, int64_t low, int64_t high, int64_t slow, int64_t fast) {
    return ask(head, "set_soft_" + axis + "_limits",
               {{"min_position_millidegrees", low},
                {"max_position_millidegrees", high},
                {"min_velocity_millidegrees_per_second", slow},
                {"max_velocity_millidegrees_per_second", fast}});
  }
  // Lets a movement that was taken run for a while.
  void after(const Received& started, Time duration) {
    EXPECT_EQ(started.error, 0);
    advance(duration);
  }
  // Which axes each event says are moving, as in "pt" for pan and tilt, and "." for none.
  std::string movements() {
    std::string all;
    for (const Received& event : events()) {
      std::string axes;
      for (const char* axis : {"pan", "tilt", "zoom"}) {
        if (event[std::string(axis) + "_movement"] != 0) axes += axis[0];
      }
      all += axes.empty() ? "." : axes;
      all += ' ';
    }
    return all;
  }
};

TEST_F(PositioningTest, EachAxisArrivesInItsOwnTimeAndSaysSo) {
  listen(head);
  after(go(30'000, -20'000, 20), 500ms);  // 3 s, 2 s, 1 s
  expect_at(5'000, -5'000, 15);
  const Received speed = ask(head, "get_velocity");
  EXPECT_EQ(speed.values, (Values{{"pan_millidegrees_per_second", 10'000},
                                  {"tilt_millidegrees_per_second", -10'000},
                                  {"zoom_deciX_per_second", 10}}));
  EXPECT_EQ(movements(), "ptz ");
  for (const auto& [duration, axes] : {std::pair{500ms, "pt "}, {1000ms, "p "}, {1000ms, ". "}}) {
    advance(duration);
    EXPECT_EQ(movements(), axes);
  }
  expect_at(30'000, -20'000, 20);
  EXPECT_EQ(ask(head, "get_velocity")["pan_millidegrees_per_second"], 0);
  ASSERT_EQ(go(30'000, -20'000, 20).error, 0);
  after(go(40'000, -10'000, 20), 2s);
  EXPECT_EQ(movements(), "pt . ") << "axes that stop together make one event";
}

TEST_F(PositioningTest, ARunGoesOnToTheLimitAndStopsThere) {
  listen(head);
  after(run(0, 10'000, -1), 1s);  // zoom is at its end already
  expect_at(0, 10'000, 10);
  after(run(0, -20'000, 0), 1s);
  expect_at(0, -10'000, 10);
  advance(3s);
  EXPECT_EQ(movements(), "t ") << "turning round is no stop";
  advance(1s);
  EXPECT_EQ(movements(), ". ");
  expect_at(0, -90'000, 10);
  after(run(1'000, 0, 0), 1s);
  after(run(0, 0, 0), 1s);
  expect_at(1'000, -90'000, 10);
  EXPECT_EQ(movements(), "p . ");
}

TEST_F(PositioningTest, InputsBeyondTheLimitsNameTheFieldAndMoveNothing) {
  expect_refused(go(360'000, 0, 10), 2);
  expect_refused(go(1'000, 20'001, 10), 6);
  expect_refused(go(1'000, 0, 10, {{"pan_millidegrees_per_second", 120'001}}), 10);
  expect_refused(go(1'000, 0, 10, {{"tilt_millidegrees_per_second", 0}}), 14);
  expect_refused(go(1'000, 0, 301), 18);
  expect_refused(go(1'000, 0, 10, {{"zoom_deciX_per_second", 101}}), 20);
  expect_refused(run(120'001, 0, 0), 2);
  expect_refused(run(1'000, -49, 0), 6);
  expect_refused(run(1'000, 0, -101), 10);
  advance(5s);
  expect_at(0, 0, 10);
  // The thermal head zooms less.
  EXPECT_EQ(go(0, 0, 40, {{"index", 1}}).error, 0);
  expect_refused(go(0, 0, 41, {{"index", 1}}), 18);
  EXPECT_EQ(go(0, 0, 0, {{"index", 2}}).error, ROVK_COMMON_ERROR_INVALID_PAYLOAD);
}

TEST_F(PositioningTest, SoftLimitsHoldUntilTheyAreCleared) {
  const Received hard = ask(head, "get_implementation_tilt_limits");
  const int64_t gap = hard["min_position_separation_millidegrees"];
  Received set = ask(head, "get_soft_tilt_limits");
  EXPECT_EQ(set["valid"], 0);
  EXPECT_EQ(set["min_position_millidegrees"], hard["min_position_millidegrees"]);
  expect_refused(soft("tilt", -90'001, 0, 100, 200), 2);
  expect_refused(soft("tilt", 0, 20'001, 100, 200), 6);
  expect_refused(soft("tilt", -10'000, -10'000 + gap - 1, 100, 200), 6);
  expect_refused(soft("tilt", -10'000, 0, 49, 200), 10);
  expect_refused(soft("tilt", -10'000, 0, 100, 99), 14);
  EXPECT_EQ(ask(head, "get_soft_tilt_limits")["valid"], 0);
  ASSERT_EQ(soft("tilt", -10'000, -10'000 + gap, 100, 10'000).error, 0);
  set = ask(head, "get_soft_tilt_limits");
  EXPECT_EQ(set["valid"], 1);
  EXPECT_EQ(set["max_position_millidegrees"], -10'000 + gap);
  EXPECT_EQ(set["max_velocity_millidegrees_per_second"], 10'000);
  expect_refused(go(0, -10'001, 10), 6);
  expect_refused(go(0, -9'000, 10, {{"tilt_millidegrees_per_second", 10'001}}), 14);
  // From outside, a run outwards does not come back, and one inwards ends at the far limit.
  after(run(0, 1'000, 0), 5s);
  expect_at(0, 0, 10);
  after(run(0, -10'000, 0), 5s);
  expect_at(0, -10'000, 10);
  ASSERT_EQ(ask(head, "clear_soft_limits", {{"clear_pan_soft_limits", 1}, {"clear_zoom_soft_limits", 1}}).error, 0);
  EXPECT_EQ(ask(head, "get_soft_tilt_limits")["valid"], 1);
  ASSERT_EQ(ask(head, "clear_soft_limits", {{"clear_tilt_soft_limits", 1}}).error, 0);
  EXPECT_EQ(ask(head, "get_soft_tilt_limits")["valid"], 0);
  after(go(0, -90'000, 10, {{"tilt_millidegrees_per_second", 60'000}}), 5s);
  ASSERT_EQ(soft("tilt", -10'000, -10'000 + gap, 100, 10'000).error, 0);
  after(run(0, -1'000, 0), 5s);
  expect_at(0, -90'000, 10);
}

TEST_F(PositioningTest, NewSoftLimitsEndAMovementUnderWay) {
  after(go(100'000, 0, 10), 1s);
  after(soft("pan", 0, 50'000, 50, 5'000), 1s);  // nor does it go on faster than they allow
  expect_at(15'000, 0, 10);
  after(soft("pan", 0, 50'000, 50, 120'000), 1s);
  expect_at(20'000, 0, 10);
  advance(10s);
  expect_at(50'000, 0, 10);
  after(run(-10'000, 0, 0), 1s);
  after(soft("pan", 45'000, 60'000, 50, 120'000), 10s);  // passed already
  expect_at(40'000, 0, 10);
}

TEST_F(PositioningTest, TheAngleOfViewNarrowsWithTheZoom) {
  const Received wide = ask(head, "get_angle_of_view");
  const int64_t widest = wide["min_magnification_angle_of_view_millidegrees"];
  EXPECT_EQ(wide["current_magnification_angle_of_view_millidegrees"], widest);
  EXPECT_EQ(widest, 60'000);
  after(go(0, 0, 20, {{"zoom_deciX_per_second", 100}}), 1s);
  const Received twice = ask(head, "get_angle_of_view");
  EXPECT_EQ(twice["current_magnification_angle_of_view_millidegrees"], 32'204);  // 2 atan(tan(30 deg) / 2)
  EXPECT_LT(twice["max_magnification_angle_of_view_millidegrees"], 3'000);
}

TEST_F(PositioningTest, AHeadTurnedOverTiltsTheOtherWay) {
  after(go(0, -30'000, 10), 5s);
  ASSERT_EQ(soft("tilt", -40'000, 0, 100, 60'000).error, 0);
  ASSERT_EQ(ask(head, "set_mounted_pointing_up", {{"mounted_pointing_up", 1}}).error, 0);
  expect_at(0, 30'000, 10);
  EXPECT_EQ(ask(head, "get_soft_tilt_limits")["valid"], 0);
  EXPECT_EQ(go(0, 90'000, 10).error, 0);
  expect_refused(go(0, -30'000, 10), 6);
  EXPECT_EQ(get(head, "get_mounted_pointing_up"), 1);
}

}  // namespace
}  // namespace rovk::unit
