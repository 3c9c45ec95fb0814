// Searches in the rows. The lists are short (17 entries at most), so a walk is quick enough.
#include "catalogue/catalogue.h"

#include <algorithm>

namespace rovk::catalogue {
namespace {

template <typename Row>
const Row* by_name(std::span<const Row> rows, std::string_view name) {
  if (name.empty()) return nullptr;
  // Most differ in the first letter: the lengths of those need not be known.
  const auto found = std::find_if(rows.begin(), rows.end(),
                                  [name](const Row& row) { return row.name[0] == name[0] && name == row.name; });
  return found == rows.end() ? nullptr : &*found;
}

template <typename Row, typename Number>
const Row* by_number(std::span<const Row> rows, Number Row::*member, Number number) {
  const auto found = std::find_if(rows.begin(), rows.end(), [=](const Row& row) { return row.*member == number; });
  return found == rows.end() ? nullptr : &*found;
}

}  // namespace

const Service* find_service(std::string_view name) { return by_name(services(), name); }

const Service* find_service_by_id(uint16_t id) { return by_number(services(), &Service::id, int32_t{id}); }

const Command* find_command(const Service& service, uint8_t opcode) {
  return by_number(service.commands, &Command::opcode, opcode);
}

const Command* find_command(const Service& service, std::string_view name) { return by_name(service.commands, name); }

const Event* find_event(const Service& service, std::string_view name) { return by_name(service.events, name); }

const Event* find_event(const Service& service, uint8_t id) { return by_number(service.events, &Event::id, id); }

const Error* find_error(const Service& service, uint16_t id) { return by_number(service.errors, &Error::id, id); }

const Error* find_error(const Service& service, std::string_view name) { return by_name(service.errors, name); }

const Field* find_field(const Record& record, std::string_view name) { return by_name(record.fields, name); }

}  // namespace rovk::catalogue
