// Messages byte by byte, written by hand from the protocol: the records whose order, widths, signs or
// reserved bytes are easiest to get wrong. What is derived from the catalogue cannot see its mistakes.
#include <gtest/gtest.h>

#include <functional>
#include <tuple>
#include <type_traits>
#include <vector>

#include "tests/message/bytes.h"

namespace rovk::test {
namespace {

struct Built {
  const char* what;
  std::function<int32_t(rovk_message*)> build;
  // The whole message without the zeros at its end.
  const char* bytes;
};

// A command to peripheral 0x0102 from application 0x0a0b, the 0x030405th transaction, opcode 32.
const rovk_message answered = message_of("0b 0a 02 01 05 04 03 20 01 20 07 07 07");

constexpr uint8_t counted[22] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22};

template <typename... Parameters, typename... Arguments>
auto message(int32_t (*build)(rovk_message*, uint16_t, Parameters...), uint16_t address, Arguments... arguments) {
  return [=](rovk_message* built) { return build(built, address, static_cast<Parameters>(arguments)...); };
}

template <typename... Parameters, typename... Arguments>
auto answer(int32_t (*build)(rovk_message*, const rovk_message*, Parameters...), Arguments... arguments) {
  return [=](rovk_message* built) { return build(built, &answered, static_cast<Parameters>(arguments)...); };
}

void expect_built(const std::vector<Built>& table) {
  for (const Built& row : table) {
    SCOPED_TRACE(row.what);
    rovk_message built = garbage();
    EXPECT_EQ(row.build(&built), 0);
    EXPECT_EQ(hex(&built, 0), row.bytes);
  }
}

template <typename... Values>
void expect_read(const char* bytes, int32_t (*read)(const rovk_message*, Values*...),
                 std::type_identity_t<Values>... expected) {
  SCOPED_TRACE(bytes);
  const rovk_message message = message_of(bytes);
  std::tuple<Values...> values;
  EXPECT_EQ(std::apply([&](Values&... value) { return read(&message, &value...); }, values), 0);
  EXPECT_EQ(values, std::tuple<Values...>(expected...));
}

TEST(Vectors, Commands) {
  expect_built({
      {"no record", message(rovk_common_initialize_reset_command, 0x1234), "00 00 34 12 00 00 00 01 01 01"},
      {"last of the common commands", message(rovk_common_initialize_last_command, 1), "00 00 01 00 00 00 00 1f 01 1f"},
      {"all 22 bytes", message(rovk_common_initialize_echo_command, 0xffff, counted),
       "00 00 ff ff 00 00 00 04 01 04 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10 11 12 13 14 15 16"},
      {"32-bit number behind a 16-bit flag",
       message(rovk_router_0000_initialize_enable_transport_command, 0, 1, 0x89abcdef),
       "00 00 00 00 00 00 00 28 01 28 01 00 ef cd ab 89"},
      {"reserved byte behind the index",
       message(rovk_led_0001_initialize_set_state_command, 0x1234, 2, 0x1234, 500, 250),
       "00 00 34 12 00 00 00 21 01 21 02 00 34 12 f4 01 fa"},
      {"index behind the value", message(rovk_alarm_0004_initialize_set_dwell_ds_command, 7, 0x0102, 3),
       "00 00 07 00 00 00 00 23 01 23 02 01 03"},
      {"set_configuration: another order than get_configuration",
       message(rovk_relay_0005_initialize_set_configuration_command, 7, 1, 2, 0x03040506, 7, 8, 0x090a, 0x0b0c, 13),
       "00 00 07 00 00 00 00 21 01 21 01 02 06 05 04 03 07 08 0a 09 0c 0b 0d"},
      {"trigger of the second relay: two 32-bit times between bytes",
       message(rovk_relay_0019_initialize_trigger_command, 7, 1, 0, 100000, 200000, 3, 1),
       "00 00 07 00 00 00 00 22 01 22 01 00 a0 86 01 00 40 0d 03 00 03 01"},
      {"raw read: size before index", message(rovk_eeprom_raw_0012_initialize_read_command, 7, 22, 1, 0x00010203),
       "00 00 07 00 00 00 00 20 01 20 16 01 03 02 01"},
      {"write: the first 16 of 22 bytes",
       message(rovk_eeprom_partition_table_0013_initialize_write_command, 7, 16, 2, 0x11223344, counted),
       "00 00 07 00 00 00 00 24 01 24 10 02 44 33 22 11 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10"},
      {"write_tag: 16-bit offset, data at 6 all the same",
       message(rovk_eeprom_partition_table_0013_initialize_write_tag_command, 7, 0x0102, 3, 4, 0x0506, counted),
       "00 00 07 00 00 00 00 26 01 26 02 01 03 04 06 05 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10"},
      {"append_tag: 16-bit size",
       message(rovk_eeprom_partition_table_0013_initialize_append_tag_command, 7, 0x0102, 0x0304, 5),
       "00 00 07 00 00 00 00 27 01 27 02 01 04 03 05"},
      {"set_param: negative value, index last",
       message(rovk_imgctrl_0006_initialize_set_param_command, 7, 0x0102, -2, 5),
       "00 00 07 00 00 00 00 21 01 21 02 01 fe ff ff ff 05"},
      {"the one reserved2",
       message(rovk_triangle_overlay_002b_initialize_set_triangle_positioning_coordinates_command, 7, 1, 0x0203,
               0x04050607, 0x08090a0b, 0x0c0d),
       "00 00 07 00 00 00 00 26 01 26 00 01 03 02 00 00 07 06 05 04 0b 0a 09 08 0d 0c"},
      {"reserved byte before the index", message(rovk_iris_0010_initialize_set_position_command, 7, 1, 0x02030405),
       "00 00 07 00 00 00 00 20 01 20 00 01 05 04 03 02"},
      {"the same name with the index first",
       message(rovk_linear_actuator_0028_initialize_set_position_command, 7, 1, 2, 3),
       "00 00 07 00 00 00 00 21 01 21 01 00 02 00 00 00 03"},
      {"focus region: four percentages",
       message(rovk_lens_focus_001f_initialize_set_auto_focus_region_command, 7, 1, 10, 20, 30, 40),
       "00 00 07 00 00 00 00 27 01 27 01 0a 14 1e 28"},
      {"set_position: all 22 bytes, negative tilt",
       message(rovk_positioning_002a_initialize_set_position_command, 0x000a, 1, 180000, -45000, 0x01020304, 0x05060708,
               0x1122, 0x3344),
       "00 00 0a 00 00 00 00 21 01 21 01 00 20 bf 02 00 38 50 ff ff 04 03 02 01 08 07 06 05 22 11 44 33"},
      {"set_velocity: signed on all axes",
       message(rovk_positioning_002a_initialize_set_velocity_command, 7, 1, -1, 2, -3),
       "00 00 07 00 00 00 00 23 01 23 01 00 ff ff ff ff 02 00 00 00 fd ff"},
      {"get_frame: the first 21 of 22 bytes", message(rovk_bulk_dump_000c_initialize_get_frame_command, 7, 9, counted),
       "00 00 07 00 00 00 00 24 01 24 09 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10 11 12 13 14 15"},
      {"opcode above 127",
       message(rovk_calibration_0015_initialize_run_focus_range_home_measurement_command, 7, 0x0102, 0x0304, 5),
       "00 00 07 00 00 00 00 80 01 80 02 01 04 03 05"},
      {"every width and sign",
       message(rovk_unittest_ffff_initialize_add_one_to_types_command, 0xffff, -1, 255, -2, 0xfffe, INT32_MIN,
               0x80000001),
       "00 00 ff ff 00 00 00 27 01 27 ff ff fe ff fe ff 00 00 00 80 01 00 00 80"},
  });
}

TEST(Vectors, Answers) {
  uint16_t aliases[10];
  for (uint16_t i = 0; i < 10; ++i) aliases[i] = static_cast<uint16_t>(0x0100 + i);
  expect_built({
      {"no record: route and transaction of the command, opcode of the answer",
       answer(rovk_common_initialize_reset_response), "0b 0a 02 01 05 04 03 01 02"},
      {"versions by value",
       answer(rovk_common_initialize_get_peripheral_info_response, 0x0001, rovk_version{0, 6}, rovk_version{1, 2},
              rovk_version{0, 19}, 0x0001, 8, 2, 5),
       "0b 0a 02 01 05 04 03 00 02 00 01 00 00 06 01 02 00 13 01 00 08 02 05"},
      {"ten addresses, whatever the count", answer(rovk_common_initialize_get_aliases_response, 2, aliases),
       "0b 0a 02 01 05 04 03 05 02 00 02 00 00 01 01 01 02 01 03 01 04 01 05 01 06 01 07 01 08 01 09 01"},
      {"reserved 16 bits in front", answer(rovk_common_initialize_get_peripheral_device_id_response, 0xfedcba98),
       "0b 0a 02 01 05 04 03 07 02 00 00 00 98 ba dc fe"},
      {"no_error is an error like others", answer(rovk_common_initialize_no_error_error, 0x0506),
       "0b 0a 02 01 05 04 03 20 02 01 06 05"},
      {"detail of 16 bits", answer(rovk_common_initialize_fault_exists_error, 0x0506, 0x0708),
       "0b 0a 02 01 05 04 03 20 02 01 06 05 02 00 08 07"},
      {"detail of 8 bits", answer(rovk_common_initialize_invalid_sequence_error, 0x0506, 33),
       "0b 0a 02 01 05 04 03 20 02 01 06 05 09 00 21"},
      {"detail of 6 bytes", answer(rovk_calibration_0015_initialize_efl_out_of_range_error, 1, 0x0203, 0x0405, 0x0607),
       "0b 0a 02 01 05 04 03 20 02 01 01 00 22 00 03 02 05 04 07 06"},
      {"the check service's error", answer(rovk_unittest_ffff_initialize_unit_test_with_value_error, 0xffff, 42),
       "0b 0a 02 01 05 04 03 20 02 01 ff ff 21 00 2a"},
  });
}

TEST(Vectors, Events) {
  expect_built({
      {"common", message(rovk_common_initialize_reset_occurred_event, 0x1234, 0x0506),
       "00 00 34 12 00 00 00 00 03 00 06 05"},
      {"spontaneous error: all 22 bytes",
       message(rovk_common_initialize_spontaneous_error_event, 0x1234, 0x0506, 0x0708, counted),
       "00 00 34 12 00 00 00 00 03 01 06 05 08 07 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10 11 12"},
      {"reserved byte in front", message(rovk_fan_000b_initialize_state_change_event, 7, 1, 0x0203, 4),
       "00 00 07 00 00 00 00 00 03 20 00 01 03 02 04"},
      {"32-bit speed between bytes", message(rovk_speed_pwm_0026_initialize_state_change_event, 7, 1, 2, 0x03040506, 7),
       "00 00 07 00 00 00 00 00 03 20 01 02 06 05 04 03 07"},
  });
}

TEST(Vectors, Numbers) {
  // In its own order, unlike set_configuration.
  expect_read("0 0 7 0 0 0 0 20 02 00  01 02 06 05 04 03 07 08 0a 09 0c 0b",
              rovk_relay_0005_retrieve_get_configuration_response, 1, 2, 0x03040506, 7, 8, 0x090a, 0x0b0c);
  expect_read("0 0 ff ff 0 0 0 27 02 00  80 80 00 80 00 80 fe ff ff ff fe ff ff ff",
              rovk_unittest_ffff_retrieve_add_one_to_types_response, -128, 128, -32768, 32768, -2, 0xfffffffe);
  expect_read("0 0 7 0 0 0 0 20 02 00  aa aa 20 bf 02 00 38 50 ff ff 0f 00",
              rovk_positioning_002a_retrieve_get_position_response, 180000, -45000, 15);
  expect_read("0 0 7 0 0 0 0 20 02 00  00 00 78 ec ff ff",
              rovk_temperature_sensor_0009_retrieve_get_millidegree_celsius_response, -5000);
  expect_read("0 0 7 0 0 0 0 20 02 00  ff ff 01 00 00 00 02 00 00 00 03 00 00 00 04 00 00 00 05 00 00 80",
              rovk_linear_actuator_0028_retrieve_get_position_response, 1, 2, 3, 4, 0x80000005);
  // The limits of the focus region stand behind it.
  expect_read("0 0 7 0 0 0 0 26 02 00  01 02 03 04 05 06 07 08 09 0a 0b 0c",
              rovk_lens_focus_001f_retrieve_get_auto_focus_region_response, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12);
}

TEST(Vectors, ArraysAreReadToTheEndOfTheMessage) {
  const rovk_message aliases =
      message_of("0 0 7 0 0 0 0 05 02 00  02 00 01 01 02 02 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0a ff");
  uint16_t count, alias[10];
  ASSERT_EQ(rovk_common_retrieve_get_aliases_response(&aliases, &count, alias), 0);
  EXPECT_EQ(std::vector<uint16_t>(alias, alias + 10),
            (std::vector<uint16_t>{0x101, 0x202, 0, 0, 0, 0, 0, 0, 0, 0xff0a}));

  const rovk_message event =
      message_of("0 0 7 0 0 0 0 0 03 01  06 05 08 07 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10 11 12");
  uint16_t address, id;
  uint8_t payload[18];
  ASSERT_EQ(rovk_common_retrieve_spontaneous_error_event(&event, &address, &id, payload), 0);
  EXPECT_TRUE(count == 2 && address == 0x0506 && id == 0x0708);
  EXPECT_EQ(std::memcmp(payload, counted, sizeof payload), 0);
}

TEST(Vectors, PeripheralInfo) {
  const rovk_message info = message_of("0 0 7 0 0 0 0 00 02 00  2a 00 00 06 01 02 00 13 01 00 08 02 05");
  uint16_t id, capabilities;
  rovk_version api, implementation, protocol;
  uint8_t depth, devices, location;
  ASSERT_EQ(rovk_common_retrieve_get_peripheral_info_response(&info, &id, &api, &implementation, &protocol,
                                                              &capabilities, &depth, &devices, &location),
            0);
  EXPECT_EQ(hex(&api, 0, 2) + "/" + hex(&implementation, 0, 2) + "/" + hex(&protocol, 0, 2), "00 06/01 02/00 13");
  EXPECT_TRUE(id == 0x002a && capabilities == ROVK_GPI_CAPABILITIES_QUEUED && depth == 8 && devices == 2);
  EXPECT_EQ(location, ROVK_GPI_LOCATION_IMAGER_3_BOARD);
}

TEST(Vectors, ErrorRecordIsTheErrorInfoAsItTravels) {
  const rovk_message answer =
      message_of("0b 0a 02 01 05 04 03 20 02 01  06 05 22 00 03 02 05 04 07 06 0 0 0 0 0 0 0 0 0 0 0 99");
  rovk_error_calibration_0015_error error;
  ASSERT_EQ(rovk_calibration_0015_retrieve_error(&answer, &error), 0);
  EXPECT_EQ(hex(&error, 0, sizeof error), "06 05 22 00 03 02 05 04 07 06 00 00 00 00 00 00 00 00 00 00 00 99");
}

}  // namespace
}  // namespace rovk::test
