---@meta rovk_catalogue

---@class rovk.catalogue
---@field services table<string|integer, rovk.catalogue.service>
---@field by_id table<integer, rovk.catalogue.service>
---@field records table<string, rovk.catalogue.record>
---@field constants table<string|integer, rovk.catalogue.constant>
---@field statuses table<string|integer, rovk.catalogue.constant>
---@field types table<string, { width: integer, signed: boolean }>
---@field functions table<string|integer, rovk.catalogue.function>
---@field version rovk.version

---@class rovk.catalogue.service
---@field name string
---@field id? integer
---@field api rovk.version
---@field doc? string
---@field constant? string
---@field commands table<string|integer, rovk.catalogue.entry>
---@field events table<string|integer, rovk.catalogue.entry>
---@field errors table<string|integer, rovk.catalogue.entry>
---@field constants table<string|integer, rovk.catalogue.constant>
---@field by_opcode table<integer, rovk.catalogue.entry>
---@field by_event_id table<integer, rovk.catalogue.entry>
---@field by_error_id table<integer, rovk.catalogue.entry>
---@field records table<string, rovk.catalogue.record>
---@field error_record rovk.catalogue.record
---@field error_data rovk.catalogue.record

---@class rovk.catalogue.entry
---@field name string
---@field doc? string
---@field constant string
---@field service rovk.catalogue.service
---@field opcode? integer
---@field id? integer
---@field inputs? table<string|integer, rovk.catalogue.field>
---@field values table<string|integer, rovk.catalogue.field>

---@class rovk.catalogue.record
---@field class string
---@field text string
---@field size integer
---@field kind string
---@field fields table<string|integer, rovk.catalogue.field>
---@field overlay? boolean
---@field native? boolean

---@class rovk.catalogue.field
---@field name string
---@field doc? string
---@field type string
---@field kind "number"|"bytes"|"addresses"|"record"|"text"
---@field offset integer
---@field size integer
---@field width? integer
---@field signed? boolean
---@field count? integer
---@field low? integer
---@field high? integer
---@field min? integer
---@field max? integer
---@field unit? string
---@field values? rovk.catalogue.constant[]
---@field record? string
---@field reserved? boolean
---@field readonly? boolean

---@class rovk.catalogue.constant
---@field name string
---@field value integer
---@field doc? string
---@field constant? string
---@field fields? string[]

---@class rovk.catalogue.function
---@field name string
---@field arguments string[]
---@field results string[]
---@field doc? string

---@type rovk.catalogue
local catalogue = nil
return catalogue
