// What a plan has done so far, and what of the protocol applications have tried.
#include <algorithm>
#include <cstring>
#include <string>

#include "rovk/unit.h"
#include "transport/with_unit.h"

int32_t rovk_unit_report(void* context, char* text, uint32_t size, uint32_t* needed) {
  using rovk::transport::fail;
  return rovk::transport::with_unit(context, [&](rovk::unit::Unit& unit, uint16_t) -> int32_t {
    if (!needed || (!text && size > 0)) return fail(-EINVAL, "a null pointer where something to write is expected");
    std::string lines;
    const rovk::unit::Plan& plan = unit.plan();
    for (std::size_t i = 0; i < plan.struck().size(); ++i) {
      lines += "injected " + plan.description().rules[i].where + " " + std::to_string(plan.struck()[i]) + "\n";
    }
    lines += unit.coverage().lines();
    *needed = static_cast<uint32_t>(lines.size() + 1);
    if (size == 0) return 0;
    const std::size_t copied = std::min<std::size_t>(lines.size(), size - 1);
    std::memcpy(text, lines.data(), copied);
    text[copied] = 0;
    return 0;
  });
}
