return {
  name = "power_monitor_000f",
  doc = "Voltage, current and power, first generation.",
  id = 0x000f,
  api = { major = 0, minor = 2 },
  commands = {
    { opcode = 32, name = "get_voltages",
      command = { { 0, "index", "uint8_t" } },
      response = {
        { 0, "reserved", "uint16_t" },
        { 2, "shunt_voltage_millivolts", "int32_t" },
        { 6, "bus_voltage_millivolts", "int32_t" },
      },
    },
    { opcode = 33, name = "get_current",
      command = { { 0, "index", "uint8_t" } },
      response = {
        { 0, "reserved", "uint16_t" },
        { 2, "calculated_current_milliamps", "int32_t" },
      },
    },
    { opcode = 34, name = "get_power",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "reserved", "uint16_t" }, { 2, "calculated_power_microwatts", "int32_t" } },
    },
  },
  events = {
    { id = 32, name = "alert",
      event = { { 0, "index", "uint8_t" }, { 1, "active", "uint8_t" } },
    },
  },
  errors = {},
  constants = {},
}
