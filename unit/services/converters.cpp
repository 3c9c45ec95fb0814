// A/D converters of both generations.
#include "unit/services/views.h"
#include "unit/things/converter.h"

namespace rovk::unit {
namespace {

using things::Converter;

// Each channel has its command fields.
class ChannelConverters final : public View {
 public:
  explicit ChannelConverters(const Setup& setup) : View(setup, {}), converters_(all_things<Converter>()) {
    on("get_channels", [this](Call& call) { call.set("channel_count", converter(call).channels()); });
    on("get_value", [this](Call& call) { call.set("value", converter(call).counts(channel(call))); });
    on("get_voltage", [this](Call& call) { call.set("millivolt", converter(call).millivolts(channel(call))); });
  }

 private:
  const Converter& converter(const Call& call) const {
    return *converters_[static_cast<std::size_t>(call.within("adc_index", 0, int64_t{devices()} - 1))];
  }
  unsigned channel(const Call& call) const {
    return static_cast<unsigned>(call.within("channel_index", 0, int64_t{converter(call).channels()} - 1));
  }

  std::vector<Converter*> converters_;
};

// An index is a converter, seen through its first channel.
class Converters final : public View {
 public:
  explicit Converters(const Setup& setup) : View(setup, {}), converters_(all_things<Converter>()) {
    on("get_raw", [this](Call& call) {
      call.set("counts", converters_[device(call)]->counts(0));
      call.set("max", Converter::most_counts);
    });
    on("get_voltage", [this](Call& call) {
      call.set("voltage_millivolts", converters_[device(call)]->millivolts(0));
      call.set("max", Converter::reference_millivolts);
    });
  }

 private:
  std::vector<Converter*> converters_;
};

}  // namespace

std::unique_ptr<View> make_a_d_converter_0016(const Setup& setup) { return std::make_unique<ChannelConverters>(setup); }

std::unique_ptr<View> make_a_d_converter_0029(const Setup& setup) { return std::make_unique<Converters>(setup); }

}  // namespace rovk::unit
