// Image control, the pipeline around it, and the files that frames go to.
#include <rovk/constants.h>

#include <set>

#include "tests/unit/bench.h"

namespace rovk::unit {
namespace {

constexpr std::string_view image = "imgctrl_0006";
constexpr std::string_view files = "bulk_dump_000c";
constexpr std::string_view triangles = "triangle_overlay_002b";

class Imaging : public ::testing::Test, public Bench {
 protected:
  void expect_refused(const Received& received, int64_t offset) {
    EXPECT_EQ(received.error, ROVK_COMMON_ERROR_INVALID_PAYLOAD);
    EXPECT_EQ(received.detail.at(0), offset);
  }
  Received set(int64_t param, int64_t value) { return ask(image, "set_param", {{"param", param}, {"value", value}}); }
  int64_t value(int64_t param) { return ask(image, "get_param", {{"param", param}})["current_val"]; }
};

// All ids of the protocol's blocks are tried, and some around: 81 answer, and each keeps to its limits.
TEST_F(Imaging, EveryParameterKeepsToItsOwnLimits) {
  unsigned known = 0;
  std::set<int64_t> blocks;
  for (int64_t id = 0; id <= 0xffff; ++id) {
    if (id == 0x0a80) id = 0xef80;
    if (id == 0xf080) break;
    const Received param = ask(image, "get_param", {{"param", id}});
    if (param.error != 0) {
      expect_refused(param, 0);
      continue;
    }
    ++known;
    blocks.insert(id >> 8);
    EXPECT_EQ(param["echo_param"], id);
    EXPECT_EQ(param["current_val"], param["default_val"]) << id;
    EXPECT_LT(param["min_val"], param["max_val"]) << id;
    EXPECT_GE(param["default_val"], param["min_val"]) << id;
    EXPECT_LE(param["default_val"], param["max_val"]) << id;
    expect_refused(set(id, param["min_val"] - 1), 2);
    expect_refused(set(id, param["max_val"] + 1), 2);
    if (id == ZOOM_POSITION) continue;  // reads where the motor is
    for (const char* limit : {"max_val", "min_val"}) {
      EXPECT_EQ(set(id, param[limit]).error, 0) << id;
      EXPECT_EQ(value(id), param[limit]) << id;
    }
  }
  EXPECT_EQ(known, 81U);
  EXPECT_EQ(blocks, (std::set<int64_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 0xf0}));
  expect_refused(set(0x0fff, 0), 0);
  unit.reset_peripheral(address_of(image), 1);
  EXPECT_EQ(value(GENERAL_BRIGHTNESS), 50);
}

TEST_F(Imaging, ParametersMoveTheLens) {
  listen(image);
  ASSERT_EQ(set(ZOOM_POSITION, 1'300).error, 0);
  advance(250ms);
  EXPECT_EQ(value(ZOOM_POSITION), 800);
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
  const Values region = {{"startx", 100}, {"starty", 200}, {"stopx", 300}, {"stopy", 400}};
  ASSERT_EQ(ask(image, "set_focus_region", region).error, 0);
  const auto with = [&region](const char* field, int64_t value) {
    Values changed = region;
    changed[field] = value;
    return changed;
  };
  expect_refused(ask(image, "set_focus_region", with("stopx", 100)), 4);
  expect_refused(ask(image, "set_focus_region", with("stopy", 65'535)), 6);
  expect_refused(ask(image, "set_focus_region", with("starty", 400)), 6);
  const Received kept = ask(image, "get_focus_region");
  for (const auto& [field, value] : region) EXPECT_EQ(kept[field], value) << field;
  EXPECT_EQ(value(FOCUS_RGN_STOP_Y), 400);
  EXPECT_EQ(kept["qbits"], ask(image, "get_param", {{"param", FOCUS_RGN_STOP_Y}})["q_bits"]);
}

TEST_F(Imaging, StatisticsFollowTheLightAndTheExposure) {
  const auto average = [this] { return ask(image, "get_image_stats")["raw_pix_avg"]; };
  // The automatic exposure holds the picture while it can.
  const int64_t aim = value(EXP_AVG_TARGET);
  for (const int64_t light : {20'000, 320'000, 2'000'000}) {
    unit.set_input(Input::light, 0, light);
    EXPECT_NEAR(static_cast<double>(average()), static_cast<double>(aim), static_cast<double>(aim) / 5) << light;
  }
  unit.set_input(Input::light, 0, 0);
  const int64_t dark = average();
  EXPECT_LT(dark, 100);
  // By hand, more light is more signal, until the sensor is full.
  set(EXP_MODE, 1);
  set(EXP_MAX_EXPOSURE, 1'000);
  unit.set_input(Input::light, 0, 100'000);
  const int64_t some = average();
  unit.set_input(Input::light, 0, 200'000);
  EXPECT_NEAR(static_cast<double>(average() - dark), 2.0 * static_cast<double>(some - dark), 4.0);
  // Without its filter the sensor sees twice as much.
  unit.set_input(Input::light, 0, 100'000);
  set(EXP_DN_MODE, 2);
  EXPECT_NEAR(static_cast<double>(average() - dark), 2.0 * static_cast<double>(some - dark), 4.0);
  unit.set_input(Input::light, 0, 100'000'000);
  const Received full = ask("imaging_pipe_statistics_0024", "get_image_statistics");
  EXPECT_EQ(full["raw_pixel_average"], 4095);
  EXPECT_EQ(full["raw_pixel_maximum"], 4095);
}

TEST_F(Imaging, AWhiteSquareSetsTheGainsAgainstTheLight) {
  const Values place = {{"upper_left_x_decipercent", 400},
                        {"upper_left_y_decipercent", 400},
                        {"lower_right_x_decipercent", 500},
                        {"lower_right_y_decipercent", 500}};
  const auto square = [&place](int64_t which) {
    Values inputs = place;
    inputs["macbeth_square"] = which;
    return inputs;
  };
  set(GENERAL_ILLUMINANT, 2);  // tungsten: much red, little blue
  ASSERT_EQ(ask(image, "white_balance_macbeth_square", square(ROVK_IMGCTRL_0006_MACBETH_SQUARE_WHITE)).error, 0);
  EXPECT_EQ(value(WB_AUTO_MODE), 0);
  EXPECT_LT(value(WB_MANUAL_GAIN_RR), value(WB_MANUAL_GAIN_GG));
  EXPECT_GT(value(WB_MANUAL_GAIN_BB), value(WB_MANUAL_GAIN_GG));
  expect_refused(ask(image, "white_balance_macbeth_square", square(5)), 1);
  Values inputs = square(0);
  inputs["lower_right_y_decipercent"] = 400;
  expect_refused(ask(image, "white_balance_macbeth_square", inputs), 8);
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
  expect_refused(
      ask(triangles, "set_triangle_positioning_coordinates", {{"pan_millidegrees", 360'000}, {"zoom_deciX", 10}}), 6);
  expect_refused(ask(triangles, "set_triangle_field_of_view_coordinates", {{"point3_y_decipercent", 1'001}}), 14);
}

class BulkDump : public Imaging {
 protected:
  uint16_t error(std::string_view command, const Values& inputs = {}, std::string_view name = {}) {
    return ask(files, command, inputs, {}, name).error;
  }
};

TEST_F(BulkDump, FilesAreKnownByTheirNames) {
  const std::string longest(21, 'n');
  EXPECT_EQ(error("get_frame", {{"bayer", 1}}, "a.raw"), 0);
  EXPECT_EQ(error("get_frame", {{"bayer", 0}}, longest), 0);
  EXPECT_EQ(error("delete_file", {}, "a"), ROVK_BULK_DUMP_000C_ERROR_DELETE_FILE);
  EXPECT_EQ(error("delete_file", {}, longest + "n"), ROVK_BULK_DUMP_000C_ERROR_DELETE_FILE);
  EXPECT_EQ(error("delete_file", {}, longest), 0);
  EXPECT_EQ(error("delete_file", {}, std::string_view("a.raw\0junk", 10)), 0);
  EXPECT_EQ(error("delete_file", {}, "a.raw"), ROVK_BULK_DUMP_000C_ERROR_DELETE_FILE);
  expect_refused(ask(files, "get_frame", {}), 1);
  expect_refused(ask(files, "get_averaged_bayer_frame", {{"average_count", 0}}, {}, "x"), 0);
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
  const Time start = unit.clock().now();
  EXPECT_EQ(error("get_averaged_bayer_frame", {{"average_count", 30}}, "avg"), 0);
  EXPECT_EQ(unit.clock().now() - start, 990ms);
  send(files, "get_frame", {}, {}, "one");
  EXPECT_EQ(error("get_frame", {}, "two"), ROVK_BULK_DUMP_000C_ERROR_GET_FRAME);
  advance(1s);
  while (next()) {
  }
  set(GENERAL_MODE, 0);
  EXPECT_EQ(error("get_frame", {}, "two"), ROVK_BULK_DUMP_000C_ERROR_GET_FRAME);
  set(GENERAL_MODE, 1);
  EXPECT_EQ(error("get_frame", {}, "two"), 0);
}

TEST_F(BulkDump, TheServerNeedsItsPort) {
  EXPECT_EQ(get(files, "http_port"), 0);
  unit.set_input(Input::port_taken, 0, 1);
  EXPECT_EQ(error("http_enable", {{"enable", 1}}), ROVK_BULK_DUMP_000C_ERROR_HTTP_SERVER_START);
  EXPECT_EQ(get(files, "http_port"), 0);
  unit.set_input(Input::port_taken, 0, 0);
  EXPECT_EQ(error("http_enable", {{"enable", 1}}), 0);
  EXPECT_GT(get(files, "http_port"), 1023);
  // A server that runs holds the port itself.
  unit.set_input(Input::port_taken, 0, 1);
  EXPECT_EQ(error("http_enable", {{"enable", 1}}), 0);
  EXPECT_EQ(error("http_enable", {{"enable", 0}}), 0);
  EXPECT_EQ(get(files, "http_port"), 0);
}

}  // namespace
}  // namespace rovk::unit
