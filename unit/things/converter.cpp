#include "unit/things/converter.h"

#include <algorithm>

namespace rovk::unit::things {

void Converter::add_free_channel(int64_t millivolts) { channels_.push_back({millivolts, {}}); }

int64_t Converter::millivolts(unsigned channel) const {
  if (channel >= channels_.size()) return 0;
  const Channel& read = channels_[channel];
  const int64_t seen = read.wire.millivolts ? read.wire.millivolts() : read.laid_on;
  return std::clamp<int64_t>(seen, 0, reference_millivolts);
}

int64_t Converter::counts(unsigned channel) const {
  return (millivolts(channel) * most_counts + reference_millivolts / 2) / reference_millivolts;
}

void Converter::drive(unsigned channel, int64_t millivolts) {
  Channel& driven = channels_.at(channel);
  if (driven.wire.drive) {
    driven.wire.drive(millivolts);
  } else {
    driven.laid_on = millivolts;
  }
}

}  // namespace rovk::unit::things
