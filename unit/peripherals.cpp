#include "unit/peripherals.h"

#include <rovk/constants.h>

#include <string>
#include <utility>

#include "catalogue/fields.h"
#include "unit/fittings.h"
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

const PeripheralDescription router_description = [] {
  PeripheralDescription router;
  router.service = "router_0000";
  router.boot_ms = 0;  // what carries the messages is there as long as the unit is
  return router;
}();

// A description that the view cannot be made of is told with its place in the unit file.
std::unique_ptr<View> make_view(const Setup& setup, const std::string& board) {
  try {
    return find_maker(setup.service.name)(setup);
  } catch (const DescriptionError& error) {
    fail_at({setup.description.where, board}, error.what());
  }
}

std::vector<uint16_t> addresses_of(const std::vector<Fitting>& fitted) {
  std::vector<uint16_t> addresses;
  for (const Fitting& fitting : fitted) {
    addresses.push_back(fitting.address);
    if (fitting.description) {
      addresses.insert(addresses.end(), fitting.description->aliases.begin(), fitting.description->aliases.end());
    }
  }
  return addresses;
}

// A value that the file describes, of a subject that a thing knows and the view keeps no value of.
void check_values(View& view) {
  for (const ValueDescription& value : view.setup().description.values) {
    const catalogue::Service& service = view.service();
    const catalogue::Command* const row = catalogue::find_command(service, "get_" + value.subject);
    const catalogue::Field* const field =
        row && row->answer ? catalogue::find_field(*row->answer, value.field) : nullptr;
    if (!value.initial || !field) continue;
    const std::vector<uint8_t> zeros(ROVK_MESSAGE_PAYLOAD_SIZE);
    Call call(service, *row, zeros, 0);
    try {
      view.run(call);
    } catch (const Refusal&) {
      continue;  // it wants to be told more
    }
    if (catalogue::load_number(call.answer().data(), *field) == *value.initial) continue;
    fail_at({view.setup().description.where}, std::string(service.name) + " shows a thing by " + value.subject + "." +
                                                  value.field + "; what it begins with is told of the thing");
  }
}

}  // namespace

void Peripherals::fit(const UnitDescription& unit, const things::Body& body, Host& host, Answers& answers) {
  const std::vector<Fitting> fitted = fittings(unit);
  for (const Fitting& fitting : fitted) {
    const PeripheralDescription& own = fitting.description ? *fitting.description : router_description;
    const Setup setup = {*fitting.service,
                         host,
                         fitting.devices,
                         fitting.location,
                         fitting.address,
                         *body.boards().at(fitting.board),
                         own};
    auto& peripheral = all_.emplace_back(std::make_unique<Peripheral>(fitting.address, host, answers));
    by_address_.emplace(fitting.address, peripheral.get());
    for (const uint16_t alias : own.aliases) by_address_.emplace(alias, peripheral.get());
    if (fitting.address == ROVK_ROUTER_PERIPHERAL_ADDRESS) {
      auto own_view = std::make_unique<Router>(setup, addresses_of(fitted));
      router_ = own_view.get();
      peripheral->view = std::move(own_view);
    } else {
      peripheral->view = make_view(setup, unit.boards[fitting.board].where);
    }
  }
  for (const auto& peripheral : all_) peripheral->view->reset();
  for (const auto& peripheral : all_) check_values(*peripheral->view);
}

View* Peripherals::find(std::string_view service) const {
  for (const auto& peripheral : all_) {
    if (service == peripheral->view->service().name) return peripheral->view.get();
  }
  return nullptr;
}

const catalogue::Service* Peripherals::service_at(uint16_t address) const {
  const Peripheral* const peripheral = find(address);
  return peripheral ? &peripheral->view->service() : nullptr;
}

}  // namespace rovk::unit
