// Who is told when a thing changes. Views watch things; things may watch one another. Whoever watches
// lives as long as the thing, so nobody is ever taken off the list.
#pragma once

#include <functional>
#include <utility>
#include <vector>

namespace rovk::unit::things {

template <typename... Told>
class Watchers {
 public:
  void add(std::function<void(Told...)> watcher) { watchers_.push_back(std::move(watcher)); }
  // In the order in which they began to watch.
  void tell(Told... told) const {
    for (const auto& watcher : watchers_) watcher(told...);
  }

 private:
  std::vector<std::function<void(Told...)>> watchers_;
};

}  // namespace rovk::unit::things
