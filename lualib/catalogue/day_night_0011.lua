return {
  name = "day_night_0011",
  doc = "Day/night filter, first generation.",
  id = 0x0011,
  api = { major = 0, minor = 1 },
  fields = {
    state = { doc = "Where the filter stands; at day it blocks infrared.", values = { { 0, "day" }, { 1, "night" } } },
  },
  commands = {
    { opcode = 32, name = "set_state",
      doc = "Moves the filter to day or night.",
      command = { { 0, "index", "uint8_t" }, { 1, "state", "uint8_t" } },
    },
    { opcode = 33, name = "get_state",
      doc = "Whether the filter stands at day or night.",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "state", "uint8_t" } },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
