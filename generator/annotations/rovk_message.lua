---@meta rovk_message

---What a command gives as its second result, and its callback as the last argument.
---@class (exact) rovk.error_table
---@field error_id integer 0 when all is well
---@field peripheral_address? integer
---@field fault_id? integer
---@field application_address? integer
---@field type? integer
---@field payload_index? integer offset of the first input that was not accepted
---@field opcode? integer
---@field index? integer
---@field efl_cal_value? integer
---@field z_cal_value? integer
---@field value? integer

---@class (exact) rovk.version
---@field major integer
---@field minor integer

---@type rovk_message
local rovk_message = nil
return rovk_message
