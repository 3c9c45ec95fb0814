// Plain get and set, driven by the rows of the catalogue: which fields a subject has and which of an
// answer's fields are limits follows from the records.
#include <algorithm>
#include <stdexcept>
#include <string>

#include "catalogue/fields.h"
#include "unit/fittings.h"
#include "unit/services/view.h"

namespace rovk::unit {
namespace {

using catalogue::Field;
using catalogue::Kind;
using catalogue::Record;

constexpr std::string_view get_prefix = "get_";
constexpr std::string_view set_prefix = "set_";

bool carries_value(const Field& field) {
  return !field.reserved && field.kind == Kind::number && std::string_view(field.name) != "index";
}

// Which register a field of an answer belongs to, and what of it the field shows.
struct Role {
  enum { value, low, high } part;
  std::string_view field;
};

Role role_of(const Record& answer, const Field& field) {
  const std::string_view name = field.name;
  for (const auto& [prefix, part] : {std::pair{std::string_view("min"), Role::low}, {"max", Role::high}}) {
    if (!name.starts_with(prefix)) continue;
    if (name == prefix) {
      // One pair of limits for all values of the answer.
      const auto first = std::find_if(answer.fields.begin(), answer.fields.end(), carries_value);
      return {part, first->name};
    }
    const std::string_view rest = name.substr(prefix.size() + 1);
    if (name[prefix.size()] == '_' && catalogue::find_field(answer, rest)) return {part, rest};
  }
  return {Role::value, name};
}

Register of_type(std::string_view subject, const Field& field) {
  if (std::string_view(field.name) == "enable") return {subject, field.name, 0, 1, 0};
  const int64_t span = int64_t{1} << 8 * field.width;
  const int64_t low = field.is_signed ? -span / 2 : 0;
  return {subject, field.name, low, low + span - 1, 0};
}

[[noreturn]] void no_register(std::string_view subject, std::string_view field) {
  throw std::logic_error("no register " + std::string(subject) + "." + std::string(field));
}

}  // namespace

Registers::Registers(const catalogue::Service& service, unsigned devices, std::span<const Register> declared,
                     std::span<const ValueDescription> described)
    : service_(service), devices_(devices), declared_(declared), described_(described) {
  if (!described.empty()) make();  // its mistakes are found at once
}

Registers::Cells& Registers::cells() const {
  if (!made_) make();
  return cells_;
}

void Registers::make() const {
  made_ = true;
  for (const Register& row : declared_) declare(row);
  for (const catalogue::Command& command : service_.commands) {
    const std::string_view name = command.name;
    const Record* record = nullptr;
    if (name.starts_with(set_prefix)) record = command.request;
    if (name.starts_with(get_prefix)) record = command.answer;
    if (!record) continue;
    const std::string_view subject = name.substr(get_prefix.size());
    for (const Field& field : record->fields) {
      if (carries_value(field) && role_of(*record, field).part == Role::value) declare(of_type(subject, field));
    }
  }
  for (const ValueDescription& value : described_) describe(value);
}

void Registers::describe(const ValueDescription& value) const {
  const auto found = cells_.find({value.subject, value.field});
  if (found == cells_.end()) {
    throw DescriptionError(std::string(service_.name) + " keeps no " + value.subject + "." + value.field);
  }
  Register& row = found->second.row;
  row.low = value.low.value_or(row.low);
  row.high = value.high.value_or(row.high);
  row.initial = value.initial.value_or(std::clamp(row.initial, row.low, std::max(row.low, row.high)));
  if (row.low > row.high || row.initial < row.low || row.initial > row.high) {
    throw DescriptionError("limits and initial value of " + std::string(service_.name) + "'s " + value.subject + "." +
                           value.field + " do not agree");
  }
  std::fill(found->second.values.begin(), found->second.values.end(), row.initial);
}

// The first declaration of a register holds.
void Registers::declare(const Register& row) const {
  Register kept = row;
  kept.initial = std::clamp(row.initial, row.low, row.high);
  cells_.try_emplace({row.subject, row.field}, Cell{kept, std::vector<int64_t>(devices_, kept.initial)});
}

Registers::Cell& Registers::cell(std::string_view subject, std::string_view field) const {
  const auto found = cells().find({subject, field});
  if (found == cells_.end()) no_register(subject, field);
  return found->second;
}

int64_t Registers::get(std::string_view subject, std::string_view field, unsigned device) const {
  return cell(subject, field).values.at(device);
}

void Registers::set(std::string_view subject, std::string_view field, unsigned device, int64_t value) {
  cell(subject, field).values.at(device) = value;
}

int64_t Registers::low(std::string_view subject, std::string_view field) const { return cell(subject, field).row.low; }

int64_t Registers::high(std::string_view subject, std::string_view field) const {
  return cell(subject, field).row.high;
}

bool Registers::run(Call& call, unsigned device, std::string_view subject) {
  const std::string_view name = call.command().name;
  if (!name.starts_with(get_prefix) && !name.starts_with(set_prefix)) return false;
  if (subject.empty()) subject = name.substr(get_prefix.size());
  if (name.starts_with(get_prefix)) {
    read(call, device, subject);
  } else {
    write(call, device, subject);
  }
  return true;
}

void Registers::read(Call& call, unsigned device, std::string_view subject) const {
  if (!call.command().answer) return;
  const Record& answer = *call.command().answer;
  for (const Field& field : answer.fields) {
    if (!carries_value(field)) continue;
    const Role role = role_of(answer, field);
    const Cell& found = cell(subject, role.field);
    call.set(field.name, role.part == Role::low    ? found.row.low
                         : role.part == Role::high ? found.row.high
                                                   : found.values.at(device));
  }
}

void Registers::write(const Call& call, unsigned device, std::string_view subject) {
  if (!call.command().request) return;
  const auto& fields = call.command().request->fields;
  for (const Field& field : fields) {
    if (carries_value(field)) call.within(field.name, low(subject, field.name), high(subject, field.name));
  }
  for (const Field& field : fields) {
    if (carries_value(field)) set(subject, field.name, device, call.number(field.name));
  }
}

void Registers::reset() {
  for (auto& [key, held] : cells_) std::fill(held.values.begin(), held.values.end(), held.row.initial);
}

}  // namespace rovk::unit
