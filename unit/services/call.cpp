#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

#include "catalogue/fields.h"
#include "unit/services/view.h"

namespace rovk::unit {
namespace {

using catalogue::Command;
using catalogue::Field;
using catalogue::Record;

[[noreturn]] void defect(const Command& command, std::string_view what) {
  throw std::logic_error(std::string(command.name) + " has no " + std::string(what));
}

bool is_called(const Field& field, std::string_view name) {
  return std::strncmp(field.name, name.data(), name.size()) == 0 && field.name[name.size()] == '\0';
}

// Views name the fields of a record mostly in their order, so the search goes on behind the last one found.
const Field& field_of(const Command& command, const Record* record, std::string_view name, unsigned& next) {
  const std::size_t count = record ? record->fields.size() : 0;
  for (std::size_t tried = 0; tried < count; ++tried) {
    if (next >= count) next = 0;
    const Field& field = record->fields[next++];
    if (is_called(field, name)) return field;
  }
  defect(command, name);
}

}  // namespace

Call::Call(const catalogue::Service& service, const Command& command, std::span<const uint8_t> payload,
           uint16_t application)
    : service_(service), command_(command), application_(application) {
  std::copy_n(payload.begin(), std::min(payload.size(), sizeof request_), request_);
}

bool Call::has(std::string_view field) const {
  return command_.request && catalogue::find_field(*command_.request, field);
}

const Field& Call::input(std::string_view field) const {
  return field_of(command_, command_.request, field, next_input_);
}

const Field& Call::output(std::string_view field) { return field_of(command_, command_.answer, field, next_output_); }

int64_t Call::number(std::string_view field) const { return catalogue::load_number(request_, input(field)); }

std::span<const uint8_t> Call::bytes(std::string_view field) const {
  const Field& row = input(field);
  return {request_ + row.offset, row.size()};
}

void Call::set(std::string_view field, int64_t value) { catalogue::store_number(answer_, output(field), value); }

int64_t Call::number(const Field& field) const { return catalogue::load_number(request_, field); }

void Call::set(const Field& field, int64_t value) { catalogue::store_number(answer_, field, value); }

void Call::refuse_input(const Field& field) const { refuse("invalid_payload", {field.offset}); }

void Call::set_bytes(std::string_view field, std::span<const uint8_t> value) {
  const Field& row = output(field);
  std::copy_n(value.begin(), std::min<std::size_t>(value.size(), row.size()), answer_ + row.offset);
}

void Call::set_version(std::string_view field, rovk_version value) {
  const Field& row = output(field);
  answer_[row.offset] = value.major;
  answer_[row.offset + 1] = value.minor;
}

void Call::refuse_input(std::string_view field) const { refuse_input(input(field)); }

void Call::refuse(std::string_view error, std::initializer_list<int64_t> detail) const {
  const catalogue::Error* row = catalogue::find_error(service_, error);
  if (!row) row = catalogue::find_error(catalogue::common(), error);
  if (!row) defect(command_, error);
  throw Refusal{row->id, detail};
}

int64_t Call::within(std::string_view field, int64_t low, int64_t high) const {
  const int64_t value = number(field);
  if (value < low || value > high) refuse_input(field);
  return value;
}

void Call::take(Time duration, std::function<void(Call&)> last) {
  if (course_) return course_->take(duration, std::move(last));
  if (last) defect(command_, "queue to wait in");
  duration_ = duration;
}

Ticket Call::wait() {
  if (!course_) defect(command_, "queue to wait in");
  return course_->wait();
}

bool Call::same_as(const Call& other) const {
  return &command_ == &other.command_ && application_ == other.application_ &&
         std::equal(std::begin(request_), std::end(request_), std::begin(other.request_));
}

std::span<const uint8_t> Call::answer() const { return {answer_, command_.answer ? command_.answer->size : 0U}; }

}  // namespace rovk::unit
