return {
  name = "lamp_0040",
  id = 0x0040,
  api = { major = 0, minor = 2 },
  commands = {
    { opcode = 32, name = "set",
      doc = "Switches a lamp.",
      command = {
        { 0, "index", "uint8_t" },
        { 1, "reserved", "uint8_t" },
        { 2, "level", "int32_t" },
        { 6, "data", "uint8_t [(22-sizeof(uint32_t)-sizeof(uint8_t)-sizeof(uint8_t))]" },
      },
    },
    { opcode = 33, name = "get",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "level", "uint16_t", unit = "mlx" }, { 2, "address", "uint8_t" } },
    },
  },
  events = {
    { id = 32, name = "change",
      event = { { 0, "reserved", "uint16_t" }, { 2, "level", "uint32_t" } },
    },
  },
  errors = { { id = 32, name = "burnt" } },
  constants = { { "ROVK_LAMP_0040_LEVEL_OFF", 0 } },
}
