// What stands around the imaging pipeline: the sensors, the statistics of the picture, and triangles
// drawn over it.
#include <rovk/constants.h>

#include "unit/services/frames.h"
#include "unit/services/imaging.h"
#include "unit/services/views.h"
#include "unit/things/overlay.h"

namespace rovk::unit {
namespace {

using things::Imager;
using things::Overlay;
using things::Triangle;

class Sensor final : public ImagerView {
 public:
  explicit Sensor(const Setup& setup) : ImagerView(setup, {}) {
    on("get_dimensions", [this](Call& call) {
      call.set("height", imager(call).build().height);
      call.set("width", imager(call).build().width);
    });
    on("dump_raw_image", [this](Call& call) {
      // One that sleeps has no image to leave.
      if (!imager(call).awake()) call.refuse("invalid_sequence", {call.command().opcode});
      dump_raw_image(call, host(), imager(call));
      call.set("dram_address", imager(call).build().raw_address);
      call.set("size", imager(call).raw_bytes());
    });
  }
};

class PipeStatistics final : public ImagerView {
 public:
  explicit PipeStatistics(const Setup& setup) : ImagerView(setup, {}) {
    on("get_image_statistics", [this](Call& call) {
      const Imager::Statistics seen = imager(call).statistics();
      call.set("raw_pixel_average", seen.average);
      call.set("raw_pixel_minimum", seen.minimum);
      call.set("raw_pixel_maximum", seen.maximum);
      call.set("focus_metric_high", seen.focus_high);
      call.set("focus_metric_low", seen.focus_low);
    });
  }
};

constexpr const char* corner_fields[] = {"point1_x_decipercent", "point1_y_decipercent", "point2_x_decipercent",
                                         "point2_y_decipercent", "point3_x_decipercent", "point3_y_decipercent"};

// Coordinates of the head and corners in the field of view describe one place together; see Triangle.
class TriangleOverlay final : public View {
 public:
  explicit TriangleOverlay(const Setup& setup) : View(setup, {}), overlays_(all_things<Overlay>()) {
    on("get_triangle_count",
       [this](Call& call) { call.set("count", static_cast<int64_t>(overlays_[device(call)]->triangles.size())); });
    on("get_triangle_enable", [this](Call& call) { call.set("enable", triangle(call).shown); });
    on("set_triangle_enable", [this](Call& call) { triangle(call).shown = call.within("enable", 0, 1) != 0; });
    on("get_triangle_color", [this](Call& call) {
      call.set("red", triangle(call).red);
      call.set("green", triangle(call).green);
      call.set("blue", triangle(call).blue);
      call.set("alpha", triangle(call).alpha);
    });
    on("set_triangle_color", [this](Call& call) {
      Triangle& drawn = triangle(call);
      drawn.red = static_cast<uint8_t>(call.number("red"));
      drawn.green = static_cast<uint8_t>(call.number("green"));
      drawn.blue = static_cast<uint8_t>(call.number("blue"));
      drawn.alpha = static_cast<uint8_t>(call.number("alpha"));
    });
    on("get_triangle_positioning_coordinates", [this](Call& call) {
      call.set("pan_millidegrees", triangle(call).pan_millidegrees);
      call.set("tilt_millidegrees", triangle(call).tilt_millidegrees);
      call.set("zoom_deciX", triangle(call).zoom_decix);
    });
    on("set_triangle_positioning_coordinates", [this](Call& call) {
      Triangle placed = triangle(call);
      placed.pan_millidegrees = call.within("pan_millidegrees", 0, 359'999);
      placed.tilt_millidegrees = call.within("tilt_millidegrees", 0, 90'000);
      placed.zoom_decix = call.within("zoom_deciX", 10, 300);
      placed.sticks_to_scene = true;
      triangle(call) = placed;
    });
    on("get_triangle_field_of_view_coordinates", [this](Call& call) {
      for (std::size_t i = 0; i < std::size(corner_fields); ++i) call.set(corner_fields[i], triangle(call).corners[i]);
    });
    on("set_triangle_field_of_view_coordinates", [this](Call& call) {
      Triangle placed = triangle(call);
      for (std::size_t i = 0; i < std::size(corner_fields); ++i) {
        placed.corners[i] = call.within(corner_fields[i], 0, decipercent_high);
      }
      placed.sticks_to_scene = false;
      triangle(call) = placed;
    });
  }

  void reset() override {
    View::reset();
    for (Overlay* overlay : overlays_) overlay->reset();
  }

 private:
  Triangle& triangle(const Call& call) const {
    std::vector<Triangle>& all = overlays_[device(call)]->triangles;
    return all[static_cast<std::size_t>(call.within("triangle_index", 0, std::ssize(all) - 1))];
  }

  std::vector<Overlay*> overlays_;
};

}  // namespace

std::unique_ptr<View> make_sensor_0023(const Setup& setup) { return std::make_unique<Sensor>(setup); }

std::unique_ptr<View> make_imaging_pipe_statistics_0024(const Setup& setup) {
  return std::make_unique<PipeStatistics>(setup);
}

std::unique_ptr<View> make_triangle_overlay_002b(const Setup& setup) {
  return std::make_unique<TriangleOverlay>(setup);
}

}  // namespace rovk::unit
