return {
  name = "eeprom_raw_0012",
  doc = "EEPROMs as rows of bytes, read only.",
  id = 0x0012,
  api = { major = 0, minor = 2 },
  fields = {
    size = { doc = "Number of bytes." },
    read_address = { doc = "Where the first byte lies, counted from 0." },
    data = { doc = "The bytes; those behind `size` mean nothing." },
  },
  commands = {
    { opcode = 32, name = "read",
      doc = "Reads up to 22 bytes.",
      command = {
        { 0, "size", "uint8_t", unit = "bytes", max = 22 },
        { 1, "index", "uint8_t" },
        { 2, "read_address", "uint32_t", unit = "bytes" },
      },
      response = { { 0, "data", "uint8_t [22]" } },
    },
    { opcode = 33, name = "size",
      doc = "How many bytes the EEPROM has.",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "reserved", "uint16_t" }, { 2, "size", "uint32_t", unit = "bytes" } },
    },
  },
  events = {},
  errors = {
    { id = 32, name = "partition_overflow", doc = "The bytes asked for reach beyond the end of the EEPROM." },
  },
  constants = {},
}
