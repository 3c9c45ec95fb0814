#include "unit/peripheral.h"

#include <rovk/constants.h>

#include <algorithm>
#include <utility>

namespace rovk::unit {

Job::Job(Peripheral& peripheral, const Call& given, uint16_t from, const rovk_message& header)
    : application(from), reply(header), call(given), peripheral_(peripheral), timer_(peripheral.host_) {
  call.follow(this);
}

void Job::take(Time duration, std::function<void(Call&)> last) {
  duration_ = duration;
  last_ = std::move(last);
}

Ticket Job::wait() {
  waits_ = true;
  return Ticket(weak_from_this());
}

void Job::end(const std::function<void(Call&)>& last) {
  if (stage_ != Stage::running) return;
  const std::shared_ptr<Job> alive = shared_from_this();
  stage_ = Stage::over;
  try {
    if (last) last(call);
    peripheral_.answers_.answer(*this, nullptr);
  } catch (const Refusal& refusal) {
    peripheral_.answers_.answer(*this, &refusal);
  }
  peripheral_.done(*this);
}

Peripheral::Peripheral(uint16_t own_address, Host& host, Answers& answers)
    : address(own_address), boot(host), host_(host), answers_(answers) {}

void Peripheral::accept(std::shared_ptr<Job> job) {
  const PeripheralDescription& description = view->setup().description;
  if (description.refuses_repeats) {
    // The first one is running, so that it does not wait.
    for (std::size_t i = 1; i < jobs_.size(); ++i) {
      if (jobs_[i]->call.same_as(job->call)) throw Refusal{ROVK_COMMON_ERROR_ALREADY_QUEUED};
    }
  }
  const std::size_t room = description.queued ? description.queue_depth : 1U;
  if (jobs_.size() + late >= room) throw Refusal{ROVK_COMMON_ERROR_BUSY};
  jobs_.push_back(std::move(job));
  work();
}

// Begins what stands first, and what stands behind it as long as that ends at once.
void Peripheral::work() {
  if (working_) return;
  working_ = true;
  while (!jobs_.empty() && jobs_.front()->stage_ == Job::Stage::queued) {
    const std::shared_ptr<Job> job = jobs_.front();
    job->stage_ = Job::Stage::running;
    try {
      if (fault != 0) throw Refusal{ROVK_COMMON_ERROR_FAULT_EXISTS, {fault}};
      view->run(job->call);
    } catch (const Refusal& refusal) {
      job->end([&refusal](Call&) { throw refusal; });
      continue;
    }
    if (job->waits_) continue;
    if (job->duration_ > Time{0}) {
      Job* const self = job.get();
      job->timer_.set(host_.now() + job->duration_, [self] { self->end(self->last_); });
    } else {
      job->end(job->last_);
    }
  }
  working_ = false;
}

void Peripheral::done(const Job& job) {
  std::erase_if(jobs_, [&job](const auto& entry) { return entry.get() == &job; });
  work();
}

void Peripheral::break_off(const Refusal& refusal) {
  std::deque<std::shared_ptr<Job>> ended;
  ended.swap(jobs_);
  for (const auto& job : ended) {
    job->stage_ = Job::Stage::over;
    job->timer_.stop();
    answers_.answer(*job, &refusal);
  }
}

void Peripheral::drop() {
  for (const auto& job : jobs_) {
    job->stage_ = Job::Stage::over;
    job->timer_.stop();
  }
  jobs_.clear();
  resetters.clear();
  boot.stop();
  booting = false;
}

}  // namespace rovk::unit
