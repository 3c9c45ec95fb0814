return {
  name = "zoom_0021",
  doc = "Zoom as a function of the lens.",
  id = 0x0021,
  api = { major = 0, minor = 1 },
  fields = {
    position = { doc = "Place of the zoom motor, in steps." },
  },
  commands = {
    { opcode = 32, name = "get_position",
      doc = "Where the zoom is now, with the ends of its way.",
      command = { { 0, "index", "uint8_t" } },
      response = {
        { 0, "position", "uint16_t" },
        { 2, "min", "uint16_t" },
        { 4, "max", "uint16_t" },
      },
    },
    { opcode = 33, name = "set_position",
      doc = "Moves the zoom; the answer does not wait for the end.",
      command = {
        { 0, "index", "uint8_t" },
        { 1, "reserved", "uint8_t" },
        { 2, "position", "uint16_t" },
      },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
