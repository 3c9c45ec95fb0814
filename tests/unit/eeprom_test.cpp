// The EEPROMs as memories of real bytes: what the partition table says is what the raw bytes hold, and
// damage to the bytes is found.
#include <rovk/constants.h>

#include <algorithm>
#include <string>

#include "tests/unit/bench.h"

namespace rovk::unit {
namespace {

constexpr std::string_view table = "eeprom_partition_table_0013";
constexpr std::string_view raw = "eeprom_raw_0012";

#define ERROR_OF(name) ROVK_EEPROM_PARTITION_TABLE_0013_ERROR_##name

// Partitions of the processor board, by index.
enum { pfix, pfru, psku, pqcd, perr, p__u, p__t };
// Of an imager board.
enum { ifix, ifru, ical };

class Eeprom : public ::testing::Test, public Bench {
 protected:
  Received at(std::string_view command, const Values& inputs, std::string_view data = {}) {
    return ask(table, command, inputs, address_of(table, board), data);
  }
  uint16_t error(std::string_view command, const Values& inputs, std::string_view data = {}) {
    return at(command, inputs, data).error;
  }
  std::string text(const Received& received, std::size_t size) {
    return {received.payload.begin(), received.payload.begin() + static_cast<std::ptrdiff_t>(size)};
  }
  std::string whole_memory() {
    std::string bytes;
    const int64_t size = get(raw, "size", {{"index", board}});
    for (int64_t at = 0; at < size; at += 22) {
      const int64_t part = std::min<int64_t>(22, size - at);
      bytes += text(ask(raw, "read", {{"index", board}, {"read_address", at}, {"size", part}}),
                    static_cast<std::size_t>(part));
    }
    return bytes;
  }
  unsigned board = 0;
};

TEST_F(Eeprom, FactoryTagsLieInTheRawBytesWithTheirChecksum) {
  const Received info = at("get_tag_info_num", {{"partition_index", pfix}, {"tag_num", 0}});
  EXPECT_EQ(info["tag_id"], 1);
  EXPECT_EQ(info["size"], 12);
  EXPECT_EQ(info["checksum"], 0x7f0c60d5);
  EXPECT_EQ(text(at("read_tag", {{"partition_index", pfix}, {"tag_id", 1}, {"size", 12}}), 12), "RV-24-001740");
  EXPECT_EQ(text(at("read", {{"partition_index", pfix}, {"offset", info["offset"] + 3}, {"size", 9}}), 9), "24-001740");
  const std::string memory = whole_memory();
  EXPECT_EQ(memory.size(), 16384U);
  EXPECT_NE(memory.find("RV-24-001740"), std::string::npos);
  // Another board is another memory.
  board = 3;
  EXPECT_EQ(whole_memory().find("RV-24-001740"), std::string::npos);
  EXPECT_EQ(text(at("read_tag", {{"partition_index", ifix}, {"tag_id", 1}, {"size", 12}}), 12), "RV-24-001743");
}

TEST_F(Eeprom, EveryBoardHasItsPartitions) {
  for (board = 0; board < 6; ++board) {
    const int64_t first = board == 0 ? ROVK_EPT_PARTITION_TYPE_PFIX : ROVK_EPT_PARTITION_TYPE_IFIX;
    const int64_t last = board == 0 ? ROVK_EPT_PARTITION_TYPE_P__T : ROVK_EPT_PARTITION_TYPE_ICBK;
    int64_t bytes = 0;
    for (int64_t type = first; type <= last; ++type) {
      const Received info = at("get_partition_info", {{"partition_index", type - first}});
      EXPECT_EQ(info["partition_id"], type);
      EXPECT_EQ(info["valid_partition_header"], 1);
      bytes += info["size"];
    }
    EXPECT_LE(bytes, get(raw, "size", {{"index", board}}));
    EXPECT_EQ(error("get_partition_info", {{"partition_index", last - first + 1}}), ERROR_OF(PARTITION_ACCESS));
  }
}

TEST_F(Eeprom, AccessesBeyondAnEndAreRefused) {
  struct Case {
    const char* command;
    Values inputs;
    uint16_t error;
  };
  const Case cases[] = {
      {"read", {{"partition_index", p__u}, {"offset", 4096 - 22}, {"size", 22}}, 0},
      {"read", {{"partition_index", p__u}, {"offset", 4096 - 21}, {"size", 22}}, ERROR_OF(PARTITION_OVERFLOW)},
      {"read", {{"partition_index", p__u}, {"offset", 0xffffffff}, {"size", 2}}, ERROR_OF(PARTITION_OVERFLOW)},
      {"read", {{"partition_index", p__u}, {"size", 23}}, ROVK_COMMON_ERROR_INVALID_PAYLOAD},
      {"write", {{"partition_index", p__u}, {"offset", 4096 - 16}, {"size", 16}}, 0},
      {"write", {{"partition_index", p__u}, {"offset", 4096 - 15}, {"size", 16}}, ERROR_OF(PARTITION_OVERFLOW)},
      {"write", {{"partition_index", p__u}, {"size", 17}}, ROVK_COMMON_ERROR_INVALID_PAYLOAD},
      {"read_tag", {{"partition_index", pfix}, {"tag_id", 1}, {"offset", 2}, {"size", 10}}, 0},
      {"read_tag", {{"partition_index", pfix}, {"tag_id", 1}, {"offset", 3}, {"size", 10}}, ERROR_OF(TAG_OVERFLOW)},
      {"write_tag", {{"partition_index", pfix}, {"tag_id", 1}, {"offset", 12}, {"size", 1}}, ERROR_OF(TAG_OVERFLOW)},
      {"read_tag", {{"partition_index", pfix}, {"tag_id", 9}, {"size", 1}}, ERROR_OF(TAG_NOT_FOUND)},
      {"get_tag_info", {{"partition_index", pfix}, {"tag_id", 9}}, ERROR_OF(TAG_NOT_FOUND)},
      {"get_tag_info_num", {{"partition_index", pfix}, {"tag_num", 1}}, ERROR_OF(TAG_NOT_FOUND)},
      {"append_tag", {{"partition_index", pfix}, {"tag_id", 1}, {"size", 4}}, ERROR_OF(TAG_EXISTS)},
      {"read_tag", {{"partition_index", p__u}, {"tag_id", 1}, {"size", 1}}, ERROR_OF(PARTITION_ACCESS)},
      {"write", {{"partition_index", 7}, {"size", 1}}, ERROR_OF(PARTITION_ACCESS)},
  };
  for (const Case& row : cases) {
    EXPECT_EQ(error(row.command, row.inputs), row.error) << row.command << " " << ::testing::PrintToString(row.inputs);
  }
  EXPECT_EQ(ask(raw, "read", {{"index", 1}, {"read_address", 8192 - 22}, {"size", 22}}).error, 0);
  EXPECT_EQ(ask(raw, "read", {{"index", 1}, {"read_address", 8192 - 21}, {"size", 22}}).error,
            ROVK_EEPROM_RAW_0012_ERROR_PARTITION_OVERFLOW);
  EXPECT_EQ(ask(raw, "size", {{"index", 6}}).error, ROVK_COMMON_ERROR_INVALID_PAYLOAD);
}

TEST_F(Eeprom, TagsFillAPartitionToTheLastByte) {
  const Values info = {{"partition_index", p__t}};
  EXPECT_EQ(error("append_tag", {{"partition_index", p__t}, {"tag_id", 500}, {"size", 100}}), 0);
  EXPECT_EQ(
      error("write_tag", {{"partition_index", p__t}, {"tag_id", 500}, {"offset", 90}, {"size", 10}}, "0123456789"), 0);
  const int64_t left = at("get_partition_info", info)["available_tag_data_size"];
  EXPECT_EQ(error("append_tag", {{"partition_index", p__t}, {"tag_id", 501}, {"size", left + 1}}),
            ERROR_OF(PARTITION_OVERFLOW));
  EXPECT_EQ(error("append_tag", {{"partition_index", p__t}, {"tag_id", 501}, {"size", left}}), 0);
  EXPECT_EQ(at("get_partition_info", info)["available_tag_data_size"], 0);
  EXPECT_EQ(at("get_partition_info", info)["used_tags"], 2);
  EXPECT_EQ(error("append_tag", {{"partition_index", p__t}, {"tag_id", 502}, {"size", 1}}),
            ERROR_OF(PARTITION_OVERFLOW));
  // The large neighbour, written to its first byte and its last, leaves the first tag whole.
  for (const int64_t offset : {int64_t{0}, left - 1}) {
    EXPECT_EQ(error("write_tag", {{"partition_index", p__t}, {"tag_id", 501}, {"offset", offset}, {"size", 1}}, "!"),
              0);
  }
  EXPECT_EQ(text(at("read_tag", {{"partition_index", p__t}, {"tag_id", 500}, {"offset", 90}, {"size", 10}}), 10),
            "0123456789");
}

TEST_F(Eeprom, DamageIsFoundWhereItLies) {
  const Values tag = {{"partition_index", pfru}, {"tag_id", 2}, {"size", 1}};
  const int64_t data = at("get_tag_info", {{"partition_index", pfru}, {"tag_id", 2}})["offset"];
  // A byte of the data: only this tag, only when its data is read, until it is written anew.
  ASSERT_EQ(error("write", {{"partition_index", pfru}, {"offset", data + 6}, {"size", 1}}, "X"), 0);
  EXPECT_EQ(error("read_tag", tag), ERROR_OF(TAG_CHECKSUM));
  EXPECT_EQ(error("get_tag_info", {{"partition_index", pfru}, {"tag_id", 2}}), 0);
  EXPECT_EQ(error("read_tag", {{"partition_index", pfru}, {"tag_id", 1}, {"size", 1}}), 0);
  EXPECT_EQ(error("write_tag", {{"partition_index", pfru}, {"tag_id", 2}, {"offset", 6}, {"size", 1}}, "2"), 0);
  EXPECT_EQ(text(at("read_tag", {{"partition_index", pfru}, {"tag_id", 2}, {"size", 7}}), 7), "RV-PB-2");
  // The last header of the directory, which lies behind the partition's own and the first tag's.
  ASSERT_EQ(error("write", {{"partition_index", pfru}, {"offset", 12 + 16 + 2}, {"size", 1}}, "\x40"), 0);
  EXPECT_EQ(error("read_tag", tag), ERROR_OF(INVALID_TAG_HEADER));
  EXPECT_EQ(error("append_tag", {{"partition_index", pfru}, {"tag_id", 7}, {"size", 1}}), ERROR_OF(INVALID_TAG_HEADER));
  EXPECT_EQ(error("read_tag", {{"partition_index", pfru}, {"tag_id", 1}, {"size", 1}}), 0);
  EXPECT_EQ(at("get_partition_info", {{"partition_index", pfru}})["valid_partition_header"], 1);
  // The partition's header.
  ASSERT_EQ(error("write", {{"partition_index", pfru}, {"offset", 4}, {"size", 1}}, "\x01"), 0);
  EXPECT_EQ(error("read_tag", tag), ERROR_OF(INVALID_PARTITION_HEADER));
  EXPECT_EQ(at("get_partition_info", {{"partition_index", pfru}})["valid_partition_header"], 0);
  EXPECT_EQ(error("read_tag", {{"partition_index", pfix}, {"tag_id", 1}, {"size", 1}}), 0);
  EXPECT_EQ(error("format_partition", {{"partition_index", pfru}}), 0);
  EXPECT_EQ(error("read_tag", tag), ERROR_OF(TAG_NOT_FOUND));
}

TEST_F(Eeprom, ALockKeepsOthersFromChangingUntilItsTimeIsOut) {
  const uint16_t holder = application;
  const uint16_t other = unit.join();
  ASSERT_EQ(error("lock", {{"partition_index", p__t}, {"timeout_ms", 0}}), ROVK_COMMON_ERROR_INVALID_PAYLOAD);
  ASSERT_EQ(error("lock", {{"partition_index", p__t}, {"timeout_ms", 900}}), 0);
  listen_at(address_of(table));
  EXPECT_EQ(error("append_tag", {{"partition_index", p__t}, {"tag_id", 1}, {"size", 8}}), 0);
  application = other;
  struct {
    const char* command;
    Values inputs;
  } const guarded[] = {
      {"write", {{"partition_index", p__t}, {"size", 1}}},
      {"write_tag", {{"partition_index", p__t}, {"tag_id", 1}, {"size", 1}}},
      {"append_tag", {{"partition_index", p__t}, {"tag_id", 2}, {"size", 1}}},
      {"lock", {{"partition_index", p__t}, {"timeout_ms", 10}}},
      {"unlock", {{"partition_index", p__t}}},
      {"format_partition", {{"partition_index", p__t}}},
      {"format_eeprom", {}},
  };
  for (const auto& row : guarded) {
    EXPECT_EQ(error(row.command, row.inputs), ERROR_OF(PARTITION_ACCESS)) << row.command;
  }
  EXPECT_EQ(error("read_tag", {{"partition_index", p__t}, {"tag_id", 1}, {"size", 8}}), 0);
  EXPECT_EQ(error("write", {{"partition_index", p__u}, {"size", 1}}), 0);
  advance(899ms);
  application = holder;
  EXPECT_TRUE(events().empty());
  advance(1ms);
  const std::vector<Received> ended = events();
  ASSERT_EQ(ended.size(), 1U);
  EXPECT_EQ(ended[0]["partition_index"], p__t);
  EXPECT_EQ(error("unlock", {{"partition_index", p__t}}), ROVK_COMMON_ERROR_INVALID_SEQUENCE);
  application = other;
  EXPECT_EQ(error("write_tag", {{"partition_index", p__t}, {"tag_id", 1}, {"size", 1}}), 0);
}

TEST_F(Eeprom, UnlockingOrLockingAgainStopsTheOldTime) {
  listen_at(address_of(table));
  ASSERT_EQ(error("lock", {{"partition_index", pfix}, {"timeout_ms", 100}}), 0);
  ASSERT_EQ(error("unlock", {{"partition_index", pfix}}), 0);
  ASSERT_EQ(error("lock", {{"partition_index", psku}, {"timeout_ms", 100}}), 0);
  advance(60ms);
  ASSERT_EQ(error("lock", {{"partition_index", psku}, {"timeout_ms", 100}}), 0);
  advance(60ms);
  EXPECT_TRUE(events().empty());
  unit.reset_peripheral(address_of(table), 1);
  advance(1s);
  for (const Received& event : events()) EXPECT_EQ(event.body, ROVK_COMMON_EVENT_RESET_OCCURRED);
}

TEST_F(Eeprom, AFormatThatIsCutOffLeavesNoTable) {
  send(table, "format_eeprom");
  EXPECT_EQ(error("get_partition_info", {{"partition_index", 0}}), ROVK_COMMON_ERROR_BUSY);
  advance(100ms);
  unit.reset_peripheral(address_of(table), 1);
  advance(1s);
  while (next()) {
  }
  for (const char* command : {"get_partition_info", "format_partition", "unlock"}) {
    EXPECT_EQ(error(command, {{"partition_index", 0}}), ERROR_OF(INVALID_PARTITION_TABLE)) << command;
  }
  EXPECT_EQ(whole_memory(), std::string(16384, '\xff'));
  EXPECT_EQ(error("format_eeprom", {}), 0);
  const Received info = at("get_partition_info", {{"partition_index", pfix}});
  EXPECT_EQ(info["used_tags"], 0);
  EXPECT_EQ(info["valid_partition_header"], 1);

  send(table, "format_partition", {{"partition_index", pqcd}});
  unit.reset_peripheral(address_of(table), 1);
  advance(1s);
  while (next()) {
  }
  EXPECT_EQ(error("get_tag_info", {{"partition_index", pqcd}, {"tag_id", 1}}), ERROR_OF(INVALID_PARTITION_HEADER));
}

TEST_F(Eeprom, ContentsSurviveAReset) {
  ASSERT_EQ(error("append_tag", {{"partition_index", p__t}, {"tag_id", 77}, {"size", 5}}), 0);
  ASSERT_EQ(error("write_tag", {{"partition_index", p__t}, {"tag_id", 77}, {"size", 5}}, "hello"), 0);
  for (const std::string_view service : {table, raw}) unit.reset_peripheral(address_of(service), 1);
  EXPECT_EQ(text(at("read_tag", {{"partition_index", p__t}, {"tag_id", 77}, {"size", 5}}), 5), "hello");
}

}  // namespace
}  // namespace rovk::unit
