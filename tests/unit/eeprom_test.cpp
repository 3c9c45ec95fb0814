// The EEPROMs as memories of real bytes: what the partition table says is what the raw bytes hold, and
// damage to the bytes is found.
#include <algorithm>
#include <string>

#include "tests/unit/bench.h"

namespace rovk::unit {
namespace {

constexpr std::string_view table = "eeprom_partition_table_0013";
constexpr std::string_view raw = "eeprom_raw_0012";

// Partitions of the processor board by index: 0 pfix, 1 pfru, 2 psku, 3 pqcd, 4 perr, 5 p__u, 6 p__t; of an
// imager board: 0 ifix, 1 ifru, 2 ical.
class Eeprom : public UnitTest {
 protected:
  // A story about the table of one board.
  void play_table(const std::string& story, unsigned board = 0) {
    play(std::string(table) + "/" + std::to_string(board) + " " + story);
  }
  std::string whole_memory(unsigned board = 0) {
    std::string bytes;
    const int64_t size = get(raw, "size", {{"index", board}});
    for (int64_t at = 0; at < size; at += 22) {
      const int64_t part = std::min<int64_t>(22, size - at);
      const Received read = ask(raw, "read", {{"index", board}, {"read_address", at}, {"size", part}});
      bytes.append(read.payload.begin(), read.payload.begin() + static_cast<std::ptrdiff_t>(part));
    }
    return bytes;
  }
};

TEST_F(Eeprom, FactoryTagsLieInTheRawBytesWithTheirChecksum) {
  const Received info = ask(table, "get_tag_info_num", {{"partition_index", 0}, {"tag_num", 0}});
  EXPECT_EQ(info["tag_id"], 1);
  EXPECT_EQ(info["size"], 12);
  EXPECT_EQ(info["checksum"], 0x7f0c60d5);
  play_table("read_tag tag_id=1 size=12 -> 'RV-24-001740'; read size=9 offset=" + std::to_string(info["offset"] + 3) +
             " -> '24-001740';");
  const std::string memory = whole_memory();
  EXPECT_EQ(memory.size(), 16384U);
  EXPECT_NE(memory.find("RV-24-001740"), std::string::npos);
  // Another board is another memory.
  EXPECT_EQ(whole_memory(3).find("RV-24-001740"), std::string::npos);
  play_table("read_tag tag_id=1 size=12 -> 'RV-24-001743';", 3);
}

TEST_F(Eeprom, EveryBoardHasItsPartitions) {
  for (unsigned board = 0; board < 6; ++board) {
    const uint16_t address = address_of(table, board);
    const int64_t first = board == 0 ? ROVK_EPT_PARTITION_TYPE_PFIX : ROVK_EPT_PARTITION_TYPE_IFIX;
    const int64_t last = board == 0 ? ROVK_EPT_PARTITION_TYPE_P__T : ROVK_EPT_PARTITION_TYPE_ICBK;
    int64_t bytes = 0;
    for (int64_t type = first; type <= last; ++type) {
      const Received info = ask(table, "get_partition_info", {{"partition_index", type - first}}, address);
      EXPECT_EQ(info["partition_id"], type);
      EXPECT_EQ(info["valid_partition_header"], 1);
      bytes += info["size"];
    }
    EXPECT_LE(bytes, get(raw, "size", {{"index", board}}));
    play_table("get_partition_info partition_index=" + std::to_string(last - first + 1) + " ! partition_access;",
               board);
  }
}

TEST_F(Eeprom, AccessesBeyondAnEndAreRefused) {
  play_table(
      R"(read partition_index=5 offset=4074 size=22; read partition_index=5 offset=4075 size=22 ! partition_overflow;
                read partition_index=5 offset=0xffffffff size=2 ! partition_overflow;
                read partition_index=5 size=23 ! invalid_payload;
                write partition_index=5 offset=4080 size=16;
                write partition_index=5 offset=4081 size=16 ! partition_overflow;
                write partition_index=5 size=17 ! invalid_payload;
                read_tag tag_id=1 offset=2 size=10; read_tag tag_id=1 offset=3 size=10 ! tag_overflow;
                write_tag tag_id=1 offset=12 size=1 ! tag_overflow;
                read_tag tag_id=9 size=1 ! tag_not_found; get_tag_info tag_id=9 ! tag_not_found;
                get_tag_info_num tag_num=1 ! tag_not_found; append_tag tag_id=1 size=4 ! tag_exists;
                read_tag partition_index=5 tag_id=1 size=1 ! partition_access;
                write partition_index=7 size=1 ! partition_access;
                eeprom_raw_0012 read index=1 read_address=8170 size=22;
                read index=1 read_address=8171 size=22 ! partition_overflow; size index=6 ! invalid_payload;)");
}

TEST_F(Eeprom, TagsFillAPartitionToTheLastByte) {
  play_table(R"(append_tag partition_index=6 tag_id=500 size=100;
                write_tag partition_index=6 tag_id=500 offset=90 size=10 '0123456789';)");
  const int64_t left = ask(table, "get_partition_info", {{"partition_index", 6}})["available_tag_data_size"];
  play_table("append_tag partition_index=6 tag_id=501 size=" + std::to_string(left + 1) + " ! partition_overflow;" +
             "append_tag partition_index=6 tag_id=501 size=" + std::to_string(left) + R"(;
                get_partition_info partition_index=6 -> available_tag_data_size=0 used_tags=2;
                append_tag partition_index=6 tag_id=502 size=1 ! partition_overflow;)");
  // The large neighbour, written to its first byte and its last, leaves the first tag whole.
  play_table(
      "write_tag partition_index=6 tag_id=501 size=1 '!'; write_tag partition_index=6 tag_id=501 size=1 offset=" +
      std::to_string(left - 1) + " '!'; read_tag partition_index=6 tag_id=500 offset=90 size=10 -> '0123456789';");
}

TEST_F(Eeprom, DamageIsFoundWhereItLies) {
  // A byte of the data: only this tag, only when its data is read, until it is written anew.
  const int64_t data = ask(table, "get_tag_info", {{"partition_index", 1}, {"tag_id", 2}})["offset"];
  play_table("write partition_index=1 size=1 'X' offset=" + std::to_string(data + 6) + R"(;
                read_tag partition_index=1 tag_id=2 size=1 ! tag_checksum; get_tag_info partition_index=1 tag_id=2;
                read_tag partition_index=1 tag_id=1 size=1;
                write_tag partition_index=1 tag_id=2 offset=6 size=1 '2';
                read_tag partition_index=1 tag_id=2 size=7 -> 'RV-PB-2';)");
  // The last header of the directory, which lies behind the partition's own and the first tag's.
  play_table(R"(write partition_index=1 offset=30 size=1 '@';
                read_tag partition_index=1 tag_id=2 size=1 ! invalid_tag_header;
                append_tag partition_index=1 tag_id=7 size=1 ! invalid_tag_header;
                read_tag partition_index=1 tag_id=1 size=1;
                get_partition_info partition_index=1 -> valid_partition_header=1;)");
  // The partition's header.
  play_table(R"(write partition_index=1 offset=4 size=1 'A';
                read_tag partition_index=1 tag_id=2 size=1 ! invalid_partition_header;
                get_partition_info partition_index=1 -> valid_partition_header=0; read_tag tag_id=1 size=1;
                format_partition partition_index=1; read_tag partition_index=1 tag_id=2 size=1 ! tag_not_found;)");
}

TEST_F(Eeprom, ALockKeepsOthersFromChangingUntilItsTimeIsOut) {
  const uint16_t holder = application;
  const uint16_t other = unit.join();
  play_table(R"(lock partition_index=6 ! invalid_payload; lock partition_index=6 timeout_ms=900;
                listen eeprom_partition_table_0013; append_tag partition_index=6 tag_id=1 size=8;)");
  application = other;
  play_table(R"(write partition_index=6 size=1 ! partition_access;
                write_tag partition_index=6 tag_id=1 size=1 ! partition_access;
                append_tag partition_index=6 tag_id=2 size=1 ! partition_access;
                lock partition_index=6 timeout_ms=10 ! partition_access; unlock partition_index=6 ! partition_access;
                format_partition partition_index=6 ! partition_access; format_eeprom ! partition_access;
                read_tag partition_index=6 tag_id=1 size=8; write partition_index=5 size=1; wait 899 ms;)");
  application = holder;
  play("events 0; wait 1 ms;");
  const std::vector<Received> ended = events();
  ASSERT_EQ(ended.size(), 1U);
  EXPECT_EQ(ended[0]["partition_index"], 6);
  play_table("unlock partition_index=6 ! invalid_sequence;");
  application = other;
  play_table("write_tag partition_index=6 tag_id=1 size=1;");
}

TEST_F(Eeprom, UnlockingOrLockingAgainStopsTheOldTime) {
  play_table(R"(lock timeout_ms=100; listen eeprom_partition_table_0013; unlock;
                lock partition_index=2 timeout_ms=100; wait 60 ms; lock partition_index=2 timeout_ms=100; wait 60 ms;
                events 0; reset eeprom_partition_table_0013; wait 1 s; unlock partition_index=2 ! invalid_sequence;)");
  for (const Received& event : events()) EXPECT_EQ(event.body, ROVK_COMMON_EVENT_RESET_OCCURRED);
}

TEST_F(Eeprom, AFormatThatIsCutOffLeavesNoTable) {
  play_table("get_partition_info; send format_eeprom; get_partition_info ! busy; wait 100 ms;");
  play("reset eeprom_partition_table_0013; wait 1 s;");
  events();  // takes the answer that says so
  play_table(R"(get_partition_info ! invalid_partition_table; format_partition ! invalid_partition_table;
                unlock ! invalid_partition_table;)");
  EXPECT_EQ(whole_memory(), std::string(16384, '\xff'));
  play_table(R"(format_eeprom; get_partition_info -> used_tags=0 valid_partition_header=1;
                send format_partition partition_index=3; reset eeprom_partition_table_0013; wait 1 s;)");
  events();
  play_table("get_tag_info partition_index=3 tag_id=1 ! invalid_partition_header;");
}

TEST_F(Eeprom, ContentsSurviveAReset) {
  play_table(R"(append_tag partition_index=6 tag_id=77 size=5; write_tag partition_index=6 tag_id=77 size=5 'hello';
                reset eeprom_raw_0012; reset eeprom_partition_table_0013;
                read_tag partition_index=6 tag_id=77 size=5 -> 'hello';)");
}

}  // namespace
}  // namespace rovk::unit
