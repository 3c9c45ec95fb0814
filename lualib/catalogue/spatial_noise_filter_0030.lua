return {
  name = "spatial_noise_filter_0030",
  doc = "Spatial noise filter, on or off.",
  id = 0x0030,
  api = { major = 0, minor = 1 },
  commands = {
    { opcode = 32, name = "get_enable",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "enable", "uint8_t" } },
    },
    { opcode = 33, name = "set_enable",
      command = { { 0, "index", "uint8_t" }, { 1, "enable", "uint8_t" } },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
