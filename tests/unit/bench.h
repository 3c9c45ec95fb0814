// A unit on a virtual clock and one application that talks to it in the
// catalogue's names.
#pragma once

#include <gtest/gtest.h>
#include <rovk/constants.h>

#include <istream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "catalogue/fields.h"
#include "unit/unit.h"

namespace rovk::unit {

using namespace std::chrono_literals;
using Values = std::map<std::string, int64_t>;

// What came back: a response, with its values or its error, or an event.
struct Received {
  uint8_t type = 0;
  uint16_t application = 0;
  uint16_t peripheral = 0;
  uint32_t uuid = 0;
  uint8_t body = 0;  // error byte or event id
  uint16_t error_peripheral = 0;
  uint16_t error = 0;  // 0: none
  std::vector<uint8_t> payload;
  std::vector<uint8_t> detail;  // of an error
  Values values;

  int64_t operator[](const std::string& field) const { return values.at(field); }
};

// Address of the n-th peripheral of a service.
uint16_t address_of(std::string_view service, unsigned board = 0);

class Bench {
 public:
  explicit Bench(Time latency = Time{0}, const UnitDescription& description = everything())
      : unit(Options{.virtual_clock = true, .latency = latency}, description) {
    application = unit.join();
  }

  // `data` fills the record's array of bytes.
  static rovk_message compose(std::string_view service, std::string_view command, const Values& inputs,
                              std::optional<uint16_t> address = {}, uint32_t uuid = 0x20000001,
                              std::string_view data = {});
  void send(std::string_view service, std::string_view command, const Values& inputs = {},
            std::optional<uint16_t> address = {}, std::string_view data = {}) {
    unit.submit(application, compose(service, command, inputs, address, 0x20000001, data));
  }
  // The next message, read by the last command sent with ask(), or as an event
  // of its peripheral.
  std::optional<Received> next(uint16_t to = 0);
  // Sends a command and gives its answer, which has to be the next response;
  // events before it are kept.
  Received ask(std::string_view service, std::string_view command, const Values& inputs = {},
               std::optional<uint16_t> address = {}, std::string_view data = {});
  // The value of an answer that has one, or the first of several.
  int64_t get(std::string_view service, std::string_view command, const Values& inputs = {});
  void listen(std::string_view service) { listen_at(address_of(service)); }
  void listen_at(uint16_t address) {
    ASSERT_EQ(ask("router_0000", "register_event", {{"peripheral_address", address}}).error, 0);
  }
  // From outside, and waits until the peripheral has booted.
  void reset(uint16_t address, ResetType type = ResetType::commanded) {
    ASSERT_TRUE(unit.reset_peripheral(address, static_cast<uint16_t>(type)));
    advance(PeripheralDescription{}.boot_ms * 1ms);
  }
  void advance(Time duration) { unit.advance_to(unit.clock().now() + duration); }
  // Plays a story, each of whose steps ends with a semicolon:
  //   SERVICE COMMAND field=value 'bytes'             asks and expects no
  //   error; with "send" in front, asks no more
  //   ... -> value field=value 'bytes'                expects also: first
  //   value, values by name, first bytes
  //   ... ! error detail                              expects the error of this
  //   name, and what its detail starts with wait 5ms   at 5ms   events 2 moves
  //   the clock; expects its reading; expects so many new events input light 0
  //   100   listen SERVICE   reset SERVICE
  // A service may be left out for the one before; eeprom_partition_table_0013/1
  // is that of board 1, and common@led_0001 takes the commands of the first to
  // the address of the second.
  void play(const std::string& story);
  // All events that have come, those kept by ask() first.
  std::vector<Received> events();

  Unit unit;
  uint16_t application = 0;

 private:
  void play_command(std::string word, std::istream& words);
  bool name_peripheral(const std::string& word);

  std::vector<Received> kept_;
  std::string service_;  // of the story's last step
  uint16_t address_ = 0;
  const catalogue::Record* answer_ = nullptr;
};

class UnitTest : public ::testing::Test, public Bench {
 protected:
  // Refused for the input at this place of the record.
  static void expect_refused(const Received& received, int64_t offset) {
    EXPECT_EQ(received.error, ROVK_COMMON_ERROR_INVALID_PAYLOAD);
    ASSERT_FALSE(received.detail.empty());
    EXPECT_EQ(received.detail[0], offset);
  }
};

}  // namespace rovk::unit
