#include "unit/things/curve.h"

#include <algorithm>
#include <cmath>

namespace rovk::unit::things {
namespace {

double ratio(Time part, Time whole) { return static_cast<double>(part.count()) / static_cast<double>(whole.count()); }

}  // namespace

double Lag::at(Time now) const {
  if (now <= since_ || from_ == goal_) return from_;
  if (constant_ <= Time{0}) return goal_;
  return goal_ + (from_ - goal_) * std::exp(-ratio(now - since_, constant_));
}

void Lag::aim(Time now, double goal) { aim(now, goal, constant_); }

void Lag::aim(Time now, double goal, Time constant) {
  from_ = at(now);
  since_ = now;
  goal_ = goal;
  constant_ = constant;
}

void Lag::jump(double value) { from_ = goal_ = value; }

std::optional<Time> Lag::crossing(Time now, double level) const {
  const double here = at(now);
  // The goal itself is never quite reached.
  if ((here < level) != (level < goal_) || here == level || level == goal_) return std::nullopt;
  const double constants = std::log((goal_ - here) / (goal_ - level));
  return now + Time(static_cast<Time::rep>(std::ceil(constants * static_cast<double>(constant_.count())))) + Time{1};
}

double Ramp::at(Time now) const {
  if (now >= arrival_) return goal_;
  if (now <= since_) return from_;
  return from_ + (goal_ - from_) * ratio(now - since_, arrival_ - since_);
}

void Ramp::aim(Time now, double goal, double rate) {
  from_ = at(now);
  goal_ = goal;
  since_ = now;
  arrival_ = now + Time(static_cast<Time::rep>(std::abs(goal - from_) / rate * 1e9));
}

void Ramp::jump(double value) {
  from_ = goal_ = value;
  arrival_ = Time::min();
}

}  // namespace rovk::unit::things
