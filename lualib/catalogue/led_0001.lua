return {
  name = "led_0001",
  doc = "Lights: on or off, with a blink cycle.",
  id = 0x0001,
  api = { major = 0, minor = 6 },
  commands = {
    { opcode = 32, name = "get_state",
      command = { { 0, "index", "uint8_t" } },
      response = {
        { 0, "on", "uint16_t" },
        { 2, "duty_cycle_on_ms", "uint16_t" },
        { 4, "duty_cycle_off_ms", "uint16_t" },
      },
    },
    { opcode = 33, name = "set_state",
      doc = "Switches a light, steady or with a blink cycle of an on and an off time.",
      command = {
        { 0, "index", "uint8_t" },
        { 1, "reserved", "uint8_t" },
        { 2, "on", "uint16_t" },
        { 4, "duty_cycle_on_ms", "uint16_t" },
        { 6, "duty_cycle_off_ms", "uint16_t" },
      },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
