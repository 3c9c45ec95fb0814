-- What the protocol fixes for all services: primitive types, the records of a message, the numbers
-- that belong to no service, and the functions that no service owns. Data only; the services stand
-- in catalogue/, one file each, and the generator reads both.

local header_doc = "Stamps the header of a message."

return {
  version = { major = 0, minor = 19 },

  -- Width in bytes; `c` is the type of the value in a callback's signature.
  types = {
    uint8_t = { width = 1, c = "unsigned char" },
    uint16_t = { width = 2, c = "unsigned short" },
    uint32_t = { width = 4, c = "unsigned int" },
    int8_t = { width = 1, signed = true, c = "char" },
    int16_t = { width = 2, signed = true, c = "short" },
    int32_t = { width = 4, signed = true, c = "int" },
    rovk_address = { width = 2, c = "unsigned short" },
    rovk_uuid = { width = 4, c = "unsigned int" },
    rovk_message_type = { width = 1, c = "unsigned char" },
    rovk_cre_command_opcode = { width = 1, c = "unsigned char" },
    rovk_cre_response_error = { width = 1, c = "unsigned char" },
    rovk_cre_response_error_id = { width = 2, c = "unsigned short" },
    rovk_cre_event_id = { width = 1, c = "unsigned char" },
    rovk_fault_id = { width = 2, c = "unsigned short" },
    rovk_peripheral_id = { width = 2, c = "unsigned short" },
    rovk_peripheral_device_id = { width = 4, c = "unsigned int" },
    rovk_capabilities_mask = { width = 2, c = "unsigned short" },
    rovk_queue_depth = { width = 1, c = "unsigned char" },
    rovk_device_count = { width = 1, c = "unsigned char" },
    rovk_location = { width = 1, c = "unsigned char" },
    rovk_alias_count = { width = 2, c = "unsigned short" },
    rovk_version_major = { width = 1, c = "unsigned char" },
    rovk_version_minor = { width = 1, c = "unsigned char" },
    rovk_scratch = { width = 1, c = "unsigned char" },
  },

  -- The spelling of an array is what a failure text shows; element type and count stand beside it.
  arrays = {
    ["uint8_t [22]"] = { element = "uint8_t", count = 22 },
    ["uint8_t [18]"] = { element = "uint8_t", count = 18 },
    ["uint8_t [22-sizeof(uint8_t)]"] = { element = "uint8_t", count = 21 },
    ["uint8_t [(22-sizeof(uint32_t)-sizeof(uint8_t)-sizeof(uint8_t))]"] = { element = "uint8_t", count = 16 },
    ["rovk_address [10]"] = { element = "rovk_address", count = 10 },
    ["char [22+sizeof(rovk_cre_command_opcode)]"] = { element = "char", count = 23 },
  },

  -- Records of a message, and the two small ones beside it. `struct` says whether the type text has
  -- that word in front; `overlay` that all fields start at 0; `readonly` that an attribute refuses
  -- writes; `native` that a record never travels, so that its numbers keep the processor's order.
  records = {
    { name = "rovk_version", struct = true, fields = {
      { 0, "major", "rovk_version_major" },
      { 1, "minor", "rovk_version_minor" },
    } },
    { name = "rovk_message_routing", struct = true, fields = {
      { 0, "application_address", "rovk_address" },
      { 2, "peripheral_address", "rovk_address" },
      { 4, "uuid", "rovk_uuid" },
      { 8, "type", "rovk_message_type", doc = "What kind of message it is; 0 when nobody filled it.",
        values = { { 1, "command" }, { 2, "response" }, { 3, "event" } } },
    } },
    { name = "rovk_error_info", struct = true, fields = {
      { 0, "peripheral_address", "rovk_address", doc = "The peripheral that reports the error." },
      { 2, "id", "rovk_cre_response_error_id", doc = "The error." },
      { 4, "payload", "uint8_t [18]", doc = "The detail of the error." },
    } },
    { name = "rovk_message_cre_c", fields = {
      { 0, "opcode", "rovk_cre_command_opcode" },
      { 1, "payload", "uint8_t [22]" },
    } },
    { name = "rovk_message_cre_r_pei", overlay = true, fields = {
      { 0, "payload", "uint8_t [22]" },
      { 0, "ei", "struct rovk_error_info" },
    } },
    { name = "rovk_message_cre_r", fields = {
      { 0, "error", "rovk_cre_response_error", doc = "What the bytes behind it are.",
        values = { { 0, "payload" }, { 1, "error" } } },
      { 1, "pei", "rovk_message_cre_r_pei", readonly = true },
    } },
    { name = "rovk_message_cre_e", fields = {
      { 0, "id", "rovk_cre_event_id", doc = "The event." },
      { 1, "payload", "uint8_t [22]" },
    } },
    { name = "rovk_message_cre", overlay = true, fields = {
      { 0, "dummy", "char [22+sizeof(rovk_cre_command_opcode)]" },
      { 0, "c", "rovk_message_cre_c", readonly = true },
      { 0, "r", "rovk_message_cre_r", readonly = true },
      { 0, "e", "rovk_message_cre_e", readonly = true },
    } },
    { name = "rovk_message", struct = true, fields = {
      { 0, "route", "struct rovk_message_routing" },
      { 9, "cre", "rovk_message_cre", readonly = true },
    } },
    { name = "rovk_device_address", native = true, fields = {
      { 0, "address", "rovk_address" },
      { 2, "index", "uint8_t" },
    } },
  },

  constants = {
    { "ROVK_MESSAGE_PAYLOAD_SIZE", 22 },
    { "ROVK_MESSAGE_ERROR_INFO_PAYLOAD_SIZE", 18 },
    { "ROVK_LOG_PRIORITY_EMERG", 0 },
    { "ROVK_LOG_PRIORITY_ALERT", 1 },
    { "ROVK_LOG_PRIORITY_CRIT", 2 },
    { "ROVK_LOG_PRIORITY_ERR", 3 },
    { "ROVK_LOG_PRIORITY_WARNING", 4 },
    { "ROVK_LOG_PRIORITY_NOTICE", 5 },
    { "ROVK_LOG_PRIORITY_INFO", 6 },
    { "ROVK_LOG_PRIORITY_DEBUG", 7 },
  },

  -- Statuses that say what failed below the protocol, by the names and numbers that Linux gives them on all
  -- processors but MIPS, SPARC, Alpha and PA-RISC.
  statuses = {
    { "SUCCESS", 0, doc = "The command was carried out." },
    { "CALLBACK", -1, doc = "The module had no memory for a callback; or, of a unit's clock, that it is not virtual." },
    { "ENOENT", -2, doc = "There is no such subscription, peripheral or input." },
    { "EIO", -5, doc = "The way to the unit has failed." },
    { "ENXIO", -6, doc = "There is no peripheral at that address." },
    { "EAGAIN", -11, doc = "Too many commands are under way." },
    { "ENOMEM", -12, doc = "There is no memory." },
    { "EACCES", -13, doc = "The way to the unit is closed to this user." },
    { "EBUSY", -16, doc = "Callbacks are not dispatched inside a callback." },
    { "ENODEV", -19, doc = "There is no such unit." },
    { "EINVAL", -22, doc = "An argument is wrong: most often a context that is closed, or an unknown unit." },
    { "ENOSPC", -28, doc = "Too many contexts are open." },
    { "EPIPE", -32, doc = "The unit has closed the connection." },
    { "ENODATA", -61, doc = "An answer refused the command without saying why; or nothing can come any more." },
    { "EPROTO", -71, doc = "The message is of another kind than the one asked for." },
    { "EBADMSG", -74, doc = "The message belongs to another command or event." },
    { "ECONNRESET", -104, doc = "The unit has closed the connection." },
    { "ETIMEDOUT", -110, doc = "No answer came in time." },
    { "ECONNREFUSED", -111, doc = "Nobody serves a unit there." },
    { "ECANCELED", -125, doc = "The context was closed while the command waited." },
  },

  -- What a field of this name means wherever it stands, unless the field says otherwise.
  fields = {
    index = { doc = "The device of the peripheral, counted from 0." },
    enable = { doc = "Whether what the command is named after is on.", values = { { 0, "off" }, { 1, "on" } } },
    min = { doc = "The smallest value that is taken." },
    max = { doc = "The greatest value that is taken." },
    movement = { doc = "Whether it moves.", values = { { 0, "stopped" }, { 1, "moving" } } },
    frequency_hz = { doc = "Frequency of the PWM." },
    min_frequency_hz = { doc = "The lowest frequency." },
    max_frequency_hz = { doc = "The highest frequency." },
    duty_cycle_percent = { doc = "Part of the time that the PWM is on." },
    min_duty_cycle_percent = { doc = "The smallest duty cycle." },
    max_duty_cycle_percent = { doc = "The greatest duty cycle." },
    reserved = { doc = "Nothing; it keeps the fields behind it in their places." },
    reserved2 = { doc = "Nothing; it keeps the fields behind it in their places." },

    -- of the message itself
    major = { doc = "Changes when the old meaning no longer holds." },
    minor = { doc = "Changes when something was added." },
    application_address = { doc = "The application that sent the command, or that the answer or event is for." },
    peripheral_address = { doc = "The peripheral that is meant, or that answers or raises an event." },
    uuid = { doc = "Ties an answer to its command; 0 in an event." },
    opcode = { doc = "The command." },
    payload = { doc = "The bytes of the record that the message carries." },
    ei = { doc = "The error that a refusal carries." },
    pei = { doc = "What a response carries: a payload or an error." },
    c = { doc = "The body as a command." },
    r = { doc = "The body as a response." },
    e = { doc = "The body as an event." },
    dummy = { doc = "The body as text, up to the first zero." },
    route = { doc = "From whom and to whom." },
    cre = { doc = "The body: command, response or event." },
    address = { doc = "The peripheral that the device belongs to." },
  },

  -- Pointer types beside those of the records, the callbacks and the error records.
  pointers = {
    { "_p_SWIGLUA_FN", "SWIGLUA_FN *" },
    { "_p_char", "char *|int8_t *" },
    { "_p_int", "int *|int32_t *" },
    { "_p_p_unsigned_char", "uint8_t **|unsigned char **" },
    { "_p_p_unsigned_short", "unsigned short **|rovk_address **" },
    { "_p_p_void", "void **" },
    { "_p_rovk_log_priority", "enum rovk_log_priority *|rovk_log_priority *" },
    { "_p_short", "short *|int16_t *" },
    { "_p_unsigned_char", "rovk_cre_event_id *|rovk_message_type *|rovk_cre_response_error *|unsigned char *"
      .. "|rovk_queue_depth *|rovk_version_minor *|rovk_location *|rovk_device_count *|rovk_version_major *"
      .. "|rovk_scratch *|uint8_t *|rovk_cre_command_opcode *" },
    { "_p_unsigned_int", "uint32_t *|unsigned int *|rovk_peripheral_device_id *|rovk_uuid *" },
    { "_p_unsigned_short", "rovk_fault_id *|rovk_alias_count *|rovk_cre_response_error_id *|unsigned short *"
      .. "|rovk_capabilities_mask *|rovk_peripheral_id *|rovk_address *|uint16_t *" },
    { "_p_void", "void *" },
  },

  -- Functions that no service owns, in the order of their installation. An argument is its type
  -- text; results name what the wrapper pushes.
  functions = {
    { name = "rovk_initialize_message_struct", doc = header_doc,
      arguments = { "struct rovk_message *", "rovk_address", "rovk_message_type", "rovk_cre_command_opcode" } },
    { name = "rovk_initialize_message_response_struct", doc = header_doc,
      arguments = { "struct rovk_message *", "struct rovk_message *", "rovk_message_type",
        "rovk_cre_command_opcode" } },
    { name = "rovk_initialize_message_error_response_struct", doc = header_doc,
      arguments = { "struct rovk_message *", "struct rovk_message *", "rovk_address",
        "rovk_cre_response_error_id" } },
    { name = "rovk_logging_init", doc = "Opens a log.",
      arguments = { "char const *", "void **" }, results = { "status" } },
    { name = "rovk_logging_deinit", doc = "Closes a log.",
      arguments = { "void *" }, results = { "status" } },
    { name = "rovk_log", doc = "Writes a line to a log.",
      arguments = { "void *", "rovk_log_priority", "char const *" }, null_behind = true },
    { name = "rovk_log_message", doc = "Writes a message to a log.",
      arguments = { "void *", "rovk_log_priority", "struct rovk_message *" } },
    { name = "rovk_log_error", doc = "Writes an error record to a log.",
      arguments = { "void *", "rovk_log_priority", "void *" } },
    { name = "rovktrans_init", doc = "Opens a transaction context.",
      arguments = { "char const *", "void *" }, results = { "status", "context" } },
    { name = "rovktrans_deinit", doc = "Closes a transaction context.",
      arguments = { "void *" }, results = { "status" } },
    { name = "rovktrans_log_message", doc = "Writes a line to the log of a context.",
      arguments = { "void *", "rovk_log_priority", "char const *" }, null_behind = true },
    { name = "rovktrans_find_peripheral", doc = "Finds the address of a peripheral by its id.",
      arguments = { "void *", "rovk_peripheral_id" }, results = { "rovk_address *" } },
    { name = "rovktrans_find_device", doc = "Finds a device by peripheral id and device id.",
      arguments = { "void *", "rovk_peripheral_id", "rovk_peripheral_device_id" },
      results = { "rovk_device_address *" } },
  },
}
