#include "unit/services/view.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "unit/fittings.h"

namespace rovk::unit {
namespace {

// A device is picked by an 8-bit index; a wider one, like that of a route, counts something else.
const catalogue::Field* device_field(const catalogue::Command& command) {
  const catalogue::Field* const field = command.request ? catalogue::find_field(*command.request, "index") : nullptr;
  return field && field->width == 1 ? field : nullptr;
}

}  // namespace

View::View(const Setup& setup, std::span<const Register> registers)
    : setup_(setup),
      registers_(setup.service, static_cast<unsigned>(setup.devices.size()), registers, setup.description.values),
      entries_(setup.service.commands.size()) {
  for (const catalogue::Command& command : setup.service.commands) entry(command).device = device_field(command);
}

void View::check(Call& call) const {
  const catalogue::Field* const field = entry(call.command()).device;
  if (!field) return;
  const auto index = static_cast<unsigned>(call.number(*field));
  if (index >= devices()) call.refuse_input(*field);
  call.pick_device(index);
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

void View::on(std::string_view command, Handler handler) { entry(command).handler = std::move(handler); }

void View::queue(std::string_view command, Handler handler) {
  entry(command).handler = std::move(handler);
  entry(command).takes_time = true;
}

const catalogue::Event& View::event(std::string_view name) const {
  const catalogue::Event* row = catalogue::find_event(setup_.service, name);
  if (!row) row = catalogue::find_event(catalogue::common(), name);
  if (!row) throw std::logic_error(std::string(setup_.service.name) + " has no event " + std::string(name));
  return *row;
}

View::Entry& View::entry(std::string_view command) {
  const catalogue::Command* const row = catalogue::find_command(setup_.service, command);
  if (!row) throw std::logic_error(std::string(setup_.service.name) + " has no command " + std::string(command));
  return entry(*row);
}

View::Entry& View::entry(const catalogue::Command& command) {
  return entries_.at(static_cast<std::size_t>(&command - setup_.service.commands.data()));
}

const View::Entry& View::entry(const catalogue::Command& command) const {
  return entries_.at(static_cast<std::size_t>(&command - setup_.service.commands.data()));
}

void View::no_thing(unsigned device) const {
  throw DescriptionError(std::string("device ") + std::to_string(device) + " of " + setup_.service.name +
                         " shows what is on no board");
}

}  // namespace rovk::unit
