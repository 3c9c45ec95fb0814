return {
  name = "common",
  api = { major = 0, minor = 1 },
  commands = {
    { opcode = 0, name = "ask",
      response = { { 0, "api", "struct rovk_version" }, { 2, "alias", "rovk_address [10]" } },
    },
    { opcode = 1, name = "nop" },
  },
  events = {},
  errors = {
    { id = 1, name = "busy" },
    { id = 2, name = "late",
      detail = { { 0, "late_ms", "uint16_t" } },
    },
  },
  constants = { { "ROVK_SAMPLE", 7 } },
}
