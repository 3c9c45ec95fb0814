return {
  name = "alarm_diagnostic_0018",
  doc = "Comparator readings behind the alarm inputs.",
  id = 0x0018,
  api = { major = 0, minor = 1 },
  fields = {
    pin_y = { doc = "Reading of the comparator with the lower threshold." },
    pin_z = { doc = "Reading of the comparator with the upper threshold." },
  },
  commands = {
    { opcode = 32, name = "get_comparator_values",
      doc = "Raw readings of the two comparators behind an input.",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "pin_y", "uint8_t" }, { 1, "pin_z", "uint8_t" } },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
