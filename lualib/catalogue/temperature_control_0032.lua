return {
  name = "temperature_control_0032",
  doc = "Temperature control of the unit, on or off.",
  id = 0x0032,
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
