return {
  name = "eeprom_0003",
  doc = "First EEPROM service; only its identity and its error record remain.",
  id = 0x0003,
  api = { major = 0, minor = 18 },
  commands = {},
  events = {},
  errors = {},
  constants = {},
}
