#include "unit/services/view.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "unit/fittings.h"

namespace rovk::unit {
namespace {

// A device is picked by an 8-bit index; a wider one, like that of a route, counts something else.
bool picks_device(const Call& call) {
  const catalogue::Field* const field =
      call.command().request ? catalogue::find_field(*call.command().request, "index") : nullptr;
  return field && field->width == 1;
}

}  // namespace

View::View(const Setup& setup, std::span<const Register> registers)
    : setup_(setup),
      registers_(setup.service, static_cast<unsigned>(setup.devices.size()), registers, setup.description.values),
      entries_(setup.service.commands.size()) {}

void View::check(const Call& call) const {
  if (picks_device(call) && call.number("index") >= static_cast<int64_t>(devices())) call.refuse_input("index");
}

void View::run(Call& call) {
  check(call);
  const Entry& found = entry(call.command());
  if (found.handler) {
    found.handler(call);
  } else if (!registers_.run(call, device(call))) {
    call.refuse("unknown_command");
  }
}

bool View::takes_time(const catalogue::Command& command) const { return entry(command).takes_time; }

void View::on(std::string_view command, Handler handler) { entry(command) = {std::move(handler), false}; }

void View::queue(std::string_view command, Handler handler) { entry(command) = {std::move(handler), true}; }

View::Entry& View::entry(std::string_view command) {
  const catalogue::Command* const row = catalogue::find_command(setup_.service, command);
  if (!row) throw std::logic_error(std::string(setup_.service.name) + " has no command " + std::string(command));
  return entries_[static_cast<std::size_t>(row - setup_.service.commands.data())];
}

const View::Entry& View::entry(const catalogue::Command& command) const {
  return entries_.at(static_cast<std::size_t>(&command - setup_.service.commands.data()));
}

void View::no_thing(unsigned device) const {
  throw DescriptionError(std::string("device ") + std::to_string(device) + " of " + setup_.service.name +
                         " shows what is on no board");
}

unsigned View::device(const Call& call) { return picks_device(call) ? static_cast<unsigned>(call.number("index")) : 0; }

}  // namespace rovk::unit
