// What stands around the imaging pipeline: the sensors, the statistics of the picture, and triangles
// drawn over it.
#include <rovk/constants.h>

#include "unit/services/scene.h"
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

class Sensor : public View {
 public:
  explicit Sensor(const Setup& setup) : View(setup, {}) {
    on("get_dimensions", [this](Call& call) {
      const SensorSize size = sensor_size(thermal(call));
      call.set("height", size.height);
      call.set("width", size.width);
    });
    on("dump_raw_image", [this](Call& call) {
      call.set("dram_address", raw_image_address(thermal(call)));
      call.set("size", sensor_size(thermal(call)).raw_bytes());
    });
  }

 private:
  bool thermal(const Call& call) const {
    return setup().devices.at(device(call)) == ROVK_PERIPHERAL_DEVICE_ID_SENSOR_THERMAL;
  }
};

class PipeStatistics : public View {
 public:
  explicit PipeStatistics(const Setup& setup) : View(setup, {}) {
    on("get_image_statistics", [this](Call& call) {
      const ImageStatistics seen = image_statistics(host(), exposure_in_force(host()));
      call.set("raw_pixel_average", seen.average);
      call.set("raw_pixel_minimum", seen.minimum);
      call.set("raw_pixel_maximum", seen.maximum);
      call.set("focus_metric_high", seen.focus_high);
      call.set("focus_metric_low", seen.focus_low);
    });
  }
};

constexpr unsigned triangles_per_device = 8;

// Alpha runs from 0, not seen, to 255, solid. A triangle keeps its place in both kinds of coordinate,
// each as it was set; zoom is tenths, so 10 is the whole picture.
constexpr Register triangle_registers[] = {
    {"triangle_color", "red", 0, 255, 255},
    {"triangle_color", "green", 0, 255, 255},
    {"triangle_color", "blue", 0, 255, 255},
    {"triangle_color", "alpha", 0, 255, 255},
    {"triangle_positioning_coordinates", "pan_millidegrees", 0, 359'999, 0},
    {"triangle_positioning_coordinates", "tilt_millidegrees", 0, 90'000, 0},
    {"triangle_positioning_coordinates", "zoom_deciX", 10, 300, 10},
    {"triangle_field_of_view_coordinates", "point1_x_decipercent", 0, 1'000, 500},
    {"triangle_field_of_view_coordinates", "point1_y_decipercent", 0, 1'000, 400},
    {"triangle_field_of_view_coordinates", "point2_x_decipercent", 0, 1'000, 400},
    {"triangle_field_of_view_coordinates", "point2_y_decipercent", 0, 1'000, 600},
    {"triangle_field_of_view_coordinates", "point3_x_decipercent", 0, 1'000, 600},
    {"triangle_field_of_view_coordinates", "point3_y_decipercent", 0, 1'000, 600},
};

// Each triangle is a device to the registers: those of a device lie next to one another.
class TriangleOverlay : public View {
 public:
  explicit TriangleOverlay(const Setup& setup)
      : View(setup, {}), triangles_(setup.service, devices() * triangles_per_device, triangle_registers) {
    for (const catalogue::Command& command : setup.service.commands) {
      on(command.name, [this](Call& call) {
        const int64_t triangle = call.within("triangle_index", 0, triangles_per_device - 1);
        triangles_.run(call, device(call) * triangles_per_device + static_cast<unsigned>(triangle));
      });
    }
    on("get_triangle_count", [](Call& call) { call.set("count", triangles_per_device); });
  }

  void reset() override {
    View::reset();
    triangles_.reset();
  }

 private:
  Registers triangles_;
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
