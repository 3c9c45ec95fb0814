// Frames written to files of the unit's store, and the server that they are fetched from.
#include <rovk/constants.h>

#include <algorithm>
#include <string>

#include "unit/file_server.h"
#include "unit/services/frames.h"
#include "unit/services/views.h"
#include "unit/things/file_store.h"
#include "unit/things/imager.h"

namespace rovk::unit {
namespace {

using things::FileStore;

constexpr Time frame_time = 33ms;

class BulkDump final : public View {
 public:
  explicit BulkDump(const Setup& setup)
      : View(setup, {}), files_(thing<FileStore>(0)), imager_(host().body().find_near<things::Imager>(setup.board)) {
    on("http_enable", [this](Call& call) {
      if (call.within("enable", 0, 1) == 0) return server_.stop();
      if (server_.port() != 0) return;
      if (world().get(Input::port_taken) != 0 || !files_.make_folder() ||
          server_.start(files_.folder(), files_.build().http_port) == 0) {
        call.refuse("http_server_start");
      }
    });
    // 0 while nobody listens.
    on("http_port", [this](Call& call) { call.set("port", server_.port()); });
    queue("get_frame", [this](Call& call) { write_frame(call, {.raw = call.within("bayer", 0, 1) != 0}); });
    queue("get_averaged_bayer_frame", [this](Call& call) {
      write_frame(call, {true, static_cast<unsigned>(call.within("average_count", 1, UINT8_MAX))});
    });
    on("delete_file", [this](Call& call) {
      if (!files_.remove(filename(call))) call.refuse("delete_file");
    });
    on("delete_all_files", [this](Call&) { files_.remove_all(); });
  }

  // Files stay, as what they lie on does.
  void reset() override { server_.stop(); }

 private:
  // Up to a zero or to the end of the field.
  static std::string filename(const Call& call) {
    const std::span<const uint8_t> bytes = call.bytes("filename");
    return {bytes.begin(), std::find(bytes.begin(), bytes.end(), uint8_t{0})};
  }

  // A name that is empty or would leave the folder is an input that cannot be; an imager that sleeps at the
  // end gives no frame; without room for it, or on a disk that takes no more, nothing is written.
  void write_frame(Call& call, const FrameOrder& order) {
    if (!FileStore::good_name(filename(call))) call.refuse_input("filename");
    if (!imager_ || !imager_->awake()) call.refuse("get_frame");
    call.take(frame_time * order.averaged, [this, order](Call& last) {
      if (!imager_->awake()) last.refuse("get_frame");
      if (files_.write(filename(last), take_frame(host(), *imager_, order)) != FileStore::Failure::none) {
        last.refuse("write_frame");
      }
    });
  }

  FileStore& files_;
  const things::Imager* imager_;  // that whose frames they are; null: there is none
  FileServer server_;
};

}  // namespace

std::unique_ptr<View> make_bulk_dump_000c(const Setup& setup) { return std::make_unique<BulkDump>(setup); }

}  // namespace rovk::unit
