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
  if (std::string_view(field.name) == "enable") return {subject, field.name, 0, 1, 0, -1};
  const int64_t span = int64_t{1} << 8 * field.width;
  const int64_t low = field.is_signed ? -span / 2 : 0;
  return {subject, field.name, low, low + span - 1, 0, -1};
}

[[noreturn]] void no_register(std::string_view subject, std::string_view field) {
  throw std::logic_error("no register " + std::string(subject) + "." + std::string(field));
}

}  // namespace

Registers::Registers(const catalogue::Service& service, unsigned devices, std::span<const Register> declared,
                     std::span<const ValueDescription> described)
    : service_(service), devices_(devices), declared_(declared) {
  for (const ValueDescription& value : described) describe(value);
}

void Registers::make() const {
  if (made_) return;
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
  plans_.resize(service_.commands.size());
}

// The first declaration of a register holds.
void Registers::declare(const Register& row) const {
  if (find(row.subject, row.field)) return;
  Cell& made = cells_.emplace_back(Cell{row, {}});
  if (row.key >= 0) return;
  made.row.initial = std::clamp(row.initial, row.low, row.high);
  made.values.assign(devices_, made.row.initial);
}

void Registers::describe(const ValueDescription& value) {
  make();
  Cell* const found = find(value.subject, value.field);
  if (!found || found->row.key >= 0) {
    throw DescriptionError(std::string(service_.name) + " keeps no " + value.subject + "." + value.field);
  }
  Register& row = found->row;
  row.low = value.low.value_or(row.low);
  row.high = value.high.value_or(row.high);
  row.initial = value.initial.value_or(std::clamp(row.initial, row.low, std::max(row.low, row.high)));
  if (row.low > row.high || row.initial < row.low || row.initial > row.high) {
    throw DescriptionError("limits and initial value of " + std::string(service_.name) + "'s " + value.subject + "." +
                           value.field + " do not agree");
  }
  std::fill(found->values.begin(), found->values.end(), row.initial);
}

Registers::Cell* Registers::find(std::string_view subject, std::string_view field) const {
  const auto found = std::find_if(cells_.begin(), cells_.end(), [&](const Cell& candidate) {
    return candidate.row.subject == subject && candidate.row.field == field;
  });
  return found == cells_.end() ? nullptr : &*found;
}

Registers::Cell& Registers::cell(std::string_view subject, std::string_view field) const {
  make();
  Cell* const found = find(subject, field);
  if (!found) no_register(subject, field);
  return *found;
}

int64_t Registers::value_of(const Cell& cell, unsigned device) const {
  return cell.row.key < 0 ? cell.values.at(device) : backing_->get(cell.row.key, device);
}

void Registers::put(Cell& cell, unsigned device, int64_t value) {
  if (cell.row.key >= 0) return backing_->set(cell.row.key, device, value);
  cell.values.at(device) = value;
}

Backing::Limits Registers::limits_of(const Cell& cell, unsigned device) const {
  if (cell.row.key >= 0) return backing_->limits(cell.row.key, device);
  return {cell.row.low, cell.row.high};
}

int64_t Registers::get(std::string_view subject, std::string_view field, unsigned device) const {
  return value_of(cell(subject, field), device);
}

void Registers::set(std::string_view subject, std::string_view field, unsigned device, int64_t value) {
  put(cell(subject, field), device, value);
}

Registers::Plan Registers::plan(const catalogue::Command& command, std::string_view subject) const {
  Plan made = {true, {}};
  const bool reads = std::string_view(command.name).starts_with(get_prefix);
  const Record* const record = reads ? command.answer : command.request;
  if (!record) return made;
  for (const Field& field : record->fields) {
    if (!carries_value(field)) continue;
    const Role role = reads ? role_of(*record, field) : Role{Role::value, field.name};
    using Part = Step::Part;
    const Part part = role.part == Role::low ? Part::low : role.part == Role::high ? Part::high : Part::value;
    made.steps.push_back({part, &field, &cell(subject, role.field)});
  }
  return made;
}

bool Registers::run(Call& call, unsigned device, std::string_view subject) {
  const catalogue::Command& command = call.command();
  const std::string_view name = command.name;
  const bool reads = name.starts_with(get_prefix);
  if (!reads && !name.starts_with(set_prefix)) return false;
  make();
  Plan other;
  Plan* steps = &other;
  if (subject.empty()) {
    steps = &plans_[static_cast<std::size_t>(&command - service_.commands.data())];
    if (!steps->made) *steps = plan(command, name.substr(get_prefix.size()));
  } else {
    other = plan(command, subject);
  }
  if (reads) {
    for (const Step& step : steps->steps) {
      call.set(*step.field, step.part == Step::Part::value ? value_of(*step.cell, device)
                            : step.part == Step::Part::low ? limits_of(*step.cell, device).low
                                                           : limits_of(*step.cell, device).high);
    }
    return true;
  }
  for (const Step& step : steps->steps) {
    const auto [low, high] = limits_of(*step.cell, device);
    const int64_t value = call.number(*step.field);
    if (value < low || value > high) call.refuse_input(*step.field);
  }
  for (const Step& step : steps->steps) put(*step.cell, device, call.number(*step.field));
  return true;
}

void Registers::reset() {
  for (const Register& row : declared_) {
    for (unsigned device = 0; row.key >= 0 && device < devices_; ++device) backing_->restore(row.key, device);
  }
  for (Cell& held : cells_) std::fill(held.values.begin(), held.values.end(), held.row.initial);
}

}  // namespace rovk::unit
