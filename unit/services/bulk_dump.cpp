// Frames written to files, and the server that they are fetched from. A file is its name and its size:
// nothing inside the unit reads what is in it.
#include <rovk/constants.h>

#include <algorithm>
#include <map>
#include <string>

#include "unit/services/scene.h"
#include "unit/services/views.h"

namespace rovk::unit {
namespace {

constexpr uint16_t http_port = 8080;
constexpr uint32_t storage_size = 16 * 1024 * 1024;  // bytes
constexpr Time frame_time = 33ms;

class BulkDump : public View {
 public:
  explicit BulkDump(const Setup& setup) : View(setup, {}) {
    on("http_enable", [this](Call& call) {
      const bool enable = call.within("enable", 0, 1) != 0;
      if (enable && !serving_ && world().get(Input::port_taken) != 0) call.refuse("http_server_start");
      serving_ = enable;
    });
    // 0 while nobody listens.
    on("http_port", [this](Call& call) { call.set("port", serving_ ? http_port : 0); });
    on("get_frame", [this](Call& call) {
      // A finished picture has one and a half bytes a pixel, a raw one two.
      const uint32_t raw = sensor_size(false).raw_bytes();
      write_frames(call, 1, call.within("bayer", 0, 1) != 0 ? raw : raw / 4 * 3);
    });
    on("get_averaged_bayer_frame", [this](Call& call) {
      write_frames(call, call.within("average_count", 1, UINT8_MAX), sensor_size(false).raw_bytes());
    });
    on("delete_file", [this](Call& call) {
      if (files_.erase(filename(call)) == 0) call.refuse("delete_file");
    });
    on("delete_all_files", [this](Call&) { files_.clear(); });
  }

  // The files lie in memory, so they go with the power.
  void reset() override {
    View::reset();
    files_.clear();
    serving_ = false;
    grabbing_until_ = Time{0};
  }

 private:
  // Up to a zero or to the end of the field.
  static std::string filename(const Call& call) {
    const std::span<const uint8_t> bytes = call.bytes("filename");
    return {bytes.begin(), std::find(bytes.begin(), bytes.end(), uint8_t{0})};
  }

  // One grab at a time, and none from an imager that sleeps: get_frame. No room for it: write_frame. A
  // file of the same name is replaced.
  void write_frames(Call& call, int64_t count, uint32_t size) {
    const std::string name = filename(call);
    if (name.empty()) call.refuse_input("filename");
    if (host().now() < grabbing_until_ || !imager_awake(host())) call.refuse("get_frame");
    uint32_t used = size;
    for (const auto& [other, bytes] : files_) used += other == name ? 0 : bytes;
    if (used > storage_size) call.refuse("write_frame");
    files_[name] = size;
    grabbing_until_ = host().now() + frame_time * count;
    call.take(frame_time * count);
  }

  std::map<std::string, uint32_t> files_;  // name and bytes
  bool serving_ = false;
  Time grabbing_until_{0};
};

}  // namespace

std::unique_ptr<View> make_bulk_dump_000c(const Setup& setup) { return std::make_unique<BulkDump>(setup); }

}  // namespace rovk::unit
