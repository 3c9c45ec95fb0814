// What the unit only listens to: buttons, switches, sensors and converters.
#include <algorithm>
#include <limits>

#include "unit/models/models.h"

namespace rovk::unit {
namespace {

// get_initial_state tells how a button was when the peripheral last started, as for a button held down
// while the unit is switched on.
class Buttons final : public Model {
 public:
  explicit Buttons(const Setup& setup) : Model(setup, {}), pressed_(devices()), initial_(devices()) {
    on("get_state", [this](Call& call) { call.set("pressed", pressed_[device(call)]); });
    on("get_initial_state", [this](Call& call) { call.set("pressed", initial_[device(call)]); });
  }

  void reset() override {
    Model::reset();
    for (unsigned i = 0; i < devices(); ++i) pressed_[i] = initial_[i] = world().get(Input::button, i) != 0;
  }

  void sense(Input input, unsigned index, int64_t value) override {
    const uint8_t pressed = value != 0;
    if (input != Input::button || index >= devices() || pressed_[index] == pressed) return;
    pressed_[index] = pressed;
    host().raise(*this, "state_change", {index, pressed});
  }

 private:
  std::vector<uint8_t> pressed_;
  std::vector<uint8_t> initial_;
};

// A switch follows its contact when that moves, and set_state whatever the contact says: the last one
// to act decides.
class Switches final : public Model {
 public:
  explicit Switches(const Setup& setup) : Model(setup, {}), on_(devices()) {
    on("get_state", [this](Call& call) { call.set("on", on_[device(call)]); });
    on("set_state", [this](Call& call) { turn(device(call), call.within("on", 0, 1) != 0); });
  }

  void reset() override {
    Model::reset();
    for (unsigned i = 0; i < devices(); ++i) on_[i] = world().get(Input::switch_contact, i) != 0;
  }

  void sense(Input input, unsigned index, int64_t value) override {
    if (input == Input::switch_contact && index < devices()) turn(index, value != 0);
  }

 private:
  void turn(unsigned index, bool on) {
    if (on_[index] == uint8_t{on}) return;
    on_[index] = on;
    host().raise(*this, "state_change", {index, on});
  }

  std::vector<uint8_t> on_;
};

// Shows one input of the surroundings in one field, within what the field can hold.
class Sensor final : public Model {
 public:
  Sensor(const Setup& setup, Input input, std::string_view command, std::string_view field, int64_t low, int64_t high)
      : Model(setup, {}) {
    on(command, [this, input, field, low, high](Call& call) {
      call.set(field, std::clamp(world().get(input, device(call)), low, high));
    });
  }
};

// Both generations show the same converters: 12 bits over the range of the reference voltage, four
// inputs each.
constexpr int64_t reference_millivolts = 3'300;
constexpr int64_t most_counts = 4'095;
constexpr unsigned channels = 4;

int64_t millivolts(World& world, unsigned converter, unsigned channel) {
  return std::clamp<int64_t>(world.get(Input::analog, converter * channels + channel), 0, reference_millivolts);
}

int64_t counts(int64_t millivolts) {
  return (millivolts * most_counts + reference_millivolts / 2) / reference_millivolts;
}

// Each channel has its command fields.
class ChannelConverters final : public Model {
 public:
  explicit ChannelConverters(const Setup& setup) : Model(setup, {}) {
    on("get_channels", [this](Call& call) {
      converter(call);
      call.set("channel_count", channels);
    });
    on("get_value", [this](Call& call) { call.set("value", counts(read(call))); });
    on("get_voltage", [this](Call& call) { call.set("millivolt", read(call)); });
  }

 private:
  unsigned converter(const Call& call) const {
    return static_cast<unsigned>(call.within("adc_index", 0, int64_t{devices()} - 1));
  }
  int64_t read(const Call& call) {
    const unsigned adc = converter(call);
    return millivolts(world(), adc, static_cast<unsigned>(call.within("channel_index", 0, channels - 1)));
  }
};

// An index is a converter, seen through its first channel.
class Converters final : public Model {
 public:
  explicit Converters(const Setup& setup) : Model(setup, {}) {
    on("get_raw", [this](Call& call) {
      call.set("counts", counts(millivolts(world(), device(call), 0)));
      call.set("min", 0);
      call.set("max", most_counts);
    });
    on("get_voltage", [this](Call& call) {
      call.set("voltage_millivolts", millivolts(world(), device(call), 0));
      call.set("min", 0);
      call.set("max", reference_millivolts);
    });
  }
};

}  // namespace

std::unique_ptr<Model> make_button_0002(const Setup& setup) { return std::make_unique<Buttons>(setup); }

std::unique_ptr<Model> make_switch_0027(const Setup& setup) { return std::make_unique<Switches>(setup); }

std::unique_ptr<Model> make_light_sensor_0007(const Setup& setup) {
  return std::make_unique<Sensor>(setup, Input::light, "get_millilux", "millilux", 0,
                                  std::numeric_limits<uint32_t>::max());
}

// From the lower to the upper end of what the sensing element can tell.
std::unique_ptr<Model> make_temperature_sensor_0009(const Setup& setup) {
  return std::make_unique<Sensor>(setup, Input::temperature, "get_millidegree_celsius", "millidegree_celsius", -55'000,
                                  150'000);
}

std::unique_ptr<Model> make_a_d_converter_0016(const Setup& setup) {
  return std::make_unique<ChannelConverters>(setup);
}

std::unique_ptr<Model> make_a_d_converter_0029(const Setup& setup) { return std::make_unique<Converters>(setup); }

}  // namespace rovk::unit
