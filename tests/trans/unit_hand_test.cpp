// The hand on the unit refuses what makes no sense and reaches what it names.
#include <cerrno>

#include "session.h"

TEST(UnitHand, RefusesMisuse) {
  const Session session;
  int64_t value = 0;
  EXPECT_EQ(-EINVAL, rovk_unit_now(session.handle, nullptr));
  EXPECT_EQ(-EINVAL, rovk_unit_advance(session.handle, UINT64_MAX));
  EXPECT_EQ(-EINVAL, rovk_unit_set_input(session.handle, nullptr, 0, 1));
  EXPECT_EQ(-ENOENT, rovk_unit_set_input(session.handle, "humidity", 0, 1));
  EXPECT_EQ(-EINVAL, rovk_unit_set_input(session.handle, "button", 0xffffffff, 1));
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

  EXPECT_EQ(-EPERM, rovk_unit_advance(Session("timeout_ms=9", "real").handle, 1));
}
