// A context on a simulated unit for the length of a test, and what tests ask of it again and again. Records come
// as they travel, so their numbers are read through le16toh.
#pragma once

#include <endian.h>
#include <gtest/gtest.h>
#include <rovk/trans.h>
#include <rovk/trans_delivery.h>
#include <rovk/unit.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// What was written to syslog since a test cleared it, as "priority text". Defined beside the tests of logs.
extern std::vector<std::string> lines;

constexpr uint16_t unittest = ROVK_UNITTEST_PERIPHERAL_ADDRESS;
constexpr uint64_t millisecond = 1'000'000;

struct Freed {
  void operator()(void* block) const { std::free(block); }
};
template <typename T>
using Heap = std::unique_ptr<T, Freed>;

class Session {
 public:
  explicit Session(const std::string& options = "timeout_ms=100", const char* clock = "virtual") {
    EXPECT_EQ(0, rovktrans_init(("sim?processing_ms=0&clock=" + std::string(clock) + "&" + options).c_str(), nullptr,
                                &handle));
  }
  ~Session() { rovktrans_deinit(handle); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  uint64_t now_ms() const {
    uint64_t now = 0;
    EXPECT_EQ(0, rovk_unit_now(handle, &now));
    return now / millisecond;
  }
  // The address of a peripheral that every unit has.
  uint16_t find(uint16_t id) const {
    const uint16_t* const address = rovktrans_find_peripheral(handle, id);
    EXPECT_NE(nullptr, address);
    return address ? *address : uint16_t{0};
  }
  void disturb(const char* what, uint32_t count, uint32_t value = 0) const {
    ASSERT_EQ(0, rovk_unit_disturb(handle, what, count, value));
  }

  void* handle = nullptr;
};

// The answers to add_one, as its callback gets them.
struct Answer {
  unsigned error_id;  // 0: none
  unsigned type;      // of a communication failure
  unsigned output;
  bool operator==(const Answer&) const = default;
};
using Answers = std::vector<Answer>;

inline void collect(void*, uint16_t address, rovk_error_unittest_ffff_error* error, uint8_t output, void* user) {
  EXPECT_EQ(unittest, address);
  const unsigned type = error ? error->data.payload[0] + 256U * error->data.payload[1] : 0;
  static_cast<Answers*>(user)->push_back({error ? le16toh(error->id) : 0U, type, output});
}

inline int32_t add_one_async(const Session& session, Answers& answers, uint8_t input) {
  return rovktrans_unittest_ffff_add_one_async(session.handle, unittest, collect, &answers, input);
}

inline int32_t add_one(void* context, uint8_t input, uint8_t* output = nullptr) {
  rovk_error_unittest_ffff_error* error = nullptr;
  const int32_t status = rovktrans_unittest_ffff_add_one(context, unittest, &error, input, output);
  std::free(error);
  return status;
}

// A subscription whose events' types are remembered, and what its callback does besides.
struct Listener {
  std::vector<unsigned> types;
  std::function<void()> run;
};

inline void hear(void*, uint16_t, uint16_t type, void* user) {
  auto* listener = static_cast<Listener*>(user);
  listener->types.push_back(type);
  if (listener->run) listener->run();
}

inline int32_t subscribe(const Session& session, Listener& listener, uint16_t address = unittest,
                         rovktrans_common_reset_occurred_callback callback = hear) {
  return rovktrans_common_reset_occurred_register_callback(session.handle, address, callback, &listener);
}

constexpr Answer timed_out = {ROVK_COMMON_ERROR_COMMUNICATION_FAILURE, ROVKTRANS_FAILURE_TIME_OUT, 0};
constexpr Answer closed = {ROVK_COMMON_ERROR_COMMUNICATION_FAILURE, ROVKTRANS_FAILURE_CLOSED, 0};

inline std::ostream& operator<<(std::ostream& out, const Answer& answer) {
  return out << "{error " << answer.error_id << ", type " << answer.type << ", output " << answer.output << "}";
}
