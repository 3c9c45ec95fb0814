return {
  name = "button_0002",
  doc = "Push buttons, read only.",
  id = 0x0002,
  api = { major = 0, minor = 7 },
  fields = {
    pressed = { doc = "Whether the button is down.", values = { { 0, "no" }, { 1, "yes" } } },
  },
  commands = {
    { opcode = 32, name = "get_state",
      doc = "Whether the button is pressed now.",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "pressed", "uint8_t" } },
    },
    { opcode = 33, name = "get_initial_state",
      doc = "Whether the button was pressed when the peripheral started.",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "pressed", "uint8_t" } },
    },
  },
  events = {
    { id = 32, name = "state_change",
      doc = "A button was pressed or let go.",
      event = { { 0, "index", "uint8_t" }, { 1, "pressed", "uint8_t" } },
    },
  },
  errors = {},
  constants = {},
}
