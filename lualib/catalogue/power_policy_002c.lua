return {
  name = "power_policy_002c",
  doc = "Power budgets by device, second generation.",
  id = 0x002c,
  api = { major = 0, minor = 2 },
  fields = {
    max_power_milliwatts = { doc = "Power that the device may take." },
  },
  commands = {
    { opcode = 32, name = "get_max_peripheral_power",
      doc = "The power budget of a device. Opcode 32 here, 33 in power_policy_0014.",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "reserved", "uint16_t" }, { 2, "max_power_milliwatts", "uint32_t" } },
    },
    { opcode = 33, name = "set_max_peripheral_power",
      doc = "Sets the power budget of a device. Opcode 33 here, 32 in power_policy_0014.",
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
