return {
  name = "eeprom_raw_0012",
  doc = "EEPROMs as rows of bytes, read only.",
  id = 0x0012,
  api = { major = 0, minor = 2 },
  commands = {
    { opcode = 32, name = "read",
      doc = "Up to 22 bytes; those behind `size` mean nothing.",
      command = {
        { 0, "size", "uint8_t", unit = "bytes" },
        { 1, "index", "uint8_t" },
        { 2, "read_address", "uint32_t", unit = "bytes" },
      },
      response = { { 0, "data", "uint8_t [22]" } },
    },
    { opcode = 33, name = "size",
      doc = "Length of the EEPROM.",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "reserved", "uint16_t" }, { 2, "size", "uint32_t", unit = "bytes" } },
    },
  },
  events = {},
  errors = {
    { id = 32, name = "partition_overflow" },
  },
  constants = {},
}
