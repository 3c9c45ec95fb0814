// The EEPROMs of the boards as two services see them: as rows of bytes, and as partitions with tags.
#include <rovk/constants.h>

#include <memory>
#include <string>

#include "unit/fittings.h"
#include "unit/services/eeprom_memory.h"
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

constexpr int64_t payload_size = ROVK_MESSAGE_PAYLOAD_SIZE;
// What the memory needs to erase and write, as seen by who waits for the answer.
constexpr Time partition_format_time = 100ms;
constexpr Time eeprom_format_time = 500ms;

// The device ids of both services by location.
constexpr uint32_t board_devices[eeprom_boards][2] = {
    {ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_PROCESSOR_BOARD,
     ROVK_PERIPHERAL_DEVICE_ID_EEPROM_PARTITION_TABLE_PROCESSOR_BOARD},
    {ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_IMAGER_BOARD, ROVK_PERIPHERAL_DEVICE_ID_EEPROM_PARTITION_TABLE_IMAGER_BOARD},
    {ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_IMAGER_0_BOARD,
     ROVK_PERIPHERAL_DEVICE_ID_EEPROM_PARTITION_TABLE_IMAGER_0_BOARD},
    {ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_IMAGER_1_BOARD,
     ROVK_PERIPHERAL_DEVICE_ID_EEPROM_PARTITION_TABLE_IMAGER_1_BOARD},
    {ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_IMAGER_2_BOARD,
     ROVK_PERIPHERAL_DEVICE_ID_EEPROM_PARTITION_TABLE_IMAGER_2_BOARD},
    {ROVK_PERIPHERAL_DEVICE_ID_EEPROM_RAW_IMAGER_3_BOARD,
     ROVK_PERIPHERAL_DEVICE_ID_EEPROM_PARTITION_TABLE_IMAGER_3_BOARD},
};

uint8_t board_of(uint32_t device_id) {
  for (uint8_t location = 0; location < eeprom_boards; ++location) {
    const auto& [raw, table] = board_devices[location];
    if (device_id == raw || device_id == table) return location;
  }
  throw DescriptionError("no EEPROM is device " + std::to_string(device_id));
}

class EepromRaw : public View {
 public:
  explicit EepromRaw(const Setup& setup) : View(setup, {}) {
    on("size", [this](Call& call) { call.set("size", static_cast<int64_t>(memory_of(call).bytes().size())); });
    on("read", [this](Call& call) {
      const auto size = static_cast<std::size_t>(call.within("size", 0, payload_size));
      const auto address = static_cast<std::size_t>(call.number("read_address"));
      const std::span<const uint8_t> bytes = memory_of(call).bytes();
      if (address > bytes.size() || size > bytes.size() - address) call.refuse("partition_overflow");
      call.set_bytes("data", bytes.subspan(address, size));
    });
  }

 private:
  EepromMemory& memory_of(const Call& call) { return eeprom_of(host(), board_of(setup().devices.at(device(call)))); }
};

// The partitions of one board. What is written stays through a reset; locks and a format that is under
// way do not, so a reset in the middle of a format leaves the memory without its headers.
//
// partition_access answers for a partition that does not exist, for one that another application has
// locked, and for a tag command on a plain partition. A lock guards all that changes a partition.
class EepromPartitionTable : public View {
 public:
  explicit EepromPartitionTable(const Setup& setup) : View(setup, {}), board_(board_of(setup.devices.at(0))) {
    serve("get_partition_info", [this](Call& call) { get_partition_info(call); });
    serve("get_tag_info", [this](Call& call) {
      answer_tag(call, memory().tag(partition(call), static_cast<uint16_t>(call.number("tag_id"))));
    });
    serve("get_tag_info_num", [this](Call& call) {
      const TagHeader header = memory().tag_at(partition(call), static_cast<uint16_t>(call.number("tag_num")));
      answer_tag(call, header);
      call.set("tag_id", header.id);
    });
    serve("read", [this](Call& call) {
      const auto size = static_cast<uint32_t>(call.within("size", 0, payload_size));
      call.set_bytes("data", memory().read(partition(call), static_cast<uint32_t>(call.number("offset")), size));
    });
    serve("read_tag", [this](Call& call) {
      const auto size = static_cast<uint32_t>(call.within("size", 0, payload_size));
      call.set_bytes("data", memory().read_tag(partition(call), static_cast<uint16_t>(call.number("tag_id")),
                                               static_cast<uint32_t>(call.number("offset")), size));
    });
    serve("write", [this](Call& call) {
      const std::span<const uint8_t> data = written(call);
      memory().write(partition_to_change(call), static_cast<uint32_t>(call.number("offset")), data);
    });
    serve("write_tag", [this](Call& call) {
      const std::span<const uint8_t> data = written(call);
      memory().write_tag(partition_to_change(call), static_cast<uint16_t>(call.number("tag_id")),
                         static_cast<uint32_t>(call.number("offset")), data);
    });
    serve("append_tag", [this](Call& call) {
      memory().append_tag(partition_to_change(call), static_cast<uint16_t>(call.number("tag_id")),
                          static_cast<uint16_t>(call.within("size", 1, UINT16_MAX)));
    });
    serve("lock", [this](Call& call) { lock(call); });
    serve("unlock", [this](Call& call) { unlock(call); });
    serve("format_partition", [this](Call& call) {
      const PartitionRow row = partition_to_change(call);
      memory().erase(row);
      finish_format(call, partition_format_time, [this, row] { memory().format(row); });
    });
    // Works whatever the table looks like, being the way to a good one.
    serve("format_eeprom", [this](Call& call) {
      for (const auto& [locked, timer] : lock_timers_) {
        if (memory().locked_for(locked, call.application())) call.refuse("partition_access");
      }
      memory().erase_all();
      finish_format(call, eeprom_format_time, [this] { memory().format_all(); });
    });
  }

  void reset() override {
    View::reset();
    for (const auto& [locked, timer] : lock_timers_) {
      host().cancel(timer);
      memory().unlock(locked);
    }
    lock_timers_.clear();
    if (formatting_) host().cancel(format_timer_);
    formatting_ = false;
  }

 private:
  // Answers with busy during a format, and with the memory's own errors.
  void serve(std::string_view command, Handler handler) {
    on(command, [this, handler = std::move(handler)](Call& call) {
      if (formatting_) call.refuse("busy");
      try {
        handler(call);
      } catch (const EepromError& error) {
        call.refuse(error.name);
      }
    });
  }

  EepromMemory& memory() { return eeprom_of(host(), board_); }

  static unsigned partition_index(const Call& call) { return static_cast<unsigned>(call.number("partition_index")); }

  PartitionRow partition(const Call& call) { return memory().partition(partition_index(call)); }

  PartitionRow partition_to_change(const Call& call) {
    const PartitionRow row = partition(call);
    if (memory().locked_for(partition_index(call), call.application())) call.refuse("partition_access");
    return row;
  }

  // The bytes of a write that are meant; the field has room for more.
  static std::span<const uint8_t> written(const Call& call) {
    const int64_t size = call.within("size", 0, ROVK_EPT_WRITE_SIZE);
    return call.bytes("data").first(static_cast<std::size_t>(size));
  }

  static void answer_tag(Call& call, const TagHeader& header) {
    call.set("size", header.size);
    call.set("offset", header.offset);
    call.set("checksum", header.checksum);
  }

  void get_partition_info(Call& call) {
    const PartitionRow row = partition(call);
    const PartitionState state = memory().state(row);
    call.set("partition_id", row.id);
    call.set("size", row.size);
    call.set("available_tag_data_size", state.available);
    call.set("tagged", row.tagged);
    call.set("used_tags", state.used_tags);
    call.set("valid_partition_header", state.valid_header);
  }

  // Locking again makes the time start anew.
  void lock(Call& call) {
    const auto timeout = std::chrono::milliseconds(call.within("timeout_ms", 1, UINT16_MAX));
    partition_to_change(call);
    const unsigned index = partition_index(call);
    release(index);
    memory().lock(index, call.application());
    lock_timers_[index] = host().at(host().now() + timeout, [this, index] {
      lock_timers_.erase(index);
      memory().unlock(index);
      host().raise(*this, "lock_time_out", {index});
    });
  }

  // An application whose lock has run out learns so: there is nothing to unlock.
  void unlock(Call& call) {
    partition_to_change(call);
    if (!memory().locked(partition_index(call))) call.refuse("invalid_sequence", {call.command().opcode});
    release(partition_index(call));
  }

  void release(unsigned index) {
    const auto timer = lock_timers_.find(index);
    if (timer == lock_timers_.end()) return;
    host().cancel(timer->second);
    lock_timers_.erase(timer);
    memory().unlock(index);
  }

  void finish_format(Call& call, Time duration, std::function<void()> finish) {
    formatting_ = true;
    format_timer_ = host().at(host().now() + duration, [this, finish = std::move(finish)] {
      formatting_ = false;
      finish();
    });
    call.take(duration);
  }

  uint8_t board_;
  std::map<unsigned, TimerId> lock_timers_;  // by partition
  bool formatting_ = false;
  TimerId format_timer_ = 0;
};

}  // namespace

namespace {

// The memories of all boards, by location.
struct Memories : std::array<std::unique_ptr<EepromMemory>, eeprom_boards> {
  Memories() {
    for (uint8_t location = 0; location < eeprom_boards; ++location) {
      at(location) = std::make_unique<EepromMemory>(location);
    }
  }
};

}  // namespace

EepromMemory& eeprom_of(Host& host, uint8_t location) { return *host.body().only<Memories>().at(location); }

std::unique_ptr<View> make_eeprom_raw_0012(const Setup& setup) { return std::make_unique<EepromRaw>(setup); }

std::unique_ptr<View> make_eeprom_partition_table_0013(const Setup& setup) {
  return std::make_unique<EepromPartitionTable>(setup);
}

}  // namespace rovk::unit
