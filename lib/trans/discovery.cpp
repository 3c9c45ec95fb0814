#include "trans/discovery.h"

#include <rovk/constants.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <mutex>
#include <numeric>
#include <span>

#include "trans/commands.h"
#include "trans/context.h"
#include "trans/payload.h"
#include "wire/message.h"

namespace rovk::trans {
namespace {

using catalogue::Command;
using Peripheral = Lookups::Peripheral;

// Results, one for each distinct value. Never freed: programs hold pointers to them. A program can also
// write to them, so each look-up sets its result anew.
struct Interned {
  std::mutex mutex;
  std::map<uint16_t, uint16_t> addresses;
  std::map<std::pair<uint16_t, uint8_t>, rovk_device_address> devices;
};

Interned& interned() {
  static Interned* const instance = new Interned;
  return *instance;
}

const Command& common_command(const char* name) { return *catalogue::find_command(catalogue::common(), name); }

const Command& router_command(const char* name) {
  static const catalogue::Service& router = *catalogue::find_service_by_id(ROVK_ROUTER_0000_PERIPHERAL_ID);
  return *catalogue::find_command(router, name);
}

bool was_busy(const Question& question) {
  return question.status == ROVK_COMMON_ERROR_BUSY || question.status == ROVK_COMMON_ERROR_ALREADY_QUEUED ||
         question.status == ROVK_COMMON_ERROR_NO_RESOURCES;
}

// Asks all at once. A peripheral whose queue is shorter than that refuses the rest, which is asked again
// as long as each round gets further.
void ask_all(Context& context, std::span<Question> questions) {
  transact_all(context, questions);
  std::vector<Question> rest;
  do {
    rest.clear();
    std::copy_if(questions.begin(), questions.end(), std::back_inserter(rest), was_busy);
    if (rest.empty()) return;
    transact_all(context, rest);
    auto next = rest.begin();
    for (Question& question : questions) {
      if (was_busy(question)) question = *next++;
    }
  } while (!std::all_of(rest.begin(), rest.end(), was_busy));
}

// The values of an answer, by place. False: there is no answer with values.
bool read(const Question& question, void* const* slots) {
  return question.status == 0 && store(question.command->answer, wire::payload(question.answer), slots) == 0;
}

// The same command for each index from `first` up to before `end`.
template <typename Index>
class Indexed {
 public:
  Indexed(const Command& command, uint16_t address, Index first, unsigned end) : indexes_(end - first) {
    std::iota(indexes_.begin(), indexes_.end(), first);
    for (const Index& index : indexes_) inputs_.push_back(&index);
    for (const void*& input : inputs_) questions_.push_back({&command, address, &input});
  }
  Indexed(const Indexed&) = delete;
  Indexed& operator=(const Indexed&) = delete;

  std::vector<Question>& questions() { return questions_; }

 private:
  std::vector<Index> indexes_;
  std::vector<const void*> inputs_;
  std::vector<Question> questions_;
};

void learn_address(Lookups& lookups, uint16_t address) {
  const bool known = std::any_of(lookups.peripherals.begin(), lookups.peripherals.end(),
                                 [=](const Peripheral& peripheral) { return peripheral.address == address; });
  if (!known) lookups.peripherals.push_back({address, false, 0, 0, {}});
}

void learn_routes(Context& context) {
  Lookups& lookups = context.lookups;
  learn_address(lookups, ROVK_ROUTER_PERIPHERAL_ADDRESS);
  Question count_of_routes[] = {{&router_command("get_count"), ROVK_ROUTER_PERIPHERAL_ADDRESS, nullptr}};
  ask_all(context, count_of_routes);
  uint16_t count = 0;
  void* const count_slot[] = {&count};
  if (!read(count_of_routes[0], count_slot)) return;
  // A router that was reset has forgotten the routes that were added.
  lookups.routes = std::min(lookups.routes, count);
  Indexed<uint16_t> routes(router_command("get_route"), ROVK_ROUTER_PERIPHERAL_ADDRESS, lookups.routes, count);
  ask_all(context, routes.questions());
  for (const Question& question : routes.questions()) {
    uint16_t address = 0;
    void* const slots[] = {&address, nullptr};
    if (!read(question, slots)) return;
    learn_address(lookups, address);
    ++lookups.routes;
  }
}

// Asks those who have not been asked yet what they are.
void learn_infos(Context& context, std::span<Peripheral> peripherals) {
  std::vector<Question> questions;
  std::vector<Peripheral*> asked;
  for (Peripheral& peripheral : peripherals) {
    if (peripheral.asked) continue;
    questions.push_back({&common_command("get_peripheral_info"), peripheral.address, nullptr});
    asked.push_back(&peripheral);
  }
  ask_all(context, questions);
  for (std::size_t i = 0; i < asked.size(); ++i) {
    Peripheral& peripheral = *asked[i];
    void* const slots[] = {&peripheral.id,           nullptr, nullptr, nullptr, nullptr, nullptr,
                           &peripheral.device_count, nullptr};
    peripheral.asked = read(questions[i], slots);
  }
}

// Asks a peripheral for the devices that are not known yet, up to the first that it does not tell.
void learn_devices(Context& context, Peripheral& peripheral) {
  std::vector<uint32_t>& devices = peripheral.devices;
  if (devices.size() >= peripheral.device_count) return;
  Indexed<uint8_t> indexes(common_command("get_peripheral_device_id"), peripheral.address,
                           static_cast<uint8_t>(devices.size()), peripheral.device_count);
  ask_all(context, indexes.questions());
  for (const Question& question : indexes.questions()) {
    uint32_t device = 0;
    void* const slot[] = {&device};
    if (!read(question, slot)) return;
    devices.push_back(device);
  }
}

// Gives the first peripheral that suits, in the order of the router; asks for new routes when none of
// those known does.
template <typename Suits>
const Peripheral* search(Context& context, uint16_t id, Suits suits) {
  std::vector<Peripheral>& peripherals = context.lookups.peripherals;
  std::size_t next = 0;
  for (const bool ask_router : {false, true}) {
    // Those that did not answer are passed over, and not asked twice in one search.
    if (ask_router) learn_routes(context);
    learn_infos(context, std::span(peripherals).subspan(next));
    for (; next < peripherals.size(); ++next) {
      Peripheral& peripheral = peripherals[next];
      if (peripheral.asked && peripheral.id == id && suits(peripheral)) return &peripheral;
    }
  }
  return nullptr;
}

}  // namespace

uint16_t* find_peripheral(Context& context, uint16_t id) {
  const Peripheral* const found = search(context, id, [](const Peripheral&) { return true; });
  if (!found) return nullptr;
  const std::lock_guard lock(interned().mutex);
  return &(interned().addresses[found->address] = found->address);
}

rovk_device_address* find_device(Context& context, uint16_t id, uint32_t device_id) {
  std::size_t index = 0;
  const Peripheral* const found = search(context, id, [&](Peripheral& peripheral) {
    learn_devices(context, peripheral);
    const std::vector<uint32_t>& devices = peripheral.devices;
    index = static_cast<std::size_t>(std::find(devices.begin(), devices.end(), device_id) - devices.begin());
    return index < devices.size();
  });
  if (!found) return nullptr;
  const rovk_device_address address = {found->address, static_cast<uint8_t>(index)};
  const std::lock_guard lock(interned().mutex);
  return &(interned().devices[{address.address, address.index}] = address);
}

}  // namespace rovk::trans
