// A peripheral at its address: its view, its fault, and the queue in which commands that take time wait
// for their turn. They run one after the other; other commands pass them by.
#pragma once

#include <rovk/types.h>

#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "unit/services/view.h"

namespace rovk::unit {

class Peripheral;

// A command that takes time, from its arrival to its answer.
class Job final : public Course, public std::enable_shared_from_this<Job> {
 public:
  // `reply` has the header of the answer.
  Job(Peripheral& peripheral, const Call& call, uint16_t application, const rovk_message& reply);

  void take(Time duration, std::function<void(Call&)> last) override;
  Ticket wait() override;
  void end(const std::function<void(Call&)>& last) override;

  const uint16_t application;
  const rovk_message reply;
  Call call;

 private:
  friend class Peripheral;
  enum class Stage : uint8_t { queued, running, over };

  Peripheral& peripheral_;
  Stage stage_ = Stage::queued;
  bool waits_ = false;  // for its ticket
  Time duration_{0};
  std::function<void(Call&)> last_;
  Timer timer_;
};

// Sends answers. `refusal` null: the command has succeeded.
class Answers {
 public:
  virtual ~Answers() = default;
  virtual void answer(const Job& job, const Refusal* refusal) = 0;
};

class Peripheral {
 public:
  struct Origin {
    uint16_t application;
    rovk_message reply;
  };

  Peripheral(uint16_t own_address, Host& host, Answers& answers);

  // Takes a command into the queue and, when it is the first, begins it. Throws Refusal.
  void accept(std::shared_ptr<Job> job);
  // Ends all that is in the queue with this refusal.
  void break_off(const Refusal& refusal);
  // Drops all that is in the queue without an answer, as when the power fails.
  void drop();

  const uint16_t address;
  std::unique_ptr<View> view;
  uint16_t fault = 0;  // 0: none
  unsigned late = 0;   // commands outside the queue whose answers are still to come
  bool booting = false;
  std::optional<Time> upset;      // when the plan reset it last
  std::vector<Origin> resetters;  // whose reset commands are answered at the end of the boot
  Timer boot;

 private:
  friend class Job;
  void work();
  void done(const Job& job);

  Host& host_;
  Answers& answers_;
  std::deque<std::shared_ptr<Job>> jobs_;  // the first one runs
  bool working_ = false;
};

}  // namespace rovk::unit
