#include "tests/unit/bench.h"

#include <algorithm>
#include <sstream>

#include "unit/fittings.h"

namespace rovk::unit {
namespace {

Values read(const catalogue::Record* record, const uint8_t* bytes) {
  Values values;
  if (!record) return values;
  for (const catalogue::Field& field : record->fields) {
    if (!field.reserved && field.kind == catalogue::Kind::number) {
      values[field.name] = catalogue::load_number(bytes, field);
    }
  }
  return values;
}

const catalogue::Event* event_at(uint16_t address, uint8_t id) {
  for (const Fitting& fitting : fittings()) {
    if (fitting.address != address) continue;
    const catalogue::Event* event = catalogue::find_event(*fitting.service, id);
    return event ? event : catalogue::find_event(catalogue::common(), id);
  }
  return nullptr;
}

}  // namespace

uint16_t address_of(std::string_view service, unsigned board) {
  for (const Fitting& fitting : fittings()) {
    if (service == fitting.service->name && board-- == 0) return fitting.address;
  }
  ADD_FAILURE() << "no peripheral " << service;
  return 0;
}

rovk_message Bench::compose(std::string_view service, std::string_view command, const Values& inputs,
                            std::optional<uint16_t> address, uint32_t uuid, std::string_view data) {
  rovk_message message = {};
  auto* bytes = reinterpret_cast<uint8_t*>(&message);
  const catalogue::Command* row = catalogue::find_command(*catalogue::find_service(service), command);
  if (!row) {
    ADD_FAILURE() << service << " has no " << command;
    return message;
  }
  catalogue::store(bytes + ROVK_OFFSET_PERIPHERAL, 2, address ? *address : address_of(service));
  catalogue::store(bytes + ROVK_OFFSET_UUID, 4, uuid);
  bytes[ROVK_OFFSET_TYPE] = ROVK_TYPE_COMMAND;
  bytes[ROVK_OFFSET_BODY] = row->opcode;
  for (const auto& [name, value] : inputs) {
    const catalogue::Field* field = row->request ? catalogue::find_field(*row->request, name) : nullptr;
    if (!field) {
      ADD_FAILURE() << command << " has no " << name;
      continue;
    }
    catalogue::store_number(bytes + ROVK_OFFSET_PAYLOAD, *field, value);
  }
  if (data.empty()) return message;
  for (const catalogue::Field& field : row->request->fields) {
    if (field.kind != catalogue::Kind::bytes) continue;
    std::copy_n(data.begin(), std::min<std::size_t>(data.size(), field.size()),
                bytes + ROVK_OFFSET_PAYLOAD + field.offset);
  }
  return message;
}

std::optional<Received> Bench::next(uint16_t to) {
  rovk_message message = {};
  if (!unit.take(to ? to : application, message)) return std::nullopt;
  const auto* bytes = reinterpret_cast<const uint8_t*>(&message);
  const auto number = [bytes](unsigned offset, unsigned width) { return catalogue::load(bytes + offset, width); };
  Received received;
  received.application = static_cast<uint16_t>(number(ROVK_OFFSET_APPLICATION, 2));
  received.peripheral = static_cast<uint16_t>(number(ROVK_OFFSET_PERIPHERAL, 2));
  received.uuid = number(ROVK_OFFSET_UUID, 4);
  received.type = bytes[ROVK_OFFSET_TYPE];
  received.body = bytes[ROVK_OFFSET_BODY];
  received.payload.assign(bytes + ROVK_OFFSET_PAYLOAD, bytes + ROVK_MESSAGE_SIZE);
  if (received.type == ROVK_TYPE_EVENT) {
    const catalogue::Event* event = event_at(received.peripheral, received.body);
    if (event) received.values = read(event->record, received.payload.data());
  } else if (received.body == ROVK_RESPONSE_ERROR_INFO) {
    received.error_peripheral = static_cast<uint16_t>(number(ROVK_OFFSET_PAYLOAD, 2));
    received.error = static_cast<uint16_t>(number(ROVK_OFFSET_ERROR_ID, 2));
    received.detail.assign(bytes + ROVK_OFFSET_ERROR_DATA, bytes + ROVK_MESSAGE_SIZE);
  } else {
    received.values = read(answer_, received.payload.data());
  }
  return received;
}

Received Bench::ask(std::string_view service, std::string_view command, const Values& inputs,
                    std::optional<uint16_t> address, std::string_view data) {
  answer_ = catalogue::find_command(*catalogue::find_service(service), command)->answer;
  send(service, command, inputs, address, data);
  for (;;) {
    while (auto received = next()) {
      if (received->type == ROVK_TYPE_RESPONSE) return *received;
      kept_.push_back(*received);
    }
    const auto due = unit.next_due();
    if (!due) break;
    unit.advance_to(*due);
  }
  ADD_FAILURE() << service << " " << command << " was not answered";
  return {};
}

int64_t Bench::get(std::string_view service, std::string_view command, const Values& inputs) {
  const Received received = ask(service, command, inputs);
  EXPECT_EQ(received.error, 0) << service << " " << command;
  for (const catalogue::Field& field : answer_->fields) {
    if (!field.reserved) return received.values.at(field.name);
  }
  return 0;
}

bool Bench::name_peripheral(const std::string& word) {
  const std::string of_commands = word.substr(0, word.find_first_of("@/"));
  if (!catalogue::find_service(of_commands)) return false;
  service_ = of_commands;
  const std::string target = word.substr(word.find('@') + 1);  // all of it when there is none
  const std::size_t slash = target.find('/');
  const unsigned board = slash == std::string::npos ? 0 : static_cast<unsigned>(std::stoul(target.substr(slash + 1)));
  address_ = address_of(target.substr(0, slash), board);
  return true;
}

void Bench::play_command(std::string word, std::istream& words) {
  const bool waits = word != "send";
  if (!waits) words >> word;
  std::string command = word;
  if (name_peripheral(word)) words >> command;
  Values inputs;
  std::string data;
  while (words >> word && word != "->" && word != "!") {
    const std::size_t equals = word.find('=');
    if (word[0] == '\'') {
      data = word.substr(1, word.size() - 2);
    } else {
      inputs[word.substr(0, equals)] = std::stoll(word.substr(equals + 1), nullptr, 0);
    }
  }
  if (!waits) return send(service_, command, inputs, address_, data);
  const Received received = ask(service_, command, inputs, address_, data);
  if (words && word == "!") {
    words >> word;
    const catalogue::Error* error = catalogue::find_error(*catalogue::find_service(service_), word);
    if (!error) error = catalogue::find_error(catalogue::common(), word);
    ASSERT_TRUE(error) << word;
    ASSERT_EQ(received.error, error->id);
    unsigned detail = 0;
    if (words >> detail) {
      EXPECT_EQ(catalogue::load(received.detail.data(), 2), detail);
    }
    return;
  }
  ASSERT_EQ(received.error, 0);
  while (words >> word) {
    const std::size_t equals = word.find('=');
    if (word[0] == '\'') {
      const std::string bytes = word.substr(1, word.size() - 2);
      EXPECT_EQ(std::string(received.payload.begin(), received.payload.begin() + std::ssize(bytes)), bytes);
      continue;
    }
    const auto first = std::find_if(answer_->fields.begin(), answer_->fields.end(),
                                    [](const catalogue::Field& field) { return !field.reserved; });
    const std::string name = equals == std::string::npos ? first->name : word.substr(0, equals);
    EXPECT_EQ(received[name], std::stoll(word.substr(equals + 1), nullptr, 0)) << name;
  }
}

void Bench::play(const std::string& story) {
  const std::map<std::string, Time> times = {{"ns", 1ns}, {"ms", 1ms}, {"s", 1s}};
  std::istringstream steps(story);
  for (std::string step; std::getline(steps, step, ';');) {
    SCOPED_TRACE(step);
    std::istringstream words(step);
    std::string word, name;
    int64_t index = 0, value = 0;
    if (!(words >> word)) continue;
    if (word == "wait" || word == "at") {
      words >> value >> name;
      if (word == "at") {
        EXPECT_EQ(unit.clock().now(), value * times.at(name));
      } else {
        advance(value * times.at(name));
      }
    } else if (word == "events") {
      words >> value;
      EXPECT_EQ(std::ssize(events()), value);
    } else if (word == "input") {
      words >> name >> index >> value;
      EXPECT_TRUE(unit.set_input(find_input(name).value(), static_cast<unsigned>(index), value));
    } else if (word == "listen" || word == "reset") {
      words >> name;
      ASSERT_TRUE(name_peripheral(name));
      if (word == "listen") {
        listen_at(address_);
      } else {
        reset(address_);
      }
    } else {
      play_command(word, words);
    }
  }
}

std::vector<Received> Bench::events() {
  std::vector<Received> all;
  all.swap(kept_);
  while (auto received = next()) {
    if (received->type == ROVK_TYPE_EVENT) all.push_back(*received);
  }
  return all;
}

}  // namespace rovk::unit
