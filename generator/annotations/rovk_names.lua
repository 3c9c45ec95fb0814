---@meta rovk.names

---Names of the protocol's numbers, both ways; nil and a text for what is unknown.
---@class rovk.names
local names = {}

---@param value integer|rovk.service_name
---@return string|integer|nil
---@return string? message
function names.service(value) end

---@param service rovk.service_name|integer
---@param value integer|string
---@return string|integer|nil
---@return string? message
function names.command(service, value) end

---@param service rovk.service_name|integer
---@param value integer|string
---@return string|integer|nil
---@return string? message
function names.event(service, value) end

---@param service rovk.service_name|integer
---@param value integer|string
---@return string|integer|nil
---@return string? message
function names.error(service, value) end

---@param value integer|rovk.device_name
---@return string|integer|nil
---@return string? message
function names.device(value) end

---@param value integer|rovk.board
---@return string|integer|nil
---@return string? message
function names.location(value) end

---@param value integer|string
---@param service? rovk.service_name|integer
---@return string|integer|nil
---@return string? message
function names.status(value, service) end

---@param value integer|string
---@param prefix? string
---@return string|integer|string[]|nil
---@return string? message
function names.constant(value, prefix) end

---@param field rovk.catalogue.field
---@param number integer
---@return string? name
---@return string? constant
function names.value(field, number) end

---@param word string
---@param candidates string[]
---@return string?
function names.nearest(word, candidates) end

return names
