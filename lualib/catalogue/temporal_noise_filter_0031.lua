return {
  name = "temporal_noise_filter_0031",
  doc = "Temporal noise filter, on or off.",
  id = 0x0031,
  api = { major = 0, minor = 1 },
  fields = {
    enable = { doc = "Whether the temporal noise filter works.", values = { { 0, "off" }, { 1, "on" } } },
  },
  commands = {
    { opcode = 32, name = "get_enable",
      doc = "Whether the temporal noise filter works.",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "enable", "uint8_t" } },
    },
    { opcode = 33, name = "set_enable",
      doc = "Switches the temporal noise filter on or off.",
      command = { { 0, "index", "uint8_t" }, { 1, "enable", "uint8_t" } },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
