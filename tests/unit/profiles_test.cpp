// Units described in files: what a file can say, what is told of one that is wrong, and the shipped ones.
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "bench.h"
#include "unit/fittings.h"
#include "unit/profiles/reader.h"
#include "unit/things/file_store.h"

namespace rovk::unit {
namespace {

// What is wrong with a file that builds on everything, or else with the whole text.
std::string wrong(const std::string& text) {
  try {
    const Unit unit({.virtual_clock = true}, read_unit_text(text, "a.toml"));
    return "nothing";
  } catch (const DescriptionError& error) {
    return error.what();
  }
}

const Fitting& fitting(const std::vector<Fitting>& all, std::string_view service, std::size_t board) {
  for (const Fitting& row : all) {
    if (row.service->name == service && row.board == board) return row;
  }
  throw std::runtime_error("no fitting");
}

TEST(UnitFile, TellsWhatIsWrongAndWhere) {
  const std::string base = "based_on = 'everything'\n[board.processor]\n";
  const std::string led = base + "[board.processor.peripheral.led_0001]\n";
  const std::pair<std::string, std::string> rows[] = {
      {"based_on = 'everything'", "nothing"},
      {"x = ", "a.toml:1: "},
      {"based_on = 'nosuch.toml'", "a.toml:1: cannot read unit file nosuch.toml"},
      {"name = 'empty'", "a.toml:1: a unit wants a board"},
      {"based_on = 'everything'\nwithout = ['led_0001', 'led_0001']", "a.toml:2: there is no board and no peripheral"},
      {base + "lihgt = 1", "a.toml:3: no key 'lihgt' belongs here; there are light, "},
      {base + "light = 256", "a.toml:3: a whole number from 0 to 255 is wanted, not 256"},
      {base + "light = { 4 = {} }", "a.toml:3: '4' is no place; there are 0 to 3"},
      {base + "light = [{}, { most_ms = 'x' }]", "a.toml:3: a whole number from 1 to 65535 is wanted"},
      {base + "rail = { 0 = { millivolts = -1 } }", "a.toml:3: a whole number from 0 to 2147483647 is wanted, not -1"},
      {base + "heater = { 0 = { reaches = 1.5 } }", "a.toml:3: a number from 0 to 1 is wanted, not 1.5"},
      {base + "[[board.processor.converter]]\nchannel = [{ alarm_line = 9 }]",
       "a.toml:3: it is wired to alarm line 9, "},
      {base + "fan = { 0 = { senses = 99 } }", "a.toml:3: it is wired to temperature sensor 99, which is not there"},
      {base + "heater = [{ rail = 4 }]", "a.toml:3: it is wired to rail 4, which is not there"},
      {base + "temperature_sensor = { 0 = { on = 'sun' } }", "a.toml:3: there is no thermal mass sun"},
      {base + "head = [{ lens = 40 }]", "a.toml:3: it is wired to lens 40, which is not there"},
      {base + "lens = [{ warmth = 40 }]", "a.toml:3: it is wired to temperature sensor 40"},
      {base + "lens = [{ focus = { high = 5 } }]", "a.toml:3: way and speed of a lens motor do not agree"},
      {base + "light = 2", "a.toml:2: "},  // fewer than its peripheral shows
      {base + "temperature_sensor = 0", "a.toml:"},
      {base + "[[board.processor.eeprom]]\nsize = 256\ntag = [{ partition = 1, id = 1, data = 'x' }]", "a.toml:3: "},
      {base + "[[board.processor.eeprom]]\nimage = 'none.bin'", "a.toml:4: cannot read the image none.bin"},
      {led + "address = 0xffff", "a.toml:3: address 0xffff of led_0001 is taken by unittest_ffff"},
      {base + "[board.processor.peripheral]\nalarm_0004 = { address = 5 }\nled_0001 = { address = 5 }",
       "a.toml:4: address 0x0005 of alarm_0004 is taken by led_0001 at a.toml:5"},
      {led + "address = 0x222\naliases = [0x222]", "a.toml:3: address 0x0222 of led_0001 is taken by led_0001"},
      {led + "devices = ['LED_FRONT_PANEL_RED',\n2]", "a.toml:5: device 2 stands here twice"},
      {led + "devices = ['NO_SUCH']", "a.toml:4: no constant is called ROVK_PERIPHERAL_DEVICE_ID_NO_SUCH"},
      {led + "devices = [1, 2, 28, 0]", "a.toml:3: "},  // more than there are lights
      {led + "service = 'led_9'", "a.toml:3: there is no service led_9"},
      {led + "value.nosuch.field = 1", "a.toml:3: "},
      {led + "value.state.on = 5", "a.toml:3: led_0001 shows a thing by state.on"},
      {"[[fault]]\non = 'event'\ndo = 'refuse'\nerror = 'busy'", "a.toml:1: it wants 'on'"},
      {"[[fault]]\ndo = 'refuse'\non = 'command'\nerror = 'bsuy'", "a.toml:4: there is no error bsuy"},
      {"[[fault]]\nservice = 'led_0001'\ncommand = 'get'\ndo = 'drop'", "a.toml:3: led_0001 has no command get"},
  };
  for (const auto& [text, expected] : rows) {
    EXPECT_NE(std::string::npos, wrong(text).find(expected)) << text << "\n" << wrong(text);
  }
  std::ofstream("image.bin") << std::string(300, 'x');
  EXPECT_EQ("a.toml:4: the image has 300 bytes, the EEPROM has 256",
            wrong(base + "[[board.processor.eeprom]]\nimage = 'image.bin'\nsize = 256"));
  std::filesystem::remove("image.bin");
}

TEST(UnitFile, SaysOnlyWhatDiffers) {
  const UnitDescription unit = read_unit_text(R"(
based_on = "everything"
without = ["imager 3", "eeprom_raw_0012"]
[surroundings]
degrees = 30
[board.processor]
light = { 1 = { most_ms = 5 }, 3 = { load_milliwatts = 7 } }
relay = 3
[board.processor.peripheral]
led_0001 = { address = 0x222, aliases = [0x223], devices = [1, { id = "LED_FRONT_PANEL_RED", thing = 3 }] }
second = { service = "led_0001" }
)",
                                              "a.toml");
  const UnitDescription& base = everything();
  ASSERT_EQ(base.boards.size() - 1, unit.boards.size());
  const BoardDescription& board = unit.boards[0];
  EXPECT_EQ(30, unit.surroundings.degrees);
  EXPECT_EQ(base.surroundings.millilux, unit.surroundings.millilux);
  ASSERT_EQ(4U, board.lights.size());
  EXPECT_EQ((std::vector<int64_t>{60'000, 5, 60'000, 60'000}),
            (std::vector{board.lights[0].most_ms, board.lights[1].most_ms, board.lights[2].most_ms,
                         board.lights[3].most_ms}));
  EXPECT_EQ(3U, board.relays.size());
  EXPECT_EQ(base.boards[0].alarm_lines.size(), board.alarm_lines.size());
  const std::vector<Fitting> fitted = fittings(unit);
  EXPECT_EQ(0x0101, fitting(fitted, "led_0001", 0).address) << "the second one, at the first free address";
  Bench bench(Time{0}, unit);
  for (const uint16_t address : {uint16_t{0x222}, uint16_t{0x223}}) {
    EXPECT_EQ(0, bench.ask("led_0001", "set_state", {{"index", 1}, {"on", 1}}, address).error);
  }
  EXPECT_TRUE(bench.unit.body().find<things::Light>(3)->lit());
}

// Whatever is not there, the others answer: no command of any peripheral, be its inputs all low or all high, is a crash
// or goes without an answer, and neither is a reset, a model of the peripheral's own or not.
TEST(Profiles, AnswerEveryCommand) {
  for (const std::string& name : profile_names()) {
    SCOPED_TRACE(name);
    UnitDescription unit = profile(name);
    shuffle_addresses(unit, 3);
    UnitDescription again = profile(name);
    shuffle_addresses(again, 3);
    const std::vector<Fitting> fitted = fittings(unit);
    Bench bench(Time{0}, unit);
    for (const Fitting& row : fitted) {
      EXPECT_EQ(row.address, fitting(fittings(again), row.service->name, row.board).address);
      std::vector<std::pair<const char*, uint8_t>> asked;
      for (const uint8_t inputs : {uint8_t{0}, uint8_t{0xff}}) {
        for (const catalogue::Command& command : row.service->commands) asked.emplace_back(command.name, inputs);
        asked.emplace_back("reset", inputs);
      }
      for (const auto& [command, inputs] : asked) {
        const bool is_reset = std::string_view(command) == "reset";
        rovk_message sent = Bench::compose(is_reset ? "common" : row.service->name, command, {}, row.address);
        auto* const sent_bytes = reinterpret_cast<uint8_t*>(&sent);
        std::fill(sent_bytes + ROVK_OFFSET_PAYLOAD, sent_bytes + sizeof sent, inputs);
        bench.unit.submit(bench.application, sent);
        bench.advance(600s);
        rovk_message message;
        bool answered = false;
        while (bench.unit.take(bench.application, message)) {
          answered = answered || reinterpret_cast<const uint8_t*>(&message)[ROVK_OFFSET_TYPE] == ROVK_TYPE_RESPONSE;
        }
        EXPECT_TRUE(answered) << row.service->name << " " << command << " " << int{inputs};
      }
    }
  }
}

struct Strike {
  std::string rule;
  std::vector<uint32_t> arrived;  // uuids of what comes back of the commands 1 to 4
};

TEST(Plan, DoesWhatItsRulesSay) {
  const Strike rows[] = {
      {"do = 'drop'\non = 'answer'\nnth = 2", {1, 3, 4}},
      {"do = 'drop'\ntimes = 3\non = 'command'", {4}},
      {"do = 'duplicate'\ncommand = 'add_one'\nnth = 3\non = 'answer'", {1, 2, 3, 3, 4}},
      {"do = 'duplicate'\nnth = 1\non = 'command'", {1, 1, 2, 3, 4}},
      {"do = 'delay'\nms = 50\nnth = 1\non = 'command'", {2, 3, 4, 1}},
      {"do = 'reorder'\nms = 50\nnth = 2\non = 'answer'", {1, 3, 2, 4}},
      {"do = 'reorder'\nms = 50\nnth = 4\non = 'command'", {1, 2, 3, 4}},
      {"do = 'corrupt'\nbyte = 4\nvalue = 9\nnth = 1\non = 'answer'", {9, 2, 3, 4}},
      {"do = 'drop'\nservice = 'led_0001'", {1, 2, 3, 4}},
      {"do = 'drop'\naddress = 5", {1, 2, 3, 4}},
      {"do = 'silence'\nms = 20\nnth = 2", {3, 4}},
      {"do = 'power_off'\nms = 15\nnth = 2\non = 'command'", {1, 2, 4}},  // 4 finds it booting
      {"do = 'drop'\nprobability = 0", {1, 2, 3, 4}},
      {"do = 'refuse'\nerror = 'busy'\non = 'command'\nnth = 2", {1, 2, 3, 4}},
  };
  for (const auto& [rule, arrived] : rows) {
    SCOPED_TRACE(rule);
    Bench bench;
    bench.unit.set_plan(read_plan("[[fault]]\n" + rule, "plan"));
    std::vector<uint32_t> got;
    unsigned refused = 0;
    const auto collect = [&] {
      rovk_message message;
      while (bench.unit.take(bench.application, message)) {
        const auto* const bytes = reinterpret_cast<const uint8_t*>(&message);
        got.push_back(catalogue::load(bytes + ROVK_OFFSET_UUID, 4) & 0x01ffffff);
        refused += bytes[ROVK_OFFSET_BODY] == ROVK_RESPONSE_ERROR_INFO;
      }
    };
    for (uint32_t number = 1; number <= 4; ++number) {
      bench.unit.submit(bench.application,
                        Bench::compose("unittest_ffff", "add_one", {{"input", 1}}, {}, 0x20000000 + number));
      collect();
      bench.advance(10ms);
      collect();
    }
    bench.advance(2s);
    collect();
    EXPECT_EQ(arrived, got);
    const bool refuses = rule.find("refuse") != std::string::npos || rule.find("power") != std::string::npos;
    EXPECT_EQ(refuses ? 1U : 0U, refused);
  }
}

// The router boots in no time, and what its reset tells meets with the same rule.
TEST(Plan, LetsTimeMoveOnWhereAResetCausesAReset) {
  Bench bench;
  bench.listen_at(ROVK_ROUTER_PERIPHERAL_ADDRESS);
  bench.unit.set_plan(read_plan("[[fault]]\ndo = 'reset'\non = 'event'", "plan"));
  EXPECT_TRUE(bench.unit.reset_peripheral(ROVK_ROUTER_PERIPHERAL_ADDRESS, 0));
  EXPECT_EQ(2U, bench.unit.plan().struck()[0]);
}

// All that reaches an application of a unit with shuffled addresses and a plan by chance, with the times.
std::vector<uint8_t> happens(uint64_t seed) {
  UnitDescription unit = everything();
  shuffle_addresses(unit, seed);
  Bench bench(Time{0}, unit);
  std::string rules = "fault_seed = " + std::to_string(seed) + "\n";
  for (const char* kind : {"'drop'", "'duplicate'", "'delay'\nms = 7", "'reorder'\nms = 9", "'corrupt'"}) {
    rules += std::string("[[fault]]\nprobability = 0.1\ndo = ") + kind + "\n";
  }
  bench.unit.set_plan(read_plan(rules, "plan"));
  std::vector<uint8_t> seen;
  for (const Fitting& row : fittings(unit)) {
    for (unsigned number = 0; number < 8; ++number) {
      bench.unit.submit(bench.application, Bench::compose("common", "echo", {}, row.address, 0x20000000 + number));
      bench.advance(3ms);
      rovk_message message;
      while (bench.unit.take(bench.application, message)) {
        const auto* const bytes = reinterpret_cast<const uint8_t*>(&message);
        seen.insert(seen.end(), bytes, bytes + sizeof message);
        seen.push_back(static_cast<uint8_t>(number));
      }
    }
  }
  return seen;
}

TEST(Plan, IsTheSameForTheSameSeed) {
  EXPECT_EQ(happens(4), happens(4));
  EXPECT_NE(happens(4), happens(5));
}

std::string content(const std::string& path) {
  std::ifstream stream(path);
  return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(State, OutlivesTheUnitOrIsLeftAsItIs) {
  const std::string path = "kept.state";
  std::filesystem::remove(path);
  const auto opened = [&path](Bench& bench) -> std::string {
    try {
      bench.unit.keep_state(path);
      return "";
    } catch (const DescriptionError& error) {
      return error.what();
    }
  };
  {
    Bench bench;
    ASSERT_EQ("", opened(bench));
    EXPECT_EQ(0, bench.ask("led_0001", "set_state", {{"index", 1}, {"on", 1}}).error);
    EXPECT_EQ(0, bench.ask("led_0001", "set_state", {{"index", 2}, {"on", 1}}).error);
    EXPECT_NE(0, bench.ask("led_0001", "set_state", {{"index", 9}, {"on", 1}}).error);
    for (const int64_t id : {GENERAL_CONTRAST, GENERAL_HUE})
      bench.ask("imgctrl_0006", "set_param", {{"param", id}, {"value", 7}});
    EXPECT_EQ(0, bench.ask("relay_0005", "set_state", {{"index", 1}, {"state", 1}}).error);
    bench.send("eeprom_partition_table_0013", "format_eeprom");
    bench.advance(60s);
    bench.reset(address_of("relay_0005"));
    EXPECT_EQ(things::FileStore::Failure::none, bench.unit.body().find<things::FileStore>()->write("a.raw", {}));
    Bench other;
    EXPECT_EQ("state file kept.state is in use by another unit that runs", opened(other));
  }
  EXPECT_FALSE(std::filesystem::exists(path + ".new"));
  const std::string kept = content(path);
  EXPECT_NE(std::string::npos, kept.find("eeprom 0 ")) << kept.substr(0, 300);
  {
    UnitDescription shuffled = everything();
    shuffle_addresses(shuffled, 5);
    Bench bench(Time{0}, shuffled);
    ASSERT_EQ("", opened(bench));
    const auto& body = bench.unit.body();
    EXPECT_TRUE(body.find<things::Light>(1)->lit() && body.find<things::Light>(2)->lit());
    EXPECT_FALSE(body.find<things::Relay>(1)->energised()) << "was reset";
    EXPECT_EQ(std::vector<std::string>{"a.raw"}, body.find<things::FileStore>()->names());
    const things::Settings& picture = body.find<things::Imager>()->settings();
    EXPECT_EQ(14, picture.get(things::Setting::contrast) + picture.get(things::Setting::hue));
    EXPECT_EQ(kept, content(path));
  }
  {
    Bench bench(Time{0}, profile("older"));
    EXPECT_EQ("state file kept.state is of another unit and was left as it is", opened(bench));
  }
  std::ofstream(path) << kept.substr(0, kept.size() / 2);
  Bench bench;
  EXPECT_EQ("state file kept.state is damaged and was left as it is; remove it to begin anew", opened(bench));
  EXPECT_EQ(kept.substr(0, kept.size() / 2), content(path));
  std::filesystem::remove(path);
  std::filesystem::remove_all(path + ".files");
}

TEST(State, RefusesWhatTheDiskHasNoRoomFor) {
  Bench bench;
  std::filesystem::remove("full.state");
  bench.unit.keep_state("full.state");
  EXPECT_EQ(0, bench.ask("led_0001", "set_state", {{"index", 0}, {"on", 1}}).error);
  const std::string kept = content("full.state");
  rlimit before = {};
  ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &before));
  const rlimit small = {kept.size(), before.rlim_max};
  std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
  EXPECT_EQ(ROVK_COMMON_ERROR_NO_RESOURCES, bench.ask("led_0001", "set_state", {{"index", 1}, {"on", 1}}).error);
  EXPECT_EQ(ROVK_COMMON_ERROR_NO_RESOURCES, bench.ask("eeprom_partition_table_0013", "format_eeprom").error);
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &before));
  EXPECT_FALSE(bench.unit.body().find<things::Light>(1)->lit());
  EXPECT_EQ(kept, content("full.state"));
  // Nor can a file take the place of a folder.
  std::filesystem::remove("full.state");
  std::filesystem::create_directories("full.state/inside");
  EXPECT_EQ(ROVK_COMMON_ERROR_NO_RESOURCES, bench.ask("led_0001", "set_state", {{"index", 1}, {"on", 1}}).error);
  EXPECT_EQ(ROVK_COMMON_ERROR_NO_RESOURCES, bench.ask("eeprom_partition_table_0013", "format_eeprom").error);
  EXPECT_FALSE(std::filesystem::exists("full.state.new"));
  std::filesystem::remove_all("full.state");
  EXPECT_EQ(0, bench.ask("led_0001", "set_state", {{"index", 1}, {"on", 1}}).error);
  std::filesystem::remove("full.state");
}

}  // namespace
}  // namespace rovk::unit
