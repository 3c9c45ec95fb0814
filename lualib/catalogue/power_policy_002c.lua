return {
  name = "power_policy_002c",
  doc = "Power budgets by device, second generation.",
  id = 0x002c,
  api = { major = 0, minor = 2 },
  commands = {
    { opcode = 32, name = "get_max_peripheral_power",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "reserved", "uint16_t" }, { 2, "max_power_milliwatts", "uint32_t" } },
    },
    { opcode = 33, name = "set_max_peripheral_power",
      command = {
        { 0, "index", "uint8_t" },
        { 1, "reserved", "uint8_t" },
        { 2, "max_power_milliwatts", "uint32_t" },
      },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
