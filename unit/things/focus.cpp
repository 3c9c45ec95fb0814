#include "unit/things/focus.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

namespace rovk::unit::things {
namespace {

// A lens that has grown by less than this is sharp enough.
constexpr int64_t refocus_degrees = 5;

}  // namespace

FocusControl::FocusControl(Timeline& timeline, Settings& settings, Lens* lens, TemperatureSensor* warmth)
    : settings_(settings), lens_(lens), warmth_(warmth), focused_at_(lens ? lens->warming() : 0), crossing_(timeline) {
  if (!lens_) return;
  settings_.changed.add([this](Setting setting) {
    if (setting == Setting::focus_manual || setting == Setting::focus_day_position ||
        setting == Setting::focus_night_position) {
      go_to_manual();
    }
    if (setting == Setting::focus_follows_warmth) expect_warmth();
  });
  lens_->filter().movement_changed.add([this](bool moving) {
    if (!moving) follow_filter();
  });
  if (!warmth_) return;
  warmth_->changed.add([this] { follow_warmth(); });
}

void FocusControl::run() {
  if (!lens_) return;
  focused_at_ = lens_->warming();
  lens_->auto_focus();
  expect_warmth();
}

void FocusControl::go_to_manual() {
  if (!settings_.on(Setting::focus_manual)) return;
  const bool day = !lens_->build().has_filter || lens_->day_filter();
  const int64_t place = settings_.get(day ? Setting::focus_day_position : Setting::focus_night_position);
  lens_->focus().move(std::min(place, lens_->focus().build().high));
}

void FocusControl::follow_filter() {
  if (settings_.on(Setting::focus_manual)) return go_to_manual();
  if (settings_.on(Setting::focus_follows_filter)) run();
}

void FocusControl::follow_warmth() {
  if (settings_.on(Setting::focus_manual) || !settings_.on(Setting::focus_follows_warmth)) return;
  if (std::abs(lens_->warming() - focused_at_) >= refocus_degrees) return run();
  expect_warmth();
}

void FocusControl::expect_warmth() {
  crossing_.stop();
  if (!warmth_ || !settings_.on(Setting::focus_follows_warmth)) return;
  const auto here = static_cast<int64_t>(lens_->build().reference_degrees) + focused_at_;
  std::optional<Time> first;
  // Warming is told in whole degrees, cut towards zero; a degree more is certainly enough.
  for (const int64_t level : {here - refocus_degrees - 1, here + refocus_degrees + 1}) {
    const auto when = warmth_->crossing(level * 1'000);
    if (when && (!first || *when < *first)) first = when;
  }
  if (first) crossing_.set(*first, [this] { follow_warmth(); });
}

}  // namespace rovk::unit::things
