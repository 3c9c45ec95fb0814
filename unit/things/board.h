// Boards own things, a body owns boards. Things are found by their class and their place among those of
// the class, so that a second lens or board is one more entry and no more code.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <typeindex>
#include <utility>
#include <vector>

#include "unit/things/surroundings.h"

namespace rovk::unit::things {

class Board {
 public:
  Board(std::string name, uint8_t location) : name_(std::move(name)), location_(location) {}

  const std::string& name() const { return name_; }
  uint8_t location() const { return location_; }  // ROVK_GPI_LOCATION_*

  // Makes a thing, which stays for as long as the board does.
  template <typename Thing, typename... Arguments>
  Thing& add(Arguments&&... arguments) {
    auto made = std::make_shared<Thing>(std::forward<Arguments>(arguments)...);
    Thing& thing = *made;
    things_[typeid(Thing)].push_back(std::move(made));
    return thing;
  }
  // The n-th of its class, null when there are not so many.
  template <typename Thing>
  Thing* find(unsigned n = 0) const {
    const auto found = things_.find(typeid(Thing));
    return found == things_.end() || n >= found->second.size() ? nullptr : static_cast<Thing*>(found->second[n].get());
  }
  template <typename Thing>
  unsigned count() const {
    const auto found = things_.find(typeid(Thing));
    return found == things_.end() ? 0 : static_cast<unsigned>(found->second.size());
  }

 private:
  std::string name_;
  uint8_t location_;
  std::map<std::type_index, std::vector<std::shared_ptr<void>>> things_;
};

// All boards of a unit, and where it stands.
class Body {
 public:
  explicit Body(const Surroundings::Build& around) : surroundings_(around) {}

  Surroundings& surroundings() { return surroundings_; }
  const Surroundings& surroundings() const { return surroundings_; }
  Board& add_board(std::string name, uint8_t location) {
    return *boards_.emplace_back(std::make_unique<Board>(std::move(name), location));
  }
  const std::vector<std::unique_ptr<Board>>& boards() const { return boards_; }

  // The n-th of its class over all boards in their order, null when there are not so many.
  template <typename Thing>
  Thing* find(unsigned n = 0) const {
    for (const auto& board : boards_) {
      if (n < board->template count<Thing>()) return board->template find<Thing>(n);
      n -= board->template count<Thing>();
    }
    return nullptr;
  }
  // Among the things of a board; where that has none of the class, among those of all boards.
  template <typename Thing>
  Thing* find_near(const Board& home, unsigned n = 0) const {
    return home.count<Thing>() > 0 ? home.find<Thing>(n) : find<Thing>(n);
  }
  // The only one of its class on the unit, made on the first board when it is first asked for.
  template <typename Thing, typename... Arguments>
  Thing& only(Arguments&&... arguments) {
    Thing* const made = find<Thing>();
    return made ? *made : boards_.front()->template add<Thing>(std::forward<Arguments>(arguments)...);
  }
  template <typename Thing>
  unsigned count() const {
    unsigned sum = 0;
    for (const auto& board : boards_) sum += board->template count<Thing>();
    return sum;
  }

 private:
  Surroundings surroundings_;
  std::vector<std::unique_ptr<Board>> boards_;
};

}  // namespace rovk::unit::things
