#include "tests/unit/bench.h"

#include <algorithm>

#include "unit/devices.h"

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

std::vector<Received> Bench::events() {
  std::vector<Received> all;
  all.swap(kept_);
  while (auto received = next()) {
    if (received->type == ROVK_TYPE_EVENT) all.push_back(*received);
  }
  return all;
}

}  // namespace rovk::unit
