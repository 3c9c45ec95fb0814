// Image control: almost every setting of an imager by parameter id, with the commands around it. Filter,
// focus and zoom are those of the lens, so a parameter that concerns them moves it.
#include <rovk/constants.h>

#include <algorithm>

#include "unit/services/calibration_data.h"
#include "unit/services/frames.h"
#include "unit/services/image_params.h"
#include "unit/services/imaging.h"
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

using things::Imager;
using things::Lens;
using things::Setting;

// Which motor a focus command has set out; there is but one.
constexpr int64_t focus_motor = 0;

class ImageControl final : public ImagerView {
 public:
  explicit ImageControl(const Setup& setup) : ImagerView(setup, {}) {
    for (unsigned i = 0; i < devices(); ++i) watch(i);
    on("get_param", [this](Call& call) {
      const ImageParam& param = param_of(call);
      const ParamValues values = image_param(param, imager(call));
      call.set("echo_param", param.id);
      call.set("current_val", values.current);
      call.set("default_val", values.initial);
      call.set("min_val", values.low);
      call.set("max_val", values.high);
      call.set("q_bits", param.q_bits);
    });
    on("set_param", [this](Call& call) {
      const ImageParam& param = param_of(call);
      const ParamValues values = image_param(param, imager(call));
      set_image_param(param, imager(call), call.within("value", values.low, values.high));
    });
    on("get_sensor_dimensions", [this](Call& call) {
      call.set("height", imager(call).build().height);
      call.set("width", imager(call).build().width);
    });
    on("dump_raw_image", [this](Call& call) {
      if (!imager(call).awake()) call.refuse("invalid_sequence", {call.command().opcode});
      dump_raw_image(call, host(), imager(call));
      call.set("ram_address", imager(call).build().raw_address);
      call.set("size", imager(call).raw_bytes());
    });
    on("trigger_focus", [this](Call& call) {
      imager(call).focus().run();
      call.set("focus_idx", focus_motor);
    });
    on("move_to_zcal", [this](Call& call) { move_to_zcal(call); });
    on("set_focus_region", [this](Call& call) { set_focus_region(call); });
    on("get_focus_region", [this](Call& call) {
      const things::Settings& settings = imager(call).settings();
      call.set("focus_idx", focus_motor);
      call.set("qbits", focus_region_q);
      call.set("startx", settings.get(Setting::focus_start_x));
      call.set("starty", settings.get(Setting::focus_start_y));
      call.set("stopx", settings.get(Setting::focus_stop_x));
      call.set("stopy", settings.get(Setting::focus_stop_y));
    });
    on("get_image_stats", [this](Call& call) {
      const Imager::Statistics seen = imager(call).statistics();
      call.set("raw_pix_avg", seen.average);
      call.set("raw_pix_min", seen.minimum);
      call.set("raw_pix_max", seen.maximum);
      call.set("focus_metric_h", seen.focus_high);
      call.set("focus_metric_l", seen.focus_low);
    });
    on("white_balance_macbeth_square", [this](Call& call) { balance_by_square(call); });
  }

  // All settings are its own, whoever else shows some of them.
  void reset() override {
    View::reset();
    for (unsigned i = 0; i < devices(); ++i) {
      Imager& reset = imager(i);
      reset.settings().reset();
      if (reset.lens()) reset.lens()->focus().stop();
      if (reset.lens()) reset.lens()->zoom().stop();
      reset.day_night().reset();
    }
  }

 private:
  void watch(unsigned index) {
    Lens* const lens = imager(index).lens();
    if (!lens) return;
    const catalogue::Event& focus_change = event("focus_movement_change");
    lens->focus().movement_changed.add([this, index, &focus_change](bool moving) {
      host().raise(*this, focus_change, {index, moving});
    });
    const catalogue::Event& filter_change = event("day_night_movement_change");
    lens->filter().movement_changed.add([this, index, &filter_change](bool moving) {
      host().raise(*this, filter_change, {index, moving});
    });
  }

  static const ImageParam& param_of(const Call& call) {
    const ImageParam* const found = find_image_param(static_cast<uint16_t>(call.number("param")));
    if (!found) call.refuse_input("param");
    return *found;
  }

  // Before the first Z calibration to the middle, which the tube was built for.
  void move_to_zcal(Call& call) {
    if (Lens* const lens = imager(call).lens()) {
      const int64_t high = lens->focus().build().high;
      lens->focus().move(std::min(calibrated_focus(*this, device(call)).value_or(high / 2), high));
    }
    call.set("focus_idx", focus_motor);
  }

  void set_focus_region(Call& call) {
    things::Settings& settings = imager(call).settings();
    const auto [low, high, initial] = settings.limits(Setting::focus_start_x);
    const int64_t start_x = call.within("startx", low, high);
    const int64_t start_y = call.within("starty", low, high);
    const int64_t stop_x = call.within("stopx", start_x + 1, high);
    const int64_t stop_y = call.within("stopy", start_y + 1, high);
    settings.set(Setting::focus_start_x, start_x);
    settings.set(Setting::focus_start_y, start_y);
    settings.set(Setting::focus_stop_x, stop_x);
    settings.set(Setting::focus_stop_y, stop_y);
    call.set("focus_idx", focus_motor);
  }

  // Black sets the offsets, every other square the gains; "white only" takes the offsets back as well.
  void balance_by_square(Call& call) {
    const int64_t square = call.within("macbeth_square", ROVK_IMGCTRL_0006_MACBETH_SQUARE_DARK_SKIN,
                                       ROVK_IMGCTRL_0006_MACBETH_SQUARE_WHITE_ONLY);
    const int64_t left = call.within("upper_left_x_decipercent", 0, decipercent_high);
    const int64_t top = call.within("upper_left_y_decipercent", 0, decipercent_high);
    call.within("lower_right_x_decipercent", left + 1, decipercent_high);
    call.within("lower_right_y_decipercent", top + 1, decipercent_high);
    if (square == ROVK_IMGCTRL_0006_MACBETH_SQUARE_BLACK) {
      imager(call).balance_on_black();
    } else {
      imager(call).balance_on_gray(square == ROVK_IMGCTRL_0006_MACBETH_SQUARE_WHITE_ONLY);
    }
  }
};

}  // namespace

std::unique_ptr<View> make_imgctrl_0006(const Setup& setup) { return std::make_unique<ImageControl>(setup); }

}  // namespace rovk::unit
