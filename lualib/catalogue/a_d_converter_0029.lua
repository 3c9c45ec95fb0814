return {
  name = "a_d_converter_0029",
  doc = "A/D converters with one channel each.",
  id = 0x0029,
  api = { major = 0, minor = 1 },
  commands = {
    { opcode = 32, name = "get_raw",
      command = { { 0, "index", "uint8_t" } },
      response = {
        { 0, "reserved", "uint16_t" },
        { 2, "counts", "uint32_t" },
        { 6, "min", "uint32_t" },
        { 10, "max", "uint32_t" },
      },
    },
    { opcode = 33, name = "get_voltage",
      command = { { 0, "index", "uint8_t" } },
      response = {
        { 0, "reserved", "uint16_t" },
        { 2, "voltage_millivolts", "uint32_t" },
        { 6, "min", "uint32_t" },
        { 10, "max", "uint32_t" },
      },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
