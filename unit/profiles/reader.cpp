#include "unit/profiles/reader.h"

#include <rovk/constants.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>
#include <set>
#include <sstream>

#include "unit/fittings.h"
#include "unit/profiles/members.h"
#include "unit/profiles/shipped.h"

namespace rovk::unit {

void read_faults(const Node& node, PlanDescription& plan);

namespace {

void read_devices(const Node& node, PeripheralDescription& peripheral) {
  peripheral.devices.clear();
  std::set<uint32_t> seen;
  for (const auto& [key, item] : node.list().entries) {
    DeviceDescription device;
    const Node* id = &item;
    if (item.kind == Node::Kind::table) {
      item.allow({"id", "thing"});
      id = item.find("id");
      if (const Node* const thing = item.find("thing"))
        device.thing = static_cast<unsigned>(thing->whole(0, UINT8_MAX));
    }
    if (id) device.id = static_cast<uint32_t>(id->constant("ROVK_PERIPHERAL_DEVICE_ID_", UINT16_MAX));
    if (device.id != ROVK_PERIPHERAL_DEVICE_ID_NONE && !seen.insert(device.id).second) {
      id->fail("device " + (id->text.empty() ? std::to_string(device.id) : id->text) + " stands here twice");
    }
    peripheral.devices.push_back(device);
  }
}

// "1.4", or [1, 4].
void read_version(const Node& node, PeripheralDescription& peripheral) {
  if (node.list().entries.size() != 2) node.fail("a version is [major, minor]");
  peripheral.implementation = {static_cast<uint8_t>(node.entries[0].second.whole(0, UINT8_MAX)),
                               static_cast<uint8_t>(node.entries[1].second.whole(0, UINT8_MAX))};
}

void read_aliases(const Node& node, PeripheralDescription& peripheral) {
  if (node.list().entries.size() > ROVK_MAX_ALIASES) node.fail("at most 10 aliases can stand here");
  peripheral.aliases.clear();
  for (const auto& [key, item] : node.entries) {
    peripheral.aliases.push_back(static_cast<uint16_t>(item.whole(1, UINT16_MAX - 1)));
  }
}

// Tables of subjects with their fields: a number is the initial value, a table has the limits as well.
void read_values(const Node& node, PeripheralDescription& peripheral) {
  for (const auto& [subject, fields] : node.table().entries) {
    for (const auto& [field, value] : fields.table().entries) {
      const auto is_meant = [&subject = subject, &field = field](const ValueDescription& row) {
        return row.subject == subject && row.field == field;
      };
      auto found = std::find_if(peripheral.values.begin(), peripheral.values.end(), is_meant);
      if (found == peripheral.values.end()) {
        ValueDescription made;
        made.subject = subject;
        made.field = field;
        found = peripheral.values.insert(found, std::move(made));
      }
      constexpr int64_t low = std::numeric_limits<int32_t>::min();
      constexpr int64_t high = std::numeric_limits<uint32_t>::max();
      if (value.kind == Node::Kind::integer) {
        found->initial = value.whole(low, high);
        continue;
      }
      value.allow({"low", "high", "initial"});
      for (const auto& [key, number] : value.entries) {
        (key == "low" ? found->low : key == "high" ? found->high : found->initial) = number.whole(low, high);
      }
    }
  }
}

std::string folder_of(const std::string& file) { return std::filesystem::path(file).parent_path().string(); }

class Reader {
 public:
  UnitDescription read(std::string_view text, const std::string& file) {
    const Node root = parse_tree(text, file);
    root.allow({"name", "based_on", "without", "boot_ms", "surroundings", "board", "fault", "fault_seed"});
    UnitDescription unit;
    if (const Node* const base = root.find("based_on")) unit = read_base(*base, file);
    if (const Node* const name = root.find("name")) unit.name = name->word();
    if (const Node* const without = root.find("without")) leave_out(*without, unit);
    if (const Node* const boot = root.find("boot_ms")) unit.boot_ms = boot->whole(0, static_cast<int64_t>(day_ms));
    if (const Node* const around = root.find("surroundings")) {
      members<things::Surroundings::Build>().read(*around, unit.surroundings);
    }
    if (const Node* const boards = root.find("board")) read_boards(*boards, unit);
    if (const Node* const seed = root.find("fault_seed")) {
      unit.plan.seed = static_cast<uint64_t>(seed->whole(0, std::numeric_limits<int64_t>::max()));
    }
    if (const Node* const faults = root.find("fault")) read_faults(*faults, unit.plan);
    for (BoardDescription& board : unit.boards) {
      if (board.where.empty()) board.where = root.place();
    }
    if (unit.boards.empty()) root.fail("a unit wants a board, as in [board.processor], or based_on another");
    return unit;
  }

  UnitDescription read_file(const std::string& path, const Node* asked) {
    const auto complain = [&](const std::string& text) {
      if (asked) asked->fail(text);
      throw DescriptionError(text);
    };
    const auto real = std::filesystem::weakly_canonical(path).string();
    if (!open_.insert(real).second) complain("unit file " + path + " is built on itself");
    std::ifstream stream(path);
    std::stringstream text;
    if (!stream || std::filesystem::is_directory(path) || !(text << stream.rdbuf())) {
      complain("cannot read unit file " + path);
    }
    return read(text.str(), path);
  }

 private:
  // A shipped unit by its name, or another file by its path from this one.
  UnitDescription read_base(const Node& node, const std::string& file) {
    const std::string& base = node.word();
    const std::vector<std::string> names = profile_names();
    if (std::find(names.begin(), names.end(), base) != names.end()) return profile(base);
    return read_file((std::filesystem::path(folder_of(file)) / base).string(), &node);
  }

  static void leave_out(const Node& node, UnitDescription& unit) {
    for (const auto& [key, item] : node.list().entries) {
      const std::string& name = item.word();
      std::size_t gone =
          std::erase_if(unit.boards, [&name](const BoardDescription& board) { return board.name == name; });
      for (BoardDescription& board : unit.boards) {
        gone += std::erase_if(board.peripherals, [&name](const auto& own) { return own.service == name; });
      }
      // What another board has lost, it lost by this.
      for (BoardDescription& board : unit.boards) {
        board.where = item.place();
        board.places.clear();
        for (PeripheralDescription& own : board.peripherals) own.where = item.place();
      }
      if (gone == 0) item.fail("there is no board and no peripheral " + name + " to leave out");
    }
  }

  static void read_boards(const Node& node, UnitDescription& unit) {
    for (const auto& [name, item] : node.table().entries) {
      auto board = std::find_if(unit.boards.begin(), unit.boards.end(),
                                [key = name](const BoardDescription& own) { return own.name == key; });
      if (board == unit.boards.end()) {
        board = unit.boards.insert(board, BoardDescription{});
        board->name = name;
        if (!item.find("location")) item.fail("a new board wants a location, as in \"MAIN_PROCESSOR_BOARD\"");
      }
      board->where = item.place();
      members<BoardDescription>().read(item, *board);
      note_places(item, *board);
    }
  }

  // Where the things stand, for what shows only when all boards are there.
  static void note_places(const Node& node, BoardDescription& board) {
    for (const auto& [kind, item] : node.entries) {
      if (kind == "peripheral" || kind == "location") continue;
      std::vector<std::string>& places = board.places[kind];
      if (item.kind == Node::Kind::integer) places.assign(static_cast<std::size_t>(item.integer), item.place());
      if (item.kind == Node::Kind::list) places.clear();
      for (const auto& [key, thing] : item.entries) {
        const std::size_t place = item.kind == Node::Kind::list ? places.size() : std::stoul(key);
        if (place >= places.size()) places.resize(place + 1);
        places[place] = thing.place();
      }
    }
  }

  std::set<std::string> open_;
};

}  // namespace

template <>
const Members<PeripheralDescription>& members() {
  using B = PeripheralDescription;
  static const auto rows = Members<B>()
                               .add("service", &B::service)
                               .add("address", &B::address, 1, UINT16_MAX)
                               .add("aliases", read_aliases)
                               .add("devices", read_devices)
                               .add("queued", &B::queued)
                               .add("queue_depth", &B::queue_depth, 1, UINT8_MAX)
                               .add("refuses_repeats", &B::refuses_repeats)
                               .add("boot_ms", &B::boot_ms, 0, day_ms)
                               .add("implementation", read_version)
                               .add("value", read_values);
  return rows;
}

void read_peripherals(const Node& node, BoardDescription& board) {
  for (const auto& [name, item] : node.table().entries) {
    auto found = std::find_if(
        board.peripherals.begin(), board.peripherals.end(),
        [key = name](const PeripheralDescription& own) { return key == (own.name.empty() ? own.service : own.name); });
    if (found == board.peripherals.end()) {
      found = board.peripherals.insert(found, PeripheralDescription{});
      found->service = name;
    }
    found->name = name;
    found->where = item.place();
    members<PeripheralDescription>().read(item, *found);
    if (!catalogue::find_service(found->service)) item.fail("there is no service " + found->service);
  }
}

UnitDescription read_unit(const std::string& path) { return Reader().read_file(path, nullptr); }

UnitDescription read_unit_text(std::string_view text, const std::string& file) { return Reader().read(text, file); }

std::vector<std::string> profile_names() {
  std::vector<std::string> names = {"everything"};
  for (const Shipped& row : shipped()) names.emplace_back(row.name);
  return names;
}

UnitDescription profile(const std::string& name) {
  if (name == "everything") return everything();
  for (const Shipped& row : shipped()) {
    if (name == row.name) return Reader().read(row.text, name + ".toml");
  }
  throw DescriptionError("there is no profile " + name);
}

void shuffle_addresses(UnitDescription& unit, uint64_t seed) {
  std::mt19937_64 random(seed);
  std::set<uint16_t> taken;
  for (const BoardDescription& board : unit.boards) {
    for (const PeripheralDescription& own : board.peripherals) taken.insert(own.aliases.begin(), own.aliases.end());
  }
  for (BoardDescription& board : unit.boards) {
    for (PeripheralDescription& own : board.peripherals) {
      if (own.service == "unittest_ffff") continue;
      uint16_t address = 0;
      do {
        address = static_cast<uint16_t>(1 + random() % (UINT16_MAX - 1));
      } while (!taken.insert(address).second);
      own.address = address;
    }
  }
}

}  // namespace rovk::unit
