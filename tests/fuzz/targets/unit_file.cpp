// Unit files and plans: what can be read makes a unit that runs.
#include "target.h"
#include "unit/fittings.h"
#include "unit/profiles/reader.h"
#include "unit/unit.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Where a key or a blank is expected, the TOML library does not know what to do with some letters beyond
  // ASCII: it comes to a place that it declares unreachable.
  if (std::any_of(data, data + size, [](uint8_t byte) { return byte > 0x7f; })) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    rovk::unit::read_plan(text, "plan");
  } catch (const rovk::unit::DescriptionError&) {
  }
  try {
    rovk::unit::Unit unit({.virtual_clock = true}, rovk::unit::read_unit_text(text, "/nowhere/unit.toml"));
    unit.join();
    unit.advance_to(std::chrono::seconds(2));
  } catch (const rovk::unit::DescriptionError&) {
  }
  return 0;
}
