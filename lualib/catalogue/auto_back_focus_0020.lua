return {
  name = "auto_back_focus_0020",
  doc = "Return of the back focus to its calibrated home.",
  id = 0x0020,
  api = { major = 0, minor = 2 },
  commands = {
    { opcode = 32, name = "move_calibrated_home",
      doc = "Moves the focus to the place that the Z calibration found; the answer comes when it is there.",
      command = { { 0, "index", "uint8_t" } },
    },
  },
  events = {},
  errors = {
    { id = 32, name = "not_calibrated", doc = "No Z calibration was run, or its data are lost." },
  },
  constants = {},
}
