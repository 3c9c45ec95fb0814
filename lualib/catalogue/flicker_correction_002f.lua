return {
  name = "flicker_correction_002f",
  doc = "Flicker correction, on or off.",
  id = 0x002f,
  api = { major = 0, minor = 2 },
  fields = {
    enable = { doc = "Whether flicker correction works.", values = { { 0, "off" }, { 1, "on" } } },
  },
  commands = {
    { opcode = 32, name = "get_enable",
      doc = "Whether flicker correction works.",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "enable", "uint8_t" } },
    },
    { opcode = 33, name = "set_enable",
      doc = "Switches flicker correction on or off.",
      command = { { 0, "index", "uint8_t" }, { 1, "enable", "uint8_t" } },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
