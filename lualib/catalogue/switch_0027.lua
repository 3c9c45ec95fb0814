return {
  name = "switch_0027",
  doc = "Switches that are read, written and heard.",
  id = 0x0027,
  api = { major = 0, minor = 1 },
  fields = {
    on = { doc = "What the switch is.", values = { { 0, "off" }, { 1, "on" } } },
  },
  commands = {
    { opcode = 32, name = "get_state",
      doc = "Whether the switch is on.",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "on", "uint8_t" } },
    },
    { opcode = 33, name = "set_state",
      doc = "Switches it, whatever its contact says; the last one to act decides.",
      command = { { 0, "index", "uint8_t" }, { 1, "on", "uint8_t" } },
    },
  },
  events = {
    { id = 32, name = "state_change",
      doc = "A switch has changed, by its contact or by set_state.",
      event = { { 0, "index", "uint8_t" }, { 1, "on", "uint8_t" } },
    },
  },
  errors = {},
  constants = {},
}
