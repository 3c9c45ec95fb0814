#include "unit/things/relay.h"

#include <utility>

namespace rovk::unit::things {

void Relay::configure(const Settings& settings) {
  settings_ = settings;
  if (settings_.enabled) return;
  end();
  put(false);
}

void Relay::reset() {
  end();
  settings_ = build_.settings;
  put(false);
}

void Relay::set(bool energised) {
  end();
  put(energised);
  if (!energised || !settings_.monostable) return;
  steps_ = {{true, settings_.on_time_ds * 100ms}};
  pulse_ = true;
  advance();
}

void Relay::run(std::vector<Step> steps, bool last) {
  end();
  steps_ = std::move(steps);
  last_ = last;
  advance();
}

void Relay::trigger() {
  std::vector<Step> steps = {{energised_, settings_.delay_ds * 100ms}};
  const int64_t cycles = settings_.monostable ? 1 : 1 + settings_.repeat_cycles;
  for (int64_t i = 0; i < cycles; ++i) {
    steps.push_back({true, settings_.on_time_ds * 100ms});
    if (!settings_.monostable) steps.push_back({false, settings_.off_time_ds * 100ms});
  }
  run(std::move(steps), false);
}

void Relay::put(bool energised) {
  if (energised_ == energised) return;
  energised_ = energised;
  changed.tell();
}

void Relay::end() {
  timer_.stop();
  steps_.clear();
  next_ = 0;
  last_ = pulse_ = false;
}

void Relay::advance() {
  if (next_ < steps_.size()) {
    const Step step = steps_[next_++];
    put(step.energised);
    timer_.set(timeline_.now() + step.duration, [this] { advance(); });
    return;
  }
  const bool was_pulse = pulse_;
  put(last_);
  end();
  if (!was_pulse) sequence_ended.tell();
}

}  // namespace rovk::unit::things
