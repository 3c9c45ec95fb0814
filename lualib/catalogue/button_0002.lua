return {
  name = "button_0002",
  doc = "Push buttons, read only.",
  id = 0x0002,
  api = { major = 0, minor = 7 },
  commands = {
    { opcode = 32, name = "get_state",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "pressed", "uint8_t" } },
    },
    { opcode = 33, name = "get_initial_state",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "pressed", "uint8_t" } },
    },
  },
  events = {
    { id = 32, name = "state_change",
      event = { { 0, "index", "uint8_t" }, { 1, "pressed", "uint8_t" } },
    },
  },
  errors = {},
  constants = {},
}
