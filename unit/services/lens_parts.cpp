// Motors of the lens on the unit's clock.
#include "unit/services/lens_parts.h"

#include <rovk/constants.h>

#include <algorithm>

namespace rovk::unit {
namespace {

// Steps of the motors. Home lies off the middle, as its flag does on the tube.
constexpr LensMotor::Build focus_build = {2000, 400, 2000, 0};
constexpr LensMotor::Build zoom_build = {3000, 300, 2000, 1};
constexpr LensMotor::Build thermal_focus_build = {2000, 200, 2000, 2};
// The filter slides half a second from one side to the other: 0 in front of the sensor, high away.
constexpr LensMotor::Build filter_build = {1000, 0, 2000, -1};

constexpr int64_t millidegrees_per_degree = 1000;
constexpr int64_t reference_temperature = 40;  // degrees Celsius at the sensor in a unit that has warmed up
constexpr int64_t focus_steps_per_degree = 4;
constexpr int64_t hunting_steps = 200;

// Index of a physical device in a model; 0 where the model does not tell its devices apart.
int64_t index_of(const View& model, uint32_t device_id) {
  const std::vector<uint32_t>& devices = model.setup().devices;
  const auto found = std::find(devices.begin(), devices.end(), device_id);
  return found == devices.end() ? 0 : found - devices.begin();
}

int64_t movement(bool moving) { return moving ? movement_moving : movement_stopped; }

}  // namespace

LensMotor::LensMotor(Host& host, const Build& build, std::function<void(bool moving)> on_change)
    : host_(host), build_(build), motor_(build.home), speed_(build.speed), on_change_(std::move(on_change)) {}

bool LensMotor::blocked() const {
  return build_.blocked_by >= 0 &&
         host_.world().get(Input::motor_blocked, static_cast<unsigned>(build_.blocked_by)) != 0;
}

Time LensMotor::travel(std::initializer_list<int64_t> stops, int64_t speed) {
  if (blocked()) return Time{0};
  const Time now = host_.now();
  motor_.travel(now, {stops.begin(), stops.size()}, speed);
  announce();
  return moving() ? motor_.arrival() - now : Time{0};
}

void LensMotor::stop() {
  motor_.stop(host_.now());
  announce();
}

void LensMotor::reset() {
  stop();
  speed_ = build_.speed;
  home_sensor_ = true;
}

// Tells of a start or a stop once, and plans to tell of the stop to come. A new way while the old one
// is under way is the same movement.
void LensMotor::announce() {
  if (timer_set_) host_.cancel(timer_);
  timer_set_ = moving();
  if (timer_set_) {
    timer_ = host_.at(motor_.arrival(), [this] {
      timer_set_ = false;
      announce();
    });
  }
  if (moving() != announced_moving_) {
    announced_moving_ = moving();
    on_change_(announced_moving_);
  }
}

Lens::Lens(Host& host)
    : host_(host),
      focus_(host, focus_build, [this](bool moving) { focus_changed(false, moving); }),
      zoom_(host, zoom_build, [](bool) {}),
      thermal_focus_(host, thermal_focus_build, [this](bool moving) { focus_changed(true, moving); }),
      filter_(host, filter_build, [this](bool moving) { filter_changed(moving); }) {}

int64_t Lens::warming() const {
  return host_.world().get(Input::temperature, lens_temperature) / millidegrees_per_degree - reference_temperature;
}

int64_t Lens::best_focus(bool thermal) const {
  const LensMotor& motor = thermal ? thermal_focus_ : focus_;
  return std::clamp<int64_t>(motor.build().high / 2 + focus_steps_per_degree * warming(), 0, motor.build().high);
}

Time Lens::auto_focus(bool thermal) {
  LensMotor& motor = focus(thermal);
  const int64_t best = best_focus(thermal);
  return motor.travel(
      {std::max<int64_t>(best - hunting_steps, 0), std::min<int64_t>(best + hunting_steps, motor.build().high), best},
      LensMotor::highest_speed);
}

void Lens::set_day_filter(bool day) { filter_.move(day ? 0 : filter_.build().high); }

void Lens::focus_changed(bool thermal, bool moving) {
  if (const View* focus = host_.find("lens_focus_001f")) {
    const uint32_t device = thermal ? ROVK_PERIPHERAL_DEVICE_ID_FOCUS_THERMAL : ROVK_PERIPHERAL_DEVICE_ID_FOCUS_OPTICAL;
    host_.raise(*focus, "movement_change", {index_of(*focus, device), movement(moving)});
  }
  // Image control has the optical imager alone.
  const View* control = thermal ? nullptr : host_.find("imgctrl_0006");
  if (control) host_.raise(*control, "focus_movement_change", {0, movement(moving)});
}

void Lens::filter_changed(bool moving) {
  if (const View* day_night = host_.find("day_night_001d")) {
    host_.raise(*day_night, "movement_change", {0, movement(moving)});
  }
  if (const View* control = host_.find("imgctrl_0006")) {
    host_.raise(*control, "day_night_movement_change", {0, movement(moving)});
  }
  if (moving) return;
  // Light of another colour is sharp at another place, so the focus may want to follow.
  if (auto* follower = dynamic_cast<FilterFollower*>(host_.find("lens_focus_001f"))) follower->filter_stopped();
}

void Lens::sense(Input input) {
  if (input != Input::motor_blocked) return;
  for (LensMotor* motor : {&focus_, &zoom_, &thermal_focus_}) {
    if (motor->moving() && motor->blocked()) motor->stop();
  }
}

}  // namespace rovk::unit
