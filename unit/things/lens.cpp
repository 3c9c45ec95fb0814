#include "unit/things/lens.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace rovk::unit::things {
namespace {

constexpr int64_t hunting_steps = 200;
constexpr int64_t millidegrees_per_degree = 1000;

}  // namespace

LensMotor::LensMotor(Timeline& timeline, const Build& build)
    : build_(build), timeline_(timeline), motor_(build.start), speed_(build.speed), arrival_(timeline) {}

void LensMotor::travel(std::initializer_list<int64_t> stops, int64_t speed, Ended ended) {
  finish(End::superseded);
  const bool goes = std::any_of(stops.begin(), stops.end(), [this](int64_t stop) { return stop != position(); });
  if (blocked_ && goes) {
    get_stuck();
    if (ended) ended(End::blocked);
    return;
  }
  if (!alive_) {
    if (ended) ended(End::blocked);
    return;
  }
  motor_.travel(timeline_.now(), {stops.begin(), stops.size()}, speed);
  ended_ = std::move(ended);
  announce();
}

void LensMotor::stop() {
  motor_.stop(timeline_.now());
  finish(End::superseded);
  announce();
}

void LensMotor::reset() {
  stop();
  speed_ = build_.speed;
  home_sensor_ = true;
  is_stuck_ = false;
}

void LensMotor::block(bool blocked) {
  blocked_ = blocked;
  if (!blocked) is_stuck_ = false;
  if (!blocked || !moving()) return;
  motor_.stop(timeline_.now());
  get_stuck();
  finish(End::blocked);
  announce();
}

void LensMotor::supply(bool alive) {
  alive_ = alive;
  if (alive || !moving()) return;
  motor_.stop(timeline_.now());
  finish(End::blocked);
  announce();
}

void LensMotor::get_stuck() {
  if (std::exchange(is_stuck_, true)) return;
  stuck.tell();
}

void LensMotor::finish(End end) {
  // It may ask for another run at once.
  if (const Ended ended = std::exchange(ended_, nullptr)) ended(end);
}

// Tells of a start or a stop once, and plans for the stop to come. A new way while the old one is under
// way is the same movement.
void LensMotor::announce() {
  if (moving()) {
    arrival_.set(motor_.arrival(), [this] { announce(); });
  } else {
    arrival_.stop();
  }
  if (moving() != told_moving_) {
    told_moving_ = moving();
    movement_changed.tell(told_moving_);
  }
  if (!moving()) finish(End::arrived);
}

Lens::Lens(Timeline& timeline, const Build& build, const TemperatureSensor* warmth)
    : build_(build),
      warmth_(warmth),
      focus_(timeline, build.focus),
      zoom_(timeline, build.zoom),
      iris_(timeline, build.iris),
      filter_(timeline, build.filter) {}

int64_t Lens::steps_per_decix() const {
  return std::max<int64_t>(1, zoom_.build().high / std::max<int64_t>(1, build_.tele_decix - build_.wide_decix));
}

int64_t Lens::decix() const {
  if (!build_.has_zoom) return build_.wide_decix;
  return std::min(build_.wide_decix + zoom_.position() / steps_per_decix(), build_.tele_decix);
}

int64_t Lens::zoom_steps(int64_t decix) const {
  return std::clamp<int64_t>((decix - build_.wide_decix) * steps_per_decix(), 0, zoom_.build().high);
}

double Lens::angle_of_view(int64_t decix) const {
  constexpr double half_circle = 180;
  const double half = build_.widest_degrees / 2 / half_circle * std::numbers::pi;
  return 2 * std::atan(std::tan(half) * 10 / static_cast<double>(decix)) / std::numbers::pi * half_circle;
}

double Lens::aperture() const {
  if (!build_.has_iris) return 1;
  const double open = static_cast<double>(iris_.position()) / static_cast<double>(iris_.build().high);
  return open * open;
}

void Lens::set_day_filter(bool day, int64_t transition_ms, LensMotor::Ended ended) {
  if (!build_.has_filter) return;
  filter_.travel({day ? 0 : filter_.build().high}, filter_.build().high * 1000 / transition_ms, std::move(ended));
}

int64_t Lens::warming() const {
  if (!warmth_) return 0;
  return warmth_->millidegrees() / millidegrees_per_degree - static_cast<int64_t>(build_.reference_degrees);
}

int64_t Lens::sharp_at(bool day) const {
  const int64_t high = focus_.build().high;
  const int64_t place = high / 2 + build_.focus_steps_per_degree * warming() + (day ? 0 : build_.night_focus_steps);
  return std::clamp<int64_t>(place, 0, high);
}

void Lens::auto_focus(LensMotor::Ended ended) {
  const int64_t best = best_focus();
  focus_.travel({std::max<int64_t>(best - hunting_steps, 0), std::min(best + hunting_steps, focus_.build().high), best},
                focus_.build().highest_speed, std::move(ended));
}

}  // namespace rovk::unit::things
