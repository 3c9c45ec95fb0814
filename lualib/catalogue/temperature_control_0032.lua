return {
  name = "temperature_control_0032",
  doc = "Temperature control of the unit, on or off.",
  id = 0x0032,
  api = { major = 0, minor = 1 },
  fields = {
    enable = { doc = "Whether temperature control works.", values = { { 0, "off" }, { 1, "on" } } },
  },
  commands = {
    { opcode = 32, name = "get_enable",
      doc = "Whether temperature control works.",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "enable", "uint8_t" } },
    },
    { opcode = 33, name = "set_enable",
      doc = "Switches temperature control on or off.",
      command = { { 0, "index", "uint8_t" }, { 1, "enable", "uint8_t" } },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
