return {
  name = "sensor_0023",
  doc = "Image sensors: dimensions and raw frames.",
  id = 0x0023,
  api = { major = 0, minor = 1 },
  commands = {
    { opcode = 32, name = "get_dimensions",
      command = { { 0, "index", "uint8_t" } },
      response = { { 0, "height", "uint16_t", unit = "pixels" }, { 2, "width", "uint16_t", unit = "pixels" } },
    },
    { opcode = 33, name = "dump_raw_image",
      doc = "Leaves a raw frame in memory and tells where.",
      command = { { 0, "index", "uint8_t" } },
      response = {
        { 0, "reserved", "uint16_t" },
        { 2, "dram_address", "uint32_t" },
        { 6, "size", "uint32_t", unit = "bytes" },
      },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
