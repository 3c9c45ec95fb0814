// An A/D converter: some channels, each of which reads the voltage of something else. A channel that is
// wired to a line or a sensor shows that one, and driving the channel from outside drives what it is
// wired to; a free one keeps what is laid on it.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace rovk::unit::things {

class Converter {
 public:
  static constexpr int64_t reference_millivolts = 3'300;
  static constexpr int64_t most_counts = 4'095;  // 12 bits over the range of the reference

  struct Wire {
    std::function<int64_t()> millivolts;
    std::function<void(int64_t millivolts)> drive;
  };

  void add_free_channel(int64_t millivolts);
  void add_channel(Wire wire) { channels_.push_back({0, std::move(wire)}); }

  unsigned channels() const { return static_cast<unsigned>(channels_.size()); }
  // Within the range of the reference. A channel that is not there reads 0.
  int64_t millivolts(unsigned channel) const;
  int64_t counts(unsigned channel) const;
  void drive(unsigned channel, int64_t millivolts);

 private:
  struct Channel {
    int64_t laid_on;
    Wire wire;  // empty for a free one
  };
  std::vector<Channel> channels_;
};

}  // namespace rovk::unit::things
