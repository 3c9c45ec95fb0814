return {
  name = "temperature_sensor_0009",
  doc = "Temperatures of the boards.",
  id = 0x0009,
  api = { major = 0, minor = 5 },
  fields = {
    millidegree_celsius = { doc = "The temperature; below zero with its sign." },
  },
  commands = {
    { opcode = 32, name = "get_millidegree_celsius",
      doc = "What the sensor measures now.",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "reserved", "uint16_t" }, { 2, "millidegree_celsius", "int32_t" } },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
