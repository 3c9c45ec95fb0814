return {
  name = "power_policy_0014",
  doc = "Power budget of the unit, first generation.",
  id = 0x0014,
  api = { major = 0, minor = 3 },
  commands = {
    { opcode = 32, name = "set_max_peripheral_power",
      command = { { 0, "reserved", "uint16_t" }, { 2, "max_power_milliwatts", "uint32_t" } },
    },
    { opcode = 33, name = "get_max_peripheral_power",
      response = { { 0, "reserved", "uint16_t" }, { 2, "max_power_milliwatts", "uint32_t" } },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
