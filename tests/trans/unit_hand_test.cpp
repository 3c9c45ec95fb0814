// The hand on the unit refuses what makes no sense and reaches what it names.
#include <rovk/transport.h>

#include <cerrno>

#include "session.h"

TEST(UnitHand, RefusesMisuse) {
  const Session session;
  int64_t value = 0;
  EXPECT_EQ(-EINVAL, rovk_unit_now(session.handle, nullptr));
  EXPECT_EQ(-EINVAL, rovk_unit_advance(session.handle, UINT64_MAX));
  EXPECT_EQ(-EINVAL, rovk_unit_set_input(session.handle, nullptr, 0, 1));
  EXPECT_EQ(-ENOENT, rovk_unit_set_input(session.handle, "humidity", 0, 1));
  const struct {
    const char* input;
    uint32_t index;
    int64_t value;
    int32_t status;
    const char* reason;
  } refused[] = {
      {"button", 0xffffffff, 1, -ENXIO, "no button 4294967295; there is 0 alone"},
      {"button", 256, 1, -ENXIO, "no button 256; there is 0 alone"},
      {"alarm", 7, 1, -ENXIO, "no alarm 7; there are 0 to 1"},
      {"alarm", 1, 3, -ERANGE, "alarm cannot be 3; it is 0 (open), 1 (closed) or 2 (sabotaged)"},
      {"light", 0, -5, -ERANGE, "light cannot be -5; it is 0 or more millilux"},
      {"current", 0, INT64_MAX, -ERANGE,
       "current cannot be 9223372036854775807; it is 2147483647 or less milliamperes"},
  };
  for (const auto& row : refused) {
    EXPECT_EQ(row.status, rovk_unit_set_input(session.handle, row.input, row.index, row.value)) << row.reason;
    EXPECT_STREQ(row.reason, rovk_transport_reason());
  }
  EXPECT_EQ(-ENXIO, rovk_unit_get_input(session.handle, "alarm", 2, &value));
  EXPECT_EQ(-EINVAL, rovk_unit_get_input(session.handle, "button", 0, nullptr));
  EXPECT_EQ(-ENOENT, rovk_unit_get_input(session.handle, "", 0, &value));
  EXPECT_EQ(-ENXIO, rovk_unit_reset(session.handle, 0x7777, 0));
  EXPECT_EQ(-ENXIO, rovk_unit_fault(session.handle, 0x7777, 1));
  EXPECT_EQ(-ENXIO, rovk_unit_spontaneous_error(session.handle, 0x7777, 1, nullptr));
  EXPECT_EQ(-EINVAL, rovk_unit_disturb(session.handle, nullptr, 1, 0));
  EXPECT_EQ(-ENOENT, rovk_unit_disturb(session.handle, "hide", 1, 0));
  EXPECT_EQ(0, add_one(session.handle, 1));
}

TEST(UnitHand, SetsInputsClockAndFaults) {
  const Session session;
  int64_t value = 0;
  EXPECT_EQ(0, rovk_unit_set_input(session.handle, "temperature", 2, -40000));
  EXPECT_EQ(0, rovk_unit_get_input(session.handle, "temperature", 2, &value));
  EXPECT_EQ(-40000, value);
  EXPECT_EQ(0, rovk_unit_advance(session.handle, 1500 * millisecond));
  EXPECT_EQ(1500U, session.now_ms());
  EXPECT_EQ(0, rovk_unit_fault(session.handle, unittest, 7));
  EXPECT_EQ(ROVK_COMMON_ERROR_FAULT_EXISTS, add_one(session.handle, 1));
  EXPECT_EQ(0, rovktrans_common_clear_fault(session.handle, unittest, nullptr));
  EXPECT_EQ(0, add_one(session.handle, 1));

  EXPECT_EQ(0, rovk_unit_release_input(session.handle, "temperature", 2));
  EXPECT_EQ(0, rovk_unit_probe(session.handle, "temperature", 2, 0, &value));
  EXPECT_GT(value, 0);
  EXPECT_EQ(-EINVAL, rovk_unit_release_input(session.handle, "button", 0));
  EXPECT_EQ(-ENXIO, rovk_unit_release_input(session.handle, "current", 9));

  EXPECT_EQ(0, rovk_unit_power(session.handle, 0));
  EXPECT_EQ(-ETIMEDOUT, add_one(session.handle, 1));
  EXPECT_EQ(0, rovk_unit_power(session.handle, 1));
  EXPECT_EQ(ROVK_COMMON_ERROR_BUSY, add_one(session.handle, 1)) << "it boots";
  EXPECT_EQ(0, rovk_unit_advance(session.handle, 1000 * millisecond));
  EXPECT_EQ(0, add_one(session.handle, 1));

  for (const char* what : {"focus", "zoom", "iris", "filter", "pan", "tilt"}) {
    EXPECT_EQ(0, rovk_unit_probe(session.handle, what, 0, 0, &value)) << what;
    EXPECT_EQ(-ENXIO, rovk_unit_probe(session.handle, what, 99, 0, &value)) << what;
    EXPECT_EQ(-EINVAL, rovk_unit_probe(session.handle, what, 0, 1, &value)) << what;
  }

  EXPECT_EQ(-EPERM, rovk_unit_advance(Session("timeout_ms=9", "real").handle, 1));
}
