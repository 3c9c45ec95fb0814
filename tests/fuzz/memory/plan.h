// What a sweep may spend where: each test gets of the time in the measure of what is to be done in it.
#pragma once

#include "ways.h"

namespace memory {

constexpr double fork_seconds = 0.06;  // and of what follows a test

// Of a test without want of memory.
struct Cost {
  long requests[2];
  double seconds;
  // Of both modes at each request of a supply.
  double all(int supply) const { return 2.0 * static_cast<double>(requests[supply]) * (seconds + fork_seconds); }
  double of(const Way& way) const {
    return fork_seconds + seconds * static_cast<double>(way.request) / static_cast<double>(requests[way.is_ours]);
  }
};

constexpr unsigned most_tests = 1000;
struct Measured {
  unsigned count;
  Cost tests[most_tests];
};

// Of the tests from `first` on. What differs from the machine's real seconds, `pace` makes up for.
class Plan {
 public:
  Plan(const Measured& measured, unsigned first, double left, double pace);
  // For the ways of the first test: its part, or all that the others leave.
  double ways_seconds() const;
  // For the strides through one supply of each test, when the ways of all tests are done.
  double stride_seconds() const;

 private:
  const Measured& measured_;
  unsigned first_;
  double left_, pace_, ways_here_ = 0, ways_ = 0;
};

}  // namespace memory
