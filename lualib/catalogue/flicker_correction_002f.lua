return {
  name = "flicker_correction_002f",
  doc = "Flicker correction, on or off.",
  id = 0x002f,
  api = { major = 0, minor = 2 },
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
