// Image control, the pipeline around it, and the files that frames go to.
#include <map>

#include "tests/unit/bench.h"
#include "unit/things/picture.h"

namespace rovk::unit {
namespace {

constexpr std::string_view image = "imgctrl_0006";
constexpr std::string_view files = "bulk_dump_000c";
constexpr std::string_view triangles = "triangle_overlay_002b";

class Imaging : public UnitTest {
 protected:
  Received set(int64_t param, int64_t value) { return ask(image, "set_param", {{"param", param}, {"value", value}}); }
  int64_t value(int64_t param) { return ask(image, "get_param", {{"param", param}})["current_val"]; }
};

// All ids of the protocol's blocks are tried, and some around: 81 answer, and each keeps to its limits.
TEST_F(Imaging, EveryParameterKeepsToItsOwnLimits) {
  std::map<int64_t, unsigned> blocks;
  for (int64_t id = 0; id <= 0xffff; ++id) {
    if (id == 0x0a80) id = 0xef80;
    if (id == 0xf080) break;
    const Received param = ask(image, "get_param", {{"param", id}});
    if (param.error != 0) {
      expect_refused(param, 0);
      continue;
    }
    ++blocks[id >> 8];
    EXPECT_EQ(param["echo_param"], id);
    EXPECT_EQ(param["current_val"], param["default_val"]) << id;
    EXPECT_GE(param["default_val"], param["min_val"]) << id;
    EXPECT_LE(param["default_val"], param["max_val"]) << id;
    expect_refused(set(id, param["min_val"] - 1), 2);
    expect_refused(set(id, param["max_val"] + 1), 2);
    for (const char* limit : {"max_val", "min_val"}) {
      EXPECT_EQ(set(id, param[limit]).error, 0) << id;
      advance(3s);  // to where it moves
      EXPECT_EQ(value(id), param[limit]) << id;
    }
    reset(address_of(image));  // some show one thing in two ways
    advance(1min);
    EXPECT_TRUE(id == ZOOM_POSITION || value(id) == param["default_val"]) << id;
  }
  EXPECT_EQ(blocks, (std::map<int64_t, unsigned>{
                        {1, 10}, {2, 16}, {3, 19}, {4, 10}, {5, 2}, {6, 4}, {7, 9}, {8, 1}, {9, 1}, {0xf0, 9}}));
  expect_refused(set(0x0fff, 0), 0);
}

TEST_F(Imaging, ParametersMoveTheLens) {
  listen(image);
  ASSERT_EQ(set(ZOOM_POSITION, 1'300).error, 0);
  advance(250ms);
  EXPECT_EQ(value(ZOOM_POSITION), 500);
  advance(1s);
  EXPECT_EQ(get("zoom_0021", "get_position"), 1'300);
  ASSERT_EQ(set(FOCUS_DAY_POSITION, 100).error, 0);
  advance(1s);
  EXPECT_TRUE(events().empty()) << "automatic focus keeps the place for later";
  ASSERT_EQ(set(FOCUS_MODE_AUTO, 0).error, 0);
  advance(1s);
  EXPECT_EQ(get("linear_actuator_0028", "get_position", {{"index", 0}}), 100);
  EXPECT_EQ(events().size(), 2U);
  ASSERT_EQ(set(EXP_DN_FILTER_SETTING, 1).error, 0);
  const std::vector<Received> started = events();
  ASSERT_EQ(started.size(), 1U);
  EXPECT_EQ(started[0].body, ROVK_IMGCTRL_0006_EVENT_DAY_NIGHT_MOVEMENT_CHANGE);
  EXPECT_EQ(started[0]["movement"], 1);
}

TEST_F(Imaging, TheFocusRegionIsSetWholeOrNotAtAll) {
  play(R"(imgctrl_0006 set_focus_region startx=100 starty=200 stopx=300 stopy=400;
          set_focus_region startx=100 starty=200 stopx=100 stopy=400 ! invalid_payload 4;
          set_focus_region startx=100 starty=200 stopx=300 stopy=65535 ! invalid_payload 6;
          set_focus_region startx=100 starty=400 stopx=300 stopy=400 ! invalid_payload 6;
          get_focus_region -> startx=100 starty=200 stopx=300 stopy=400;)");
  const Received kept = ask(image, "get_focus_region");
  EXPECT_EQ(value(FOCUS_RGN_STOP_Y), 400);
  EXPECT_EQ(kept["qbits"], ask(image, "get_param", {{"param", FOCUS_RGN_STOP_Y}})["q_bits"]);
}

// What a picture's numbers see, one step at a time: the factor by which the signal then differs.
TEST_F(Imaging, StatisticsFollowWhatTheSensorSees) {
  constexpr int64_t black = 64;
  const auto average = [this] { return ask(image, "get_image_stats")["raw_pix_avg"]; };
  // The automatic exposure holds the picture while it can, and takes its time to get there.
  const int64_t aim = value(EXP_AVG_TARGET) + black;
  for (const int64_t light : {20'000, 2'000'000, 320'000}) {
    unit.set_input(Input::light, 0, light);
    EXPECT_GT(std::abs(average() - aim), aim / 5) << light;
    advance(4s);
    EXPECT_NEAR(static_cast<double>(average()), static_cast<double>(aim), 10) << light;
  }
  const struct {
    const char* story;
    double factor;
  } steps[] = {
      {"imgctrl_0006 set_param param=768 value=1; exposure_001c set_manual_exposure_time "
       "exposure_time_microseconds=1000; set_manual_gain; input light 0 100000;",
       0},
      {"input light 0 200000;", 2},
      {"exposure_001c set_manual_exposure_time exposure_time_microseconds=2000;", 2},
      {"exposure_001c set_manual_gain gain_percentage=25; input light 0 100000;", 2},
      {"day_night_0011 set_state state=1; wait 1 s;", 2},  // no filter
      {"ir_illuminator_0008 set_pwm duty_cycle_percent=100 frequency_hz=1000; set_state state=1;", 1.4},
      {"ir_illuminator_0008 set_state state=0;", 1 / 1.4},
      {"iris_0010 set_position position=500; wait 1 s;", 0.25},
      {"exposure_001c set_frame_rate frame_rate_millihertz=60000;", 1},
      {"imgctrl_0006 set_param param=265 value=2;", 1},  // the balance follows
      {"imgctrl_0006 set_param param=512 value=0;", 3.09 / 3},
      {"white_balance_001b set_manual_green_gain_and_offset green=512;", 4.09 / 3.09},
      {"imgctrl_0006 set_param param=512 value=1;", 3 / 4.09},
      {"imgctrl_0006 set_param param=61440 value=0; imgctrl_0006 set_param param=265 value=0;", 3.3616 / 3},  // stands
  };
  double before = 0;
  for (const auto& step : steps) {
    play(step.story);
    const auto now = static_cast<double>(average() - black);
    if (step.factor > 0) {
      EXPECT_NEAR(now, before * step.factor, 3) << step.story;
    }
    before = now;
  }
  // Loops that stand leave the exposure where it is.
  play("exposure_001c set_manual_mode_enable; input light 0 50000; wait 10 s;");
  EXPECT_NEAR(static_cast<double>(average() - black), before / 2, 2);
  play("input light 0 100000000;");
  const Received full = ask("imaging_pipe_statistics_0024", "get_image_statistics");
  EXPECT_EQ(full["raw_pixel_average"], 4095);
  EXPECT_EQ(full["raw_pixel_maximum"], 4095);
  set(GENERAL_MODE, 0);
  EXPECT_EQ(average(), 0) << "asleep";
  EXPECT_EQ(ask("sensor_0023", "dump_raw_image").error, ROVK_COMMON_ERROR_INVALID_SEQUENCE);
}

TEST_F(Imaging, AWhiteSquareSetsTheGainsAgainstTheLight) {
  const std::string measure =
      "imgctrl_0006 white_balance_macbeth_square upper_left_x_decipercent=400 upper_left_y_decipercent=400 "
      "lower_right_x_decipercent=500 ";
  set(GENERAL_ILLUMINANT, 2);  // tungsten: much red, little blue
  play(measure +
       "lower_right_y_decipercent=500 macbeth_square=" + std::to_string(ROVK_IMGCTRL_0006_MACBETH_SQUARE_WHITE));
  EXPECT_EQ(value(WB_AUTO_MODE), 0);
  const std::string at = measure + "lower_right_y_decipercent=500 macbeth_square=";
  play(at + std::to_string(ROVK_IMGCTRL_0006_MACBETH_SQUARE_BLACK) + ";" + at +
       std::to_string(ROVK_IMGCTRL_0006_MACBETH_SQUARE_WHITE));
  EXPECT_LT(value(WB_MANUAL_OFFSET_R), 0) << "which the white square leaves alone";
  EXPECT_GT(value(WB_MANUAL_OFFSET_B), 0);
  play(at + std::to_string(ROVK_IMGCTRL_0006_MACBETH_SQUARE_WHITE_ONLY));
  EXPECT_EQ(value(WB_MANUAL_OFFSET_R) | value(WB_MANUAL_OFFSET_B), 0);
  EXPECT_LT(value(WB_MANUAL_GAIN_RR), value(WB_MANUAL_GAIN_GG));
  EXPECT_GT(value(WB_MANUAL_GAIN_BB), value(WB_MANUAL_GAIN_GG));
  play(measure + "lower_right_y_decipercent=500 macbeth_square=5 ! invalid_payload 1;");
  play(measure + "lower_right_y_decipercent=400 ! invalid_payload 8;");
}

TEST_F(Imaging, SensorsDifferInSize) {
  const Received optical = ask("sensor_0023", "get_dimensions", {{"index", 0}});
  const Received thermal = ask("sensor_0023", "get_dimensions", {{"index", 1}});
  EXPECT_GT(optical["width"], thermal["width"]);
  EXPECT_EQ(optical["height"], ask(image, "get_sensor_dimensions")["height"]);
  const Received frame = ask("sensor_0023", "dump_raw_image", {{"index", 1}});
  EXPECT_EQ(frame["size"], 2 * thermal["height"] * thermal["width"]);
  EXPECT_NE(frame["dram_address"], ask("sensor_0023", "dump_raw_image", {{"index", 0}})["dram_address"]);
}

TEST_F(Imaging, TrianglesAreApart) {
  const int64_t count = get(triangles, "get_triangle_count");
  for (int64_t i = 0; i < count; ++i) {
    ASSERT_EQ(ask(triangles, "set_triangle_color", {{"triangle_index", i}, {"red", i}, {"alpha", 9}}).error, 0);
    ASSERT_EQ(ask(triangles, "set_triangle_enable", {{"triangle_index", i}, {"enable", i % 2}}).error, 0);
  }
  for (int64_t i = 0; i < count; ++i) {
    EXPECT_EQ(ask(triangles, "get_triangle_color", {{"triangle_index", i}})["red"], i);
    EXPECT_EQ(get(triangles, "get_triangle_enable", {{"triangle_index", i}}), i % 2);
  }
  expect_refused(ask(triangles, "get_triangle_color", {{"triangle_index", count}}), 2);
  play(R"(triangle_overlay_002b set_triangle_positioning_coordinates pan_millidegrees=360000 zoom_deciX=10
            ! invalid_payload 6;
          set_triangle_field_of_view_coordinates point3_y_decipercent=1001 ! invalid_payload 14;)");
}

// What whoever renders a picture gets to know; a triangle sticks to the scene while the head turns.
TEST_F(Imaging, APictureKnowsWhatItDependsOn) {
  play(R"(imaging_001a set_vertical_flip_enable enable=1; input light 0 1000; day_night_0011 set_state state=1;
          triangle_overlay_002b set_triangle_enable triangle_index=3 enable=1;
          set_triangle_positioning_coordinates triangle_index=3 pan_millidegrees=30000 zoom_deciX=10;
          positioning_002a set_position pan_millidegrees=15000 pan_millidegrees_per_second=50000
            tilt_millidegrees_per_second=50 zoom_deciX=20 zoom_deciX_per_second=100; lens_focus_001f do_auto_focus;
          wait 10 s;)");
  const things::Picture seen = things::picture_of(unit.body(), 0);
  EXPECT_TRUE(seen.awake && seen.flip_vertical && !seen.flip_horizontal && !seen.day && !seen.thermal);
  EXPECT_EQ(seen.pan_degrees, 15);
  EXPECT_NEAR(seen.angle_of_view_degrees, 32.2, 0.1);
  EXPECT_EQ(seen.blur_steps, 0);
  EXPECT_GT(seen.gain, 1) << "dark";
  EXPECT_NEAR(seen.signal, 1'800, 20);
  ASSERT_EQ(seen.triangles.size(), 1U);
  // 15 degrees to the right, and twice as large by almost twice the magnification.
  EXPECT_NEAR(seen.triangles[0].corners[0], 0.5 + 15 / seen.angle_of_view_degrees, 0.01);
  EXPECT_NEAR(seen.triangles[0].corners[3] - 0.5, 0.1 * 60 / seen.angle_of_view_degrees, 0.01);
  EXPECT_TRUE(things::picture_of(unit.body(), 1).thermal);
}

class BulkDump : public Imaging {
 protected:
  uint16_t error(std::string_view command, const Values& inputs = {}, std::string_view name = {}) {
    return ask(files, command, inputs, {}, name).error;
  }
};

TEST_F(BulkDump, FilesAreKnownByTheirNames) {
  const std::string longest(21, 'n');
  play("bulk_dump_000c get_frame bayer=1 'a.raw'; get_frame '" + longest + "'; delete_file 'a' ! delete_file;" +
       "delete_file '" + longest + "n' ! delete_file; delete_file '" + longest + "';");
  EXPECT_EQ(error("delete_file", {}, std::string_view("a.raw\0junk", 10)), 0);
  play(R"(bulk_dump_000c delete_file 'a.raw' ! delete_file; get_frame ! invalid_payload 1;
          get_averaged_bayer_frame 'x' ! invalid_payload 0;)");
}

TEST_F(BulkDump, TheStoreIsFiniteAndAFileReplacesItsNamesake) {
  unsigned kept = 0;
  while (kept < 100 && error("get_frame", {{"bayer", 1}}, std::to_string(kept)) == 0) ++kept;
  EXPECT_GT(kept, 0U);
  EXPECT_LT(kept, 100U);
  EXPECT_EQ(error("get_frame", {{"bayer", 1}}, "more"), ROVK_BULK_DUMP_000C_ERROR_WRITE_FRAME);
  EXPECT_EQ(error("get_frame", {{"bayer", 1}}, "0"), 0);
  EXPECT_EQ(error("delete_all_files"), 0);
  EXPECT_EQ(error("get_frame", {{"bayer", 1}}, "more"), 0);
}

TEST_F(BulkDump, FramesTakeTheirTimeAndTheImager) {
  play(R"(bulk_dump_000c get_averaged_bayer_frame average_count=30 'avg'; at 990 ms;
          get_frame 'one'; get_frame bayer=1 '../x' ! invalid_payload 1;)");
  const auto* const files_kept = unit.body().find<things::FileStore>();
  EXPECT_EQ(files_kept->names(), (std::vector<std::string>{"avg", "one"}));
  EXPECT_EQ(files_kept->read("avg")->size(), 2U * 1920 * 1080);
  const std::filesystem::path folder = files_kept->folder();
  EXPECT_TRUE(std::filesystem::exists(folder));
  // A file lasts through a reset; what breaks off before its end was never there.
  play("send bulk_dump_000c get_frame 'three'; reset bulk_dump_000c;");
  events();
  EXPECT_EQ(files_kept->names().size(), 2U);
  set(GENERAL_MODE, 0);
  EXPECT_EQ(error("get_frame", {}, "two"), ROVK_BULK_DUMP_000C_ERROR_GET_FRAME);
  set(GENERAL_MODE, 1);
  EXPECT_EQ(error("get_frame", {}, "two"), 0);
}

TEST_F(BulkDump, TheServerNeedsItsPort) {
  play(R"(bulk_dump_000c http_port -> 0; input port_taken 0 1; http_enable enable=1 ! http_server_start; http_port -> 0;
          input port_taken 0 0; http_enable enable=1;)");
  EXPECT_GT(get(files, "http_port"), 1023);
  // A server that runs holds the port itself.
  play("input port_taken 0 1; bulk_dump_000c http_enable enable=1; http_enable enable=0; http_port -> 0;");
}

}  // namespace
}  // namespace rovk::unit
