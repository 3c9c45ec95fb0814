// Which peripherals and devices a unit has. The router knows the addresses, each peripheral its id and
// the devices behind its indexes. A peripheral is asked once; a search that finds nothing asks the
// router whether it has got further routes since.
//
// A search sends ordinary commands and waits for them, all of a kind at once, so that even the first one
// takes the time of a few answers. No callback runs meanwhile: for the program it is a look at what is
// known.
#pragma once

#include <rovk/types.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace rovk::trans {

struct Context;

// What a context has learnt so far.
struct Lookups {
  struct Peripheral {
    uint16_t address;
    bool asked;  // false: it has not answered yet, and is asked again by the next search that needs it
    uint16_t id;
    uint8_t device_count;
    std::vector<uint32_t> devices;  // by index, as far as they are known
  };
  std::vector<Peripheral> peripherals;
  uint16_t routes = 0;  // of the router's, that have been read
};

// Null: there is none. Results are shared by all contexts and live as long as the process.
uint16_t* find_peripheral(Context& context, uint16_t id);
rovk_device_address* find_device(Context& context, uint16_t id, uint32_t device_id);

}  // namespace rovk::trans
