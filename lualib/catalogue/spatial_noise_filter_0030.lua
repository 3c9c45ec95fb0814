return {
  name = "spatial_noise_filter_0030",
  doc = "Spatial noise filter, on or off.",
  id = 0x0030,
  api = { major = 0, minor = 1 },
  fields = {
    enable = { doc = "Whether the spatial noise filter works.", values = { { 0, "off" }, { 1, "on" } } },
  },
  commands = {
    { opcode = 32, name = "get_enable",
      doc = "Whether the spatial noise filter works.",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "enable", "uint8_t" } },
    },
    { opcode = 33, name = "set_enable",
      doc = "Switches the spatial noise filter on or off.",
      command = { { 0, "index", "uint8_t" }, { 1, "enable", "uint8_t" } },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
