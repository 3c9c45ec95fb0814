#include "unit/model.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace rovk::unit {
namespace {

// A device is picked by an 8-bit index; a wider one, like that of a route, counts something else.
bool picks_device(const Call& call) {
  const catalogue::Field* const field =
      call.command().request ? catalogue::find_field(*call.command().request, "index") : nullptr;
  return field && field->width == 1;
}

}  // namespace

Model::Model(const Setup& setup, std::span<const Register> registers)
    : setup_(setup), registers_(setup.service, static_cast<unsigned>(setup.devices.size()), registers) {}

void Model::run(Call& call) {
  if (picks_device(call) && call.number("index") >= static_cast<int64_t>(devices())) call.refuse_input("index");
  const auto handler = handlers_.find(call.command().name);
  if (handler != handlers_.end()) {
    handler->second(call);
  } else if (!registers_.run(call, device(call))) {
    call.refuse("unknown_command");
  }
}

void Model::on(std::string_view command, Handler handler) {
  if (!catalogue::find_command(setup_.service, command)) {
    throw std::logic_error(std::string(setup_.service.name) + " has no command " + std::string(command));
  }
  handlers_.insert_or_assign(command, std::move(handler));
}

unsigned Model::device(const Call& call) {
  return picks_device(call) ? static_cast<unsigned>(call.number("index")) : 0;
}

}  // namespace rovk::unit
