// The EEPROMs of the boards as two services see them: as rows of bytes, and as partitions with tags.
#include <rovk/constants.h>

#include "unit/services/eeproms.h"
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

using things::Eeprom;
using things::EepromError;
using things::EepromMemory;
using things::PartitionRow;
using things::PartitionState;
using things::TagHeader;

constexpr int64_t payload_size = ROVK_MESSAGE_PAYLOAD_SIZE;

// The device ids of both services by location.
constexpr uint32_t board_devices[][2] = {
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

// Shows EEPROMs: a device whose number names a board shows that board's.
class EepromView : public View {
 public:
  explicit EepromView(const Setup& setup) : View(setup, {}) {
    for (unsigned i = 0; i < devices(); ++i) eeproms_.push_back(&find(i));
  }

 protected:
  Eeprom& eeprom(unsigned index = 0) const { return *eeproms_[index]; }

 private:
  Eeprom& find(unsigned index) const {
    if (!setup().description.devices[index].thing) {
      uint8_t location = 0;
      for (const auto& [raw, table] : board_devices) {
        Eeprom* const found = find_eeprom(setup().host.body(), location++);
        if (found && (setup().devices[index] == raw || setup().devices[index] == table)) return *found;
      }
    }
    return thing<Eeprom>(index);
  }

  std::vector<Eeprom*> eeproms_;
};

class EepromRaw final : public EepromView {
 public:
  explicit EepromRaw(const Setup& setup) : EepromView(setup) {
    on("size", [this](Call& call) { call.set("size", static_cast<int64_t>(bytes(call).size())); });
    on("read", [this](Call& call) {
      const auto size = static_cast<std::size_t>(call.within("size", 0, payload_size));
      const auto address = static_cast<std::size_t>(call.number("read_address"));
      const std::span<const uint8_t> all = bytes(call);
      if (address > all.size() || size > all.size() - address) call.refuse("partition_overflow");
      call.set_bytes("data", all.subspan(address, size));
    });
  }

 private:
  std::span<const uint8_t> bytes(const Call& call) const { return eeprom(device(call)).memory().bytes(); }
};

// The partitions of one board. What is written stays through a reset; locks and a format that is under
// way do not, so a reset in the middle of a format leaves the memory without its headers.
//
// partition_access answers for a partition that does not exist, for one that another application has
// locked, and for a tag command on a plain partition. A lock guards all that changes a partition.
class EepromPartitionTable final : public EepromView {
 public:
  explicit EepromPartitionTable(const Setup& setup) : EepromView(setup) {
    const catalogue::Event& time_out = event("lock_time_out");
    eeprom().lock_timed_out.add([this, &time_out](unsigned index) { host().raise(*this, time_out, {index}); });
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
    queue("format_partition", guard([this](Call& call) {
            const PartitionRow row = partition_to_change(call);
            eeprom().format(row, [ticket = call.wait()] { ticket.end(); });
          }));
    // Works whatever the table looks like, being the way to a good one.
    queue("format_eeprom", guard([this](Call& call) {
            if (eeprom().any_locked_for(call.application())) call.refuse("partition_access");
            eeprom().format_all([ticket = call.wait()] { ticket.end(); });
          }));
  }

  void reset() override { eeprom().reset(); }
  // Finds damage to the table and to the headers of partitions.
  bool self_test(bool) override {
    try {
      for (unsigned i = 0; i < memory().partitions(); ++i) {
        if (!memory().state(memory().partition(i)).valid_header) return false;
      }
      return true;
    } catch (const EepromError&) {
      return false;
    }
  }

 private:
  // Answers with busy during a format, and with the memory's own errors.
  Handler guard(Handler handler) {
    return [this, handler = std::move(handler)](Call& call) {
      if (eeprom().formatting()) call.refuse("busy");
      try {
        handler(call);
      } catch (const EepromError& error) {
        call.refuse(error.name);
      }
    };
  }
  void serve(std::string_view command, Handler handler) { on(command, guard(std::move(handler))); }

  EepromMemory& memory() { return eeprom().memory(); }

  static unsigned partition_index(const Call& call) { return static_cast<unsigned>(call.number("partition_index")); }

  PartitionRow partition(const Call& call) { return memory().partition(partition_index(call)); }

  PartitionRow partition_to_change(const Call& call) {
    const PartitionRow row = partition(call);
    if (eeprom().locked_for(partition_index(call), call.application())) call.refuse("partition_access");
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

  void lock(Call& call) {
    const auto timeout = std::chrono::milliseconds(call.within("timeout_ms", 1, UINT16_MAX));
    partition_to_change(call);
    eeprom().lock(partition_index(call), call.application(), timeout);
  }

  // An application whose lock has run out learns so: there is nothing to unlock.
  void unlock(Call& call) {
    partition_to_change(call);
    if (!eeprom().locked(partition_index(call))) call.refuse("invalid_sequence", {call.command().opcode});
    eeprom().unlock(partition_index(call));
  }
};

}  // namespace

Eeprom* find_eeprom(const things::Body& body, uint8_t location) {
  for (const auto& board : body.boards()) {
    if (board->location() == location && board->count<Eeprom>() > 0) return board->find<Eeprom>();
  }
  return nullptr;
}

std::unique_ptr<View> make_eeprom_raw_0012(const Setup& setup) { return std::make_unique<EepromRaw>(setup); }

std::unique_ptr<View> make_eeprom_partition_table_0013(const Setup& setup) {
  return std::make_unique<EepromPartitionTable>(setup);
}

}  // namespace rovk::unit
