return {
  name = "imaging_control_loops_0022",
  doc = "One flag over all control loops of the imaging pipeline.",
  id = 0x0022,
  api = { major = 0, minor = 2 },
  fields = {
    enable = { doc = "Whether the control loops run.", values = { { 0, "off" }, { 1, "on" } } },
  },
  commands = {
    { opcode = 32, name = "get_all_loops_enable",
      doc = "Whether the control loops run.",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "enable", "uint8_t" } },
    },
    { opcode = 33, name = "set_all_loops_enable",
      doc = "Stops or starts all control loops at once.",
      command = { { 0, "index", "uint8_t" }, { 1, "enable", "uint8_t" } },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
