#include "unit/things/drives.h"

#include <algorithm>
#include <cmath>

namespace rovk::unit::things {

Drive::Drive(Timeline& timeline, const Build& build, Rail* rail, TemperatureSensor* sensor)
    : timeline_(timeline),
      build_(build),
      rail_(rail),
      sensor_(sensor),
      percent_(build.start_percent),
      amount_(build.full * build.start_percent / 100),
      hz_(build.start_hz),
      look_(timeline) {
  if (rail) {
    rail->share_changed.add([this] { apply(); });
    rail->supply_changed.add([this] { regulate(); });
  }
  if (sensor) sensor->changed.add([this] { regulate(); });
}

void Drive::turn(bool on) {
  if (!on || trouble_ == Trouble::none) put(on);
  regulate();
}

void Drive::set_mode(Mode mode) {
  mode_ = mode;
  draw();
  apply();
}

void Drive::set_duty(int64_t percent, int64_t hz) {
  percent_ = percent;
  hz_ = hz;
  set_mode(mode_);
}

void Drive::set_amount(int64_t amount) {
  amount_ = amount;
  set_mode(mode_);
}

int64_t Drive::duty_percent() const {
  return mode_ == Mode::duty ? percent_ : (amount_ * 100 + build_.full / 2) / build_.full;
}

int64_t Drive::amount() const { return mode_ == Mode::duty ? build_.full * percent_ / 100 : amount_; }

int64_t Drive::given() const {
  if (!on_) return 0;
  return rail_ ? std::llround(static_cast<double>(amount()) * rail_->share()) : amount();
}

void Drive::set_loop(bool loop) {
  loop_ = loop;
  regulate();
}

void Drive::reset() {
  mode_ = Mode::duty;
  percent_ = build_.start_percent;
  amount_ = build_.full * build_.start_percent / 100;
  hz_ = build_.start_hz;
  loop_ = false;
  put(false);
  regulate();
}

std::optional<int64_t> Drive::sensed() const {
  if (!sensor_) return std::nullopt;
  return sensor_->millidegrees();
}

std::optional<Time> Drive::crossing(int64_t level) const { return sensor_ ? sensor_->crossing(level) : std::nullopt; }

void Drive::put(bool on) {
  if (on_ == on) return;
  on_ = on;
  putting_ = true;
  draw();
  apply();
  putting_ = false;
  switched.tell();
}

void Drive::draw() {
  if (rail_) rail_->draw(this, Rail::Load::elastic, on_ ? build_.full_load_milliwatts * amount() / build_.full : 0);
}

bool Drive::loop_decides(int64_t seen) const {
  if (build_.loop_on < build_.loop_off) return seen <= build_.loop_on || (on_ && seen < build_.loop_off);
  return seen >= build_.loop_on || (on_ && seen > build_.loop_off);
}

void Drive::regulate() {
  if (putting_) return;  // whoever puts looks again
  const Trouble before = trouble_;
  const auto find = [this] { return rail_ && !rail_->alive() ? Trouble::no_supply : find_trouble(); };
  trouble_ = find();
  if (const auto seen = sensed(); loop_ && seen && trouble_ == Trouble::none) {
    put(loop_decides(*seen));
    trouble_ = find();  // switched on it may find that it cannot work
  }
  if (trouble_ != Trouble::none) put(false);
  if (trouble_ != before && trouble_ != Trouble::none) troubled.tell();

  look_.stop();
  std::optional<Time> next = trouble_due();
  if (loop_) {
    const auto due = crossing(on_ ? build_.loop_off : build_.loop_on);
    if (due && (!next || *due < *next)) next = due;
  }
  if (next) look_.set(*next, [this] { regulate(); });
}

Heater::Heater(Timeline& timeline, const Build& build, Rail* rail, TemperatureSensor* sensor, ThermalMass* body)
    : Drive(timeline, build, rail, sensor), heater_(build), body_(body) {
  regulate();
}

void Heater::apply() {
  if (body_) body_->heat(this, static_cast<double>(given()) / 1'000 * heater_.reaches);
}

Drive::Trouble Heater::find_trouble() {
  if (sensor()) {
    const int64_t seen = sensor()->millidegrees();
    cut_off_ = cut_off_ ? seen > heater_.cooled_down : seen >= heater_.hottest;
  }
  return cut_off_ ? Trouble::overheated : Trouble::none;
}

std::optional<Time> Heater::trouble_due() const {
  return sensor() ? sensor()->crossing(cut_off_ ? heater_.cooled_down : heater_.hottest) : std::nullopt;
}

Illuminator::Build::Build() {
  full = full_load_milliwatts = 8'000;
  start_percent = 60;
  lowest_hz = 100;
  highest_hz = 100'000;
  start_hz = 25'000;
  loop_on = 5'000;
  loop_off = 12'000;
}

Illuminator::Illuminator(Timeline& timeline, const Build& build, Rail* rail, Surroundings& surroundings)
    : Drive(timeline, build, rail, nullptr), surroundings_(surroundings), full_millilux_(build.full_millilux) {
  surroundings.light_changed.add([this] { regulate(); });
  regulate();
}

// Told only when it differs: who watches the light works out a picture's exposure from it.
void Illuminator::apply() {
  const int64_t millilux = full_millilux_ * given() / build().full;
  if (millilux != surroundings_.illuminated_by(this)) surroundings_.illuminate(this, millilux);
}

Fan::Build::Build() {
  full = 6'000;
  full_load_milliwatts = 2'400;
  lowest_percent = 20;  // slower it would not start
  start_percent = 50;
  lowest_hz = 15'000;
  highest_hz = 40'000;
  start_hz = 25'000;
  loop_on = 62'000;
  loop_off = 55'000;
}

Fan::Fan(Timeline& timeline, const Build& build, Rail* rail, TemperatureSensor* sensor, ThermalMass* body)
    : Drive(timeline, build, rail, sensor), fan_(build), body_(body) {
  regulate();
}

int64_t Fan::rpm() const { return std::llround(rpm_.at(timeline_.now())); }

// The body is cooled by the speed that the fan goes for: it spins up in seconds where heat takes minutes.
void Fan::apply() {
  const auto goal = static_cast<double>(stalled_ ? 0 : given());
  if (stalled_) {
    rpm_.jump(0);
  } else if (goal != rpm_.goal()) {
    rpm_.aim(timeline_.now(), goal, fan_.rpm_per_second);
  }
  if (body_) body_->cool(this, (fan_.full_cooling - 1) * goal / static_cast<double>(fan_.full));
}

void Fan::block(bool blocked) {
  blocked_ = blocked;
  if (!blocked) stalled_ = false;
  regulate();
}

// Turned on again after a stall it tries again.
void Fan::turn(bool on) {
  stalled_ = false;
  regulate();
  Drive::turn(on);
}

Drive::Trouble Fan::find_trouble() {
  if (on() && blocked_) stalled_ = true;
  return stalled_ ? Trouble::stalled : Trouble::none;
}

void Fan::reset() {
  stalled_ = false;
  Drive::reset();
}

}  // namespace rovk::unit::things
