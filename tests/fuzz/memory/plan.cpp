// A test that needs little time leaves what it does not take to the others.
#include "plan.h"

#include <algorithm>

namespace memory {

Plan::Plan(const Measured& measured, unsigned first, double left, double pace)
    : measured_(measured), first_(first), left_(left), pace_(pace) {
  for (const Way& way : ways->places) {
    if (way.key == 0 || way.run != ways->runs || way.test < first) continue;
    const double seconds = (2 - way.refused[0] - way.refused[1]) * measured.tests[way.test].of(way) * pace;
    ways_ += seconds;
    if (way.test == first) ways_here_ += seconds;
  }
  for (unsigned i = first; i < measured.count; ++i) left_ -= measured.tests[i].seconds;
  left_ = std::max(left_, 0.0);
}

double Plan::ways_seconds() const {
  if (ways_here_ <= 0) return 0;
  return std::max(left_ * ways_here_ / ways_, left_ - (ways_ - ways_here_));
}

double Plan::stride_seconds() const {
  const double left = std::max(left_ - ways_, 0.0) / pace_;
  double low = 0, high = left;
  for (int round = 0; round < 40; ++round) {
    const double middle = (low + high) / 2;
    double sum = 0;
    for (unsigned i = first_; i < measured_.count; ++i) {
      for (int supply = 0; supply < 2; ++supply) sum += std::min(measured_.tests[i].all(supply), middle);
    }
    (sum > left ? high : low) = middle;
  }
  return low;
}

}  // namespace memory
