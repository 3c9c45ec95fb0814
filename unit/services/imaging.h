// Services that show settings of an imager: which setting stands behind which register, and in which words.
#pragma once

#include <vector>

#include "unit/services/view.h"
#include "unit/things/imager.h"

namespace rovk::unit {

// The far edge of the picture, across and down.
constexpr int64_t decipercent_high = 1000;

// How a service tells the value of a setting.
enum class Wording : uint8_t {
  same,
  inverted,  // a flag that is set when the setting's is not
  percent,   // of the picture, where the setting counts 1/16384
};

constexpr Register shown(std::string_view subject, std::string_view field, things::Setting setting,
                         Wording wording = Wording::same) {
  return {subject, field, 0, 0, 0, static_cast<int>(setting) | static_cast<int>(wording) << 8};
}

class ImagerView : public View, private Backing {
 public:
  ImagerView(const Setup& setup, std::span<const Register> settings);

 protected:
  things::Imager& imager(unsigned device) const { return *imagers_[device]; }
  things::Imager& imager(const Call& call) const { return imager(device(call)); }

 private:
  int64_t get(int key, unsigned device) const override;
  void set(int key, unsigned device, int64_t value) override;
  Limits limits(int key, unsigned device) const override;
  void restore(int key, unsigned device) override;

  std::vector<things::Imager*> imagers_;
};

}  // namespace rovk::unit
