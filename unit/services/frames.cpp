#include "unit/services/frames.h"

#include <array>
#include <cstdio>

#include "unit/picture/render.h"
#include "unit/things/file_store.h"
#include "unit/things/picture.h"

namespace rovk::unit {

std::vector<uint8_t> take_frame(Host& host, const things::Imager& imager, const FrameOrder& order) {
  unsigned place = 0;
  while (host.body().find<things::Imager>(place) != &imager) ++place;
  const things::Picture seen = things::picture_of(host.body(), place);
  // The same moment, the same noise.
  const uint64_t seed = static_cast<uint64_t>(host.now().count()) * 64 + place;
  return order.raw ? picture::raw_frame(seen, seed, order.averaged) : picture::finished_frame(seen, seed);
}

void dump_raw_image(Call& call, Host& host, const things::Imager& imager) {
  auto* const files = host.body().find<things::FileStore>();
  if (!files) return;
  std::array<char, 24> name = {};
  std::snprintf(name.data(), name.size(), "ram-%08x.raw", imager.build().raw_address);
  if (files->write(name.data(), take_frame(host, imager, {.raw = true})) != things::FileStore::Failure::none) {
    call.refuse("no_resources");
  }
}

}  // namespace rovk::unit
