return {
  name = "power_policy_0014",
  doc = "Power budget of the unit, first generation.",
  id = 0x0014,
  api = { major = 0, minor = 3 },
  fields = {
    max_power_milliwatts = { doc = "Power that all peripherals together may take." },
  },
  commands = {
    { opcode = 32, name = "set_max_peripheral_power",
      doc = "Sets the power budget. Opcode 32 here, 33 in power_policy_002c.",
      command = { { 0, "reserved", "uint16_t" }, { 2, "max_power_milliwatts", "uint32_t" } },
    },
    { opcode = 33, name = "get_max_peripheral_power",
      doc = "The power budget. Opcode 33 here, 32 in power_policy_002c.",
      response = { { 0, "reserved", "uint16_t" }, { 2, "max_power_milliwatts", "uint32_t" } },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
