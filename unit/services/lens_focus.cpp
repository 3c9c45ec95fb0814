// The focus of a lens as a function: by itself on request and after changes of warmth or filter, or at
// places kept for day and night.
#include "unit/services/driving.h"
#include "unit/services/imaging.h"
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

using things::Setting;

constexpr Register focus_settings[] = {
    shown("manual_mode_enable", "enable", Setting::focus_manual),
    shown("auto_temperature_refocus_enable", "enable", Setting::focus_follows_warmth),
    shown("auto_day_night_refocus_enable", "enable", Setting::focus_follows_filter),
    shown("auto_focus_region", "start_x_percent", Setting::focus_start_x, Wording::percent),
    shown("auto_focus_region", "start_y_percent", Setting::focus_start_y, Wording::percent),
    shown("auto_focus_region", "stop_x_percent", Setting::focus_stop_x, Wording::percent),
    shown("auto_focus_region", "stop_y_percent", Setting::focus_stop_y, Wording::percent),
    shown("manual_focus_day_position", "position", Setting::focus_day_position),
    shown("manual_focus_night_position", "position", Setting::focus_night_position),
};

class LensFocus final : public Driving<ImagerView> {
 public:
  explicit LensFocus(const Setup& setup) : Driving(setup, std::span<const Register>(focus_settings)) {
    const catalogue::Event& change = event("movement_change");
    for (unsigned i = 0; i < devices(); ++i) {
      things::Lens* const lens = imager(i).lens();
      if (!lens) continue;
      drive(lens->focus());
      lens->focus().movement_changed.add([this, i, &change](bool moving) { host().raise(*this, change, {i, moving}); });
    }
    on("set_auto_focus_region", [this](Call& call) {
      for (const auto& [start, stop] :
           {std::pair{"start_x_percent", "stop_x_percent"}, std::pair{"start_y_percent", "stop_y_percent"}}) {
        if (call.number(stop) <= call.number(start)) call.refuse_input(stop);
      }
      registers().run(call, device(call));
    });
    on("do_auto_focus", [this](Call& call) {
      imager(call).focus().run();
      if (standing_fault() != Fault::none) must_arrive(call, things::LensMotor::End::blocked);
    });
  }
};

}  // namespace

std::unique_ptr<View> make_lens_focus_001f(const Setup& setup) { return std::make_unique<LensFocus>(setup); }

}  // namespace rovk::unit
