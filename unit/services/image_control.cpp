// Image control: almost every setting of the optical imager by parameter id, with the commands around
// it. Filter, focus and zoom are those of the lens, so a parameter that concerns them moves it.
#include <rovk/constants.h>

#include <algorithm>

#include "unit/services/calibration_data.h"
#include "unit/services/image_params.h"
#include "unit/services/lens_parts.h"
#include "unit/services/scene.h"
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

// Which motor a focus command has set out; there is but one.
constexpr int64_t focus_motor = 0;
// Where the motor goes before the first Z calibration: the middle, which the tube was built for.
constexpr int64_t nominal_z_cal = 1000;

constexpr int64_t decipercent_high = 1000;

// How much of red and blue a light has, against green, in Q8. By GENERAL_ILLUMINANT: daylight, cloudy,
// tungsten, cool and warm fluorescent.
struct Illuminant {
  int32_t red;
  int32_t blue;
};
constexpr Illuminant illuminants[] = {{256, 256}, {236, 280}, {384, 150}, {240, 262}, {310, 198}};
constexpr int32_t gain_one = 256;

class ImageControl : public View {
 public:
  explicit ImageControl(const Setup& setup) : View(setup, {}) {
    set_defaults();
    on("get_param", [this](Call& call) { get_param(call); });
    on("set_param", [this](Call& call) { set_param(call); });
    on("get_sensor_dimensions", [](Call& call) {
      call.set("height", sensor_size(false).height);
      call.set("width", sensor_size(false).width);
    });
    on("dump_raw_image", [](Call& call) {
      call.set("ram_address", raw_image_address(false));
      call.set("size", sensor_size(false).raw_bytes());
    });
    on("trigger_focus", [this](Call& call) {
      lens_of(host()).auto_focus();
      call.set("focus_idx", focus_motor);
    });
    on("move_to_zcal", [this](Call& call) {
      lens_of(host()).focus().move(calibrated_focus(host()).value_or(nominal_z_cal));
      call.set("focus_idx", focus_motor);
    });
    on("set_focus_region", [this](Call& call) { set_focus_region(call); });
    on("get_focus_region", [this](Call& call) {
      call.set("focus_idx", focus_motor);
      call.set("qbits", image_params()[*find_image_param(FOCUS_RGN_START_X)].q_bits);
      call.set("startx", value(FOCUS_RGN_START_X));
      call.set("starty", value(FOCUS_RGN_START_Y));
      call.set("stopx", value(FOCUS_RGN_STOP_X));
      call.set("stopy", value(FOCUS_RGN_STOP_Y));
    });
    on("get_image_stats", [this](Call& call) {
      const ImageStatistics seen = image_statistics(host(), exposure());
      call.set("raw_pix_avg", seen.average);
      call.set("raw_pix_min", seen.minimum);
      call.set("raw_pix_max", seen.maximum);
      call.set("focus_metric_h", seen.focus_high);
      call.set("focus_metric_l", seen.focus_low);
    });
    on("white_balance_macbeth_square", [this](Call& call) { balance_by_square(call); });
  }

  void reset() override {
    View::reset();
    set_defaults();
  }

  Exposure exposure() const {
    return {value(EXP_MODE) == exposure_mode_automatic,
            value(EXP_MIN_EXPOSURE),
            value(EXP_MAX_EXPOSURE),
            value(EXP_MIN_GAIN),
            value(EXP_MAX_GAIN),
            value(EXP_AVG_TARGET)};
  }
  bool awake() const { return value(GENERAL_MODE) != general_mode_asleep; }

 private:
  void set_defaults() {
    values_.clear();
    for (const ImageParam& row : image_params()) values_.push_back(row.initial);
  }

  int32_t value(uint16_t id) const { return values_[*find_image_param(id)]; }
  void put(uint16_t id, int64_t new_value) { values_[*find_image_param(id)] = static_cast<int32_t>(new_value); }

  static std::size_t param_of(const Call& call) {
    const auto found = find_image_param(static_cast<uint16_t>(call.number("param")));
    if (!found) call.refuse_input("param");
    return *found;
  }

  void get_param(Call& call) {
    const std::size_t place = param_of(call);
    const ImageParam& row = image_params()[place];
    // The zoom moves by other ways too, and takes time.
    if (row.id == ZOOM_POSITION) values_[place] = static_cast<int32_t>(lens_of(host()).zoom().position());
    call.set("echo_param", row.id);
    call.set("current_val", values_[place]);
    call.set("default_val", row.initial);
    call.set("min_val", row.low);
    call.set("max_val", row.high);
    call.set("q_bits", row.q_bits);
  }

  void set_param(Call& call) {
    const std::size_t place = param_of(call);
    const ImageParam& row = image_params()[place];
    values_[place] = static_cast<int32_t>(call.within("value", row.low, row.high));
    move_by(row.id, values_[place]);
  }

  // What a new value sets moving.
  void move_by(uint16_t id, int32_t new_value) {
    Lens& lens = lens_of(host());
    switch (id) {
      case EXP_DN_MODE:
        if (new_value == day_night_day) lens.set_day_filter(value(EXP_DN_DAY_FILTER) == filter_day);
        if (new_value == day_night_night) lens.set_day_filter(value(EXP_DN_NIGHT_FILTER) == filter_day);
        break;
      case EXP_DN_FILTER_SETTING:
        lens.set_day_filter(new_value == filter_day);
        break;
      case FOCUS_MODE_AUTO:
      case FOCUS_DAY_POSITION:
      case FOCUS_NIGHT_POSITION:
        if (value(FOCUS_MODE_AUTO) == 0) {
          lens.focus().move(value(lens.day_filter() ? FOCUS_DAY_POSITION : FOCUS_NIGHT_POSITION));
        }
        break;
      case ZOOM_POSITION:
        lens.zoom().move(new_value);
        break;
      default:
        break;
    }
  }

  void set_focus_region(Call& call) {
    const ImageParam& limits = image_params()[*find_image_param(FOCUS_RGN_START_X)];
    const int64_t start_x = call.within("startx", limits.low, limits.high);
    const int64_t start_y = call.within("starty", limits.low, limits.high);
    const int64_t stop_x = call.within("stopx", start_x + 1, limits.high);
    const int64_t stop_y = call.within("stopy", start_y + 1, limits.high);
    put(FOCUS_RGN_START_X, start_x);
    put(FOCUS_RGN_START_Y, start_y);
    put(FOCUS_RGN_STOP_X, stop_x);
    put(FOCUS_RGN_STOP_Y, stop_y);
    call.set("focus_idx", focus_motor);
  }

  // Holds the white balance at what makes a square of the colour chart come out right. Black sets the
  // offsets, every other square the gains; "white only" takes the offsets back as well.
  void balance_by_square(Call& call) {
    const int64_t square = call.within("macbeth_square", ROVK_IMGCTRL_0006_MACBETH_SQUARE_DARK_SKIN,
                                       ROVK_IMGCTRL_0006_MACBETH_SQUARE_WHITE_ONLY);
    const int64_t left = call.within("upper_left_x_decipercent", 0, decipercent_high);
    const int64_t top = call.within("upper_left_y_decipercent", 0, decipercent_high);
    call.within("lower_right_x_decipercent", left + 1, decipercent_high);
    call.within("lower_right_y_decipercent", top + 1, decipercent_high);

    const Illuminant light = illuminants[value(GENERAL_ILLUMINANT)];
    put(WB_AUTO_MODE, white_balance_manual);
    if (square == ROVK_IMGCTRL_0006_MACBETH_SQUARE_BLACK) {
      // What little light the black square gives back is the cast to take off.
      put(WB_MANUAL_OFFSET_R, (gain_one - light.red) / 16);
      put(WB_MANUAL_OFFSET_G, 0);
      put(WB_MANUAL_OFFSET_B, (gain_one - light.blue) / 16);
      return;
    }
    put(WB_MANUAL_GAIN_RR, gain_one * gain_one / light.red);
    put(WB_MANUAL_GAIN_GG, gain_one);
    put(WB_MANUAL_GAIN_BB, gain_one * gain_one / light.blue);
    if (square == ROVK_IMGCTRL_0006_MACBETH_SQUARE_WHITE_ONLY) {
      for (const int offset : {WB_MANUAL_OFFSET_R, WB_MANUAL_OFFSET_G, WB_MANUAL_OFFSET_B})
        put(static_cast<uint16_t>(offset), 0);
    }
  }

  std::vector<int32_t> values_;  // in the order of the rows
};

// Null on a unit without the service.
const ImageControl* image_control_of(Host& host) { return static_cast<ImageControl*>(host.find("imgctrl_0006")); }

}  // namespace

Exposure exposure_in_force(Host& host) {
  const ImageControl* const control = image_control_of(host);
  return control ? control->exposure() : Exposure{};
}

bool imager_awake(Host& host) {
  const ImageControl* const control = image_control_of(host);
  return !control || control->awake();
}

std::unique_ptr<View> make_imgctrl_0006(const Setup& setup) { return std::make_unique<ImageControl>(setup); }

}  // namespace rovk::unit
