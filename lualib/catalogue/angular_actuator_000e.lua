return {
  name = "angular_actuator_000e",
  doc = "Angular actuator; only its identity and its error record remain.",
  id = 0x000e,
  api = { major = 0, minor = 1 },
  commands = {},
  events = {},
  errors = {},
  constants = {},
}
