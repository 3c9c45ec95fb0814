return {
  name = "imaging_pipe_statistics_0024",
  doc = "Pixel and focus statistics of the imaging pipeline.",
  id = 0x0024,
  api = { major = 0, minor = 1 },
  commands = {
    { opcode = 32, name = "get_image_statistics",
      command = { { 0, "index", "uint8_t" } },
      response = {
        { 0, "reserved", "uint16_t" },
        { 2, "raw_pixel_average", "uint32_t" },
        { 6, "raw_pixel_minimum", "uint32_t" },
        { 10, "raw_pixel_maximum", "uint32_t" },
        { 14, "focus_metric_high", "uint32_t" },
        { 18, "focus_metric_low", "uint32_t" },
      },
    },
  },
  events = {},
  errors = {},
  constants = {},
}
