return {
  name = "light_sensor_0007",
  doc = "Ambient light.",
  id = 0x0007,
  api = { major = 0, minor = 3 },
  fields = {
    millilux = { doc = "The light that falls on the sensor." },
  },
  commands = {
    { opcode = 32, name = "get_millilux",
      doc = "How light it is around the unit.",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "reserved", "uint16_t" }, { 2, "millilux", "uint32_t" } },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
