// One connection of an application to a unit, and the register by which rovk_unit_* finds it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "rovk/unit.h"
#include "transport/shared_unit.h"

struct rovk_transport {
 public:
  // Joins the unit, and enters itself under `owner`.
  rovk_transport(std::shared_ptr<rovk::transport::SharedUnit> shared, void* owner);
  ~rovk_transport();
  rovk_transport(const rovk_transport&) = delete;
  rovk_transport& operator=(const rovk_transport&) = delete;

  rovk::transport::SharedUnit& shared() { return *shared_; }
  uint16_t application() const { return application_; }

  // The descriptor, made when it is first asked for. -errno when there can be none.
  // This and the two below are called with the unit's mutex held.
  int32_t descriptor(uint64_t wake_ns);
  bool watched() const { return timer_ >= 0; }
  const rovk::wire::Queue& inbox() const { return *inbox_; }
  // Whether events were lost since the last call.
  bool has_lost_events() {
    const uint64_t before = std::exchange(lost_events_, inbox_->lost());
    return lost_events_ != before;
  }
  // Sets the timer behind the descriptor, which there is, to when there is something to do next.
  void arm();

  // Actions at a time of the unit's clock. They run without the mutex, since they act on the unit, and
  // while one runs nothing can be sent or received.
  void plan_action(rovk::unit::Time when, rovk_unit_action action, void* pointer);
  std::optional<rovk::unit::Time> next_action() const;
  void run_actions(std::unique_lock<std::mutex>& lock);
  bool acting() const { return acting_; }
  // Closed by an action: whoever runs it deletes the connection.
  void doom() { doomed_ = true; }
  bool doomed() const { return doomed_; }

 private:
  struct Action {
    rovk_unit_action run;
    void* pointer;
  };
  uint64_t due();

  std::shared_ptr<rovk::transport::SharedUnit> shared_;
  void* owner_;
  uint16_t application_;
  const rovk::wire::Queue* inbox_;
  uint64_t lost_events_ = 0;
  std::multimap<rovk::unit::Time, Action> actions_;
  bool acting_ = false;
  bool doomed_ = false;
  int timer_ = -1;
  uint64_t wake_ns_ = UINT64_MAX;
  uint64_t armed_ns_ = UINT64_MAX;  // unit's clock; 0: readable at once; UINT64_MAX: not armed
};

namespace rovk::transport {

// What rovk_unit_* works on: the unit behind a context, and the context's address there. The unit
// stays while the hand is held. Null: no connection serves that context.
struct Hand {
  std::shared_ptr<SharedUnit> shared;
  uint16_t application;
};
Hand find_hand(void* owner);

}  // namespace rovk::transport
