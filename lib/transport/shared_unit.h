// A simulated unit of this process and those who are connected to it. A unit with a name is shared by
// the connections that give the name and ends with the last of them.
#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "rovk/transport.h"
#include "transport/options.h"
#include "unit/unit.h"

namespace rovk::transport {

// The mutex guards all the rest: connections to one unit may belong to different threads.
struct SharedUnit {
  explicit SharedUnit(const Options& options);

  // To be called after whatever may have put a message into an inbox or moved a due time, with the
  // connection whose inbox may have been emptied: brings the descriptors up to date and wakes the threads
  // that wait.
  void changed(rovk_transport* own = nullptr) {
    if (!watched.empty()) arm_watched(own);
    if (waiting > 0) woken.notify_all();
  }

  std::mutex mutex;
  std::condition_variable woken;
  unsigned waiting = 0;  // threads that `woken` is to wake
  unit::Unit unit;
  std::vector<rovk_transport*> connections;
  std::map<uint16_t, rovk_transport*> watched;  // of these the ones with a descriptor, by application
  std::optional<unit::Time> armed_until;        // what all of them know of the unit's next due time

 private:
  void arm_watched(rovk_transport* own);
};

// Null: there is a unit of that name, and it was opened with other options than those given here.
// Options that are left out agree with anything.
std::shared_ptr<SharedUnit> acquire_unit(const Options& options);

}  // namespace rovk::transport
