-- Messages made, inspected and read back. Nothing here is sent, and no unit is needed.
local rovk = require "rovk_message"

-- A command: where to, then the fields of its record. The reserved byte of the record has no argument.
local command = rovk.rovk_message()
rovk.rovk_led_0001_initialize_set_state_command(command, 0x0101, 1, 1, 200, 800)
print(("command: to address %#06x, type %d, opcode %d"):format(command.route.peripheral_address, command.route.type,
  command.cre.c.opcode))
assert(command.cre.c.opcode == rovk.ROVK_LED_0001_COMMAND_SET_STATE)
print("its fields:", rovk.rovk_led_0001_retrieve_set_state_command(command))

-- The three views of the body lie over the same bytes.
command.cre.c.opcode = 5
print("the same byte seen as response and event:", command.cre.r.error, command.cre.e.id)
command.cre.c.opcode = rovk.ROVK_LED_0001_COMMAND_GET_STATE

-- An answer to a command takes over its route.
local answer = rovk.rovk_message()
rovk.rovk_led_0001_initialize_get_state_response(answer, command, 1, 200, 800)
print("answer: status and values", rovk.rovk_led_0001_retrieve_get_state_response(answer))

-- An answer that refuses: reading its values gives the error id as status.
rovk.rovk_common_initialize_fault_exists_error(answer, command, 0x0101, 17)
local info = answer.cre.r.pei.ei
print(("refusal: error id %d from address %#06x"):format(info.id, info.peripheral_address))
print("as an answer it has the status", (rovk.rovk_led_0001_retrieve_get_state_response(answer)))
local record = rovk.rovk_error_common_error()
assert(rovk.rovk_common_retrieve_error(answer, record) == 0)
print("its record says: fault", record.data.fault_exists.fault_id)

-- An event.
local event = rovk.rovk_message()
rovk.rovk_button_0002_initialize_state_change_event(event, 0x0102, 0, 1)
print("event: index and pressed", rovk.rovk_button_0002_retrieve_state_change_event(event))

-- A payload record by itself has the layout of the wire, reserved fields included.
local payload = rovk.rovk_command_payload_led_0001_set_state()
payload.index, payload.on = 3, 1
print("record:", payload.index, payload.reserved, payload.on, payload.duty_cycle_on_ms)
