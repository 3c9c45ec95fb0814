// Who wants which event of which peripheral. An entry that is removed while its event is delivered is
// only marked: the list keeps its shape until the delivery is over. A callback is called
// with no entry that was removed before the call, nor with one that was added during the delivery.
#pragma once

#include <rovk/types.h>

#include <cstdint>
#include <map>
#include <vector>

#include "catalogue/catalogue.h"
#include "trans/calls.h"

namespace rovk::trans {

struct Subscription {
  const catalogue::Service* service;
  const catalogue::Event* event;
  uint16_t address;
  Callback callback;  // without a function: the event goes to the log
  void* user;
  bool removed = false;
};

class Subscriptions {
 public:
  // Makes room for one entry, so that add() cannot fail.
  void reserve(const Subscription& subscription);
  void add(const Subscription& subscription) { lists_[key_of(subscription)].push_back(subscription); }
  // Remove all entries of that callback, with `user` alone or with any; give their number.
  unsigned remove(const catalogue::Event* event, uint16_t address, Function function);
  unsigned remove(const catalogue::Event* event, uint16_t address, Function function, const void* user);
  void remove_all();

  bool any(uint16_t address) const;
  bool logs(const catalogue::Event* event, uint16_t address) const;

  // Calls all whom an event message concerns; gives the number of callbacks that ran.
  unsigned deliver(void* context, const rovk_message& message);

 private:
  // Address and event id: all that an event message tells of itself. Those of one address stand together.
  using Key = uint32_t;
  static Key key_of(uint16_t address, uint8_t id) { return Key{address} << 8 | id; }
  static Key key_of(const Subscription& entry) { return key_of(entry.address, entry.event->id); }
  using List = std::vector<Subscription>;

  template <typename Which>
  unsigned remove_if(List& list, Which which);
  void sweep();

  // A list stays where it is while others come and go.
  std::map<Key, List> lists_;
  bool delivering_ = false;
  bool to_sweep_ = false;
};

}  // namespace rovk::trans
