#include "unit/things/picture.h"

#include <cmath>

namespace rovk::unit::things {
namespace {

constexpr double per_degree = 1000;

// Null when no head carries the lens.
const Head* head_of(const Body& body, const Lens* lens) {
  for (unsigned i = 0; lens && i < body.count<Head>(); ++i) {
    const Head* const head = body.find<Head>(i);
    if (head->lens() == lens) return head;
  }
  return nullptr;
}

double turn(double degrees) { return std::remainder(degrees, 360); }

// Where a corner that was placed from another direction or magnification is seen now.
// Triangles count tilt from the horizon, to the side that the head is mounted for.
void follow_scene(const Triangle& triangle, const Picture& now, const Lens& lens, bool pointing_up,
                  std::array<double, 6>& corners) {
  const double placed_angle = lens.angle_of_view(triangle.zoom_decix);
  const double shift_x = turn(static_cast<double>(triangle.pan_millidegrees) / per_degree - now.pan_degrees);
  const double tilt = static_cast<double>(triangle.tilt_millidegrees) / per_degree;
  const double shift_y = (pointing_up ? tilt : -tilt) - now.tilt_degrees;
  const double scale = placed_angle / now.angle_of_view_degrees;
  const double ratio = static_cast<double>(now.width) / static_cast<double>(now.height);
  for (std::size_t i = 0; i < corners.size(); i += 2) {
    corners[i] = 0.5 + (corners[i] - 0.5) * scale + shift_x / now.angle_of_view_degrees;
    corners[i + 1] = 0.5 + (corners[i + 1] - 0.5) * scale - shift_y / now.angle_of_view_degrees * ratio;
  }
}

}  // namespace

Picture picture_of(const Body& body, unsigned place) {
  const Imager& imager = *body.find<Imager>(place);
  const Lens* const lens = imager.lens();
  const Head* const head = head_of(body, lens);
  const Settings& settings = imager.settings();
  const Surroundings& around = body.surroundings();
  const auto [tint_red, tint_blue] = imager.tint();
  Picture seen = {};
  seen.width = imager.build().width;
  seen.height = imager.build().height;
  seen.awake = imager.awake();
  seen.test_picture = settings.get(Setting::mode) == mode_test_picture;
  seen.blanked = settings.on(Setting::window_blanking);
  seen.thermal = imager.build().thermal;
  seen.pan_degrees = head ? static_cast<double>(head->position(Head::pan)) / per_degree : 0;
  seen.tilt_degrees = head ? static_cast<double>(head->position(Head::tilt)) / per_degree : 0;
  const int64_t decix = lens ? lens->decix() : 10;
  seen.magnification = static_cast<double>(decix) / 10;
  seen.angle_of_view_degrees = lens ? lens->angle_of_view(decix) : Lens::Build{}.widest_degrees;
  seen.blur_steps = lens ? static_cast<double>(lens->blur()) : 0;
  seen.exposure_us = imager.exposure_us();
  seen.gain = imager.gain();
  seen.signal = imager.signal();
  seen.balance = imager.balance();
  seen.tint_red = tint_red;
  seen.tint_blue = tint_blue;
  seen.flip_horizontal = settings.on(Setting::flip_horizontal);
  seen.flip_vertical = settings.on(Setting::flip_vertical);
  seen.day = !lens || !lens->build().has_filter || lens->day_filter();
  seen.daylight_millilux = static_cast<double>(around.daylight_millilux());
  seen.infrared_millilux = static_cast<double>(around.infrared_millilux());
  seen.aperture = lens ? lens->aperture() : 1;
  seen.spatial_noise_filter = settings.on(Setting::loops) && settings.on(Setting::spatial_noise_filter);
  seen.temporal_noise_filter = settings.on(Setting::loops) && settings.on(Setting::temporal_noise_filter);
  seen.brightness = settings.get(Setting::brightness);
  seen.contrast = settings.get(Setting::contrast);
  seen.sharpness = settings.get(Setting::sharpness);
  seen.saturation = settings.get(Setting::saturation);
  seen.hue = settings.get(Setting::hue);
  const bool wide = settings.on(Setting::loops) && settings.on(Setting::loop_wide_dynamic_range) &&
                    settings.on(Setting::wide_dynamic_range);
  seen.wide_dynamic_range = wide ? settings.get(Setting::wide_dynamic_range_strength) : 0;
  seen.black_clip = settings.get(Setting::black_clip);
  seen.white_clip = settings.get(Setting::white_clip);
  seen.gamma = static_cast<double>(settings.get(Setting::gamma)) / 256;
  const Overlay* const overlay = body.find<Overlay>(place);
  for (const Triangle& triangle : overlay ? overlay->triangles : std::vector<Triangle>{}) {
    if (!triangle.shown) continue;
    Picture::Mark mark = {triangle.red, triangle.green, triangle.blue, triangle.alpha, {}};
    for (std::size_t i = 0; i < mark.corners.size(); ++i)
      mark.corners[i] = static_cast<double>(triangle.corners[i]) / 1000;
    if (triangle.sticks_to_scene && lens) {
      follow_scene(triangle, seen, *lens, head && head->pointing_up(), mark.corners);
    }
    seen.triangles.push_back(mark);
  }
  return seen;
}

}  // namespace rovk::unit::things
