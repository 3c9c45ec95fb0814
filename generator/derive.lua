-- From the catalogue to everything that follows from it: classes, functions, callback signatures,
-- pointer types, constants and variables, in the order in which they are installed. Emitters write
-- down what stands here and decide nothing.

local derive = {}

local function append(list, value)
  list[#list + 1] = value
  return value
end

local function index_by_name(list)
  local by_name = {}
  for _, item in ipairs(list) do
    by_name[item.name] = item
  end
  return by_name
end

local function values_of(record)
  return record and record.values or {}
end

-- Arguments. `kind` is one of: number, by_pointer, pointer, opaque, version, text, fn, table.
-- `text` is what a failed type check shows.
local ADDRESS = { kind = "number", text = "rovk_address", width = 2, signed = false }
local OPAQUE = { kind = "opaque", text = "void *" }
local MESSAGE = { kind = "pointer", text = "struct rovk_message *", type = "_p_rovk_message" }
local FUNCTION = { kind = "fn", text = "SWIGLUA_FN" }

local function field_argument(field)
  if field.kind == "number" then
    return { kind = "number", text = field.text, width = field.width, signed = field.signed, name = field.name }
  elseif field.kind == "array" and field.element == "rovk_address" then
    return { kind = "aliases", text = "rovk_address *", count = field.count, name = field.name }
  elseif field.kind == "array" then
    return { kind = "table", text = "table", count = field.count, name = field.name }
  end
  return { kind = "version", text = field.text, type = "_p_rovk_version", name = field.name }
end

local function with_fields(leading, record)
  local arguments = {}
  for _, argument in ipairs(leading) do
    append(arguments, argument)
  end
  for _, field in ipairs(values_of(record)) do
    append(arguments, field_argument(field))
  end
  return arguments
end

-- Results and callback values share one description: number, version or array of numbers.
local function value_list(record)
  local list = {}
  for _, field in ipairs(values_of(record)) do
    append(list, { kind = field.kind == "record" and "version" or field.kind, width = field.width or 2,
      signed = field.signed, count = field.count, name = field.name })
  end
  return list
end

-- The declarator of a callback's type, from which its mangled name follows.
local function callback_signature(service, record, with_error)
  local parameters = { "void *", "unsigned short" }
  if with_error then
    append(parameters, ("struct rovk_error_%s_error *"):format(service.name))
  end
  for _, field in ipairs(values_of(record)) do
    append(parameters, field.c)
  end
  append(parameters, "void *")
  local mangled = {}
  for _, parameter in ipairs(parameters) do
    local base = parameter:match("^(.-) %*$")
    append(mangled, (base and "p_" .. base or parameter):gsub(" ", "_") .. "")
  end
  return "_p_f_" .. table.concat(mangled, "_") .. "__void", ("void (*)(%s)"):format(table.concat(parameters, ","))
end

local function make_class(name, record, options)
  return { name = name, record = record, struct = options.struct, native = options.native or false,
    text = (options.struct and "struct " or "") .. name .. " *", type = "_p_" .. name, doc = options.doc }
end

local function derive_error_classes(model, service)
  local overlay = { fields = {}, values = {}, overlay = true, size = 18 }
  append(overlay.fields, { name = "payload", text = "uint8_t [18]", offset = 0, kind = "array", element = "uint8_t",
    count = 18, width = 1, size = 18, doc = "The detail as bytes." })
  for _, item in ipairs(service.errors) do
    if item.detail then
      append(overlay.fields, { name = item.name, offset = 0, kind = "record", record = item.detail, doc = item.doc,
        text = ("struct %s"):format(item.detail.class), size = item.detail.size })
    end
  end
  local data_name = ("rovk_error_%s_error_data"):format(service.name)
  local error_name = ("rovk_error_%s_error"):format(service.name)
  overlay.class, overlay.name = data_name, data_name
  local pair = { size = 22, fields = {
    { name = "error_peripheral_address", text = "rovk_address", offset = 0, kind = "number", width = 2, size = 2,
      doc = "The peripheral that reports the error." },
    { name = "id", text = "rovk_cre_response_error_id", offset = 2, kind = "number", width = 2, size = 2,
      doc = "The error." },
    { name = "data", text = data_name, offset = 4, kind = "record", record = overlay, size = 18, readonly = true,
      doc = "Its detail." },
  } }
  pair.class = error_name
  append(model.classes, make_class(data_name, overlay, { struct = false }))
  append(model.classes, make_class(error_name, pair, { struct = true }))
end

local function derive_classes(model)
  for _, record in ipairs(model.records) do
    record.class = record.name
    append(model.classes, make_class(record.name, record, { struct = record.struct, native = record.native }))
  end
  for _, service in ipairs(model.services) do
    local function payload(kind, item, record)
      if record then
        record.class = ("rovk_%s_payload_%s_%s"):format(kind, service.name, item.name)
        append(model.classes, make_class(record.class, record, { struct = true, doc = item.doc }))
      end
    end
    for _, command in ipairs(service.commands) do
      payload("command", command, command.command)
      payload("response", command, command.response)
    end
    for _, event in ipairs(service.events) do
      payload("event", event, event.event)
    end
    for _, item in ipairs(service.errors) do
      payload("error", item, item.detail)
    end
    derive_error_classes(model, service)
  end
end

-- A function of the module table. `family` says what its wrapper does once the arguments are in,
-- `target` names the native function that it reaches.
local function derive_functions(model)
  local function add(name, family, arguments, rest)
    rest = rest or {}
    rest.name, rest.family, rest.arguments = name, family, arguments
    rest.target = rest.target or name
    rest.results = rest.results or {}
    return append(model.functions, rest)
  end
  for _, item in ipairs(model.protocol.functions) do
    local arguments = {}
    for _, text in ipairs(item.arguments) do
      local scalar = model.protocol.types[text]
      if scalar then
        append(arguments, { kind = "number", text = text, width = scalar.width, signed = scalar.signed or false })
      elseif text == "rovk_log_priority" then
        append(arguments, { kind = "number", text = text, width = 4, signed = true })
      elseif text == "char const *" then
        append(arguments, { kind = "text", text = text })
      elseif text == "void *" then
        append(arguments, OPAQUE)
      elseif text == "void **" then
        append(arguments, { kind = "pointer", text = text, type = "_p_p_void" })
      else
        append(arguments, { kind = "pointer", text = text, type = "_p_" .. text:match("([%w_]+) %*$") })
      end
    end
    add(item.name, item.name, arguments, { library = item.name:match("^rovktrans_") and "trans" or "message",
      fixed = item.results or {}, null_behind = item.null_behind, doc = item.doc })
  end
  for _, service in ipairs(model.services) do
    local error_text = ("struct rovk_error_%s_error *"):format(service.name)
    local error_pointer = { kind = "pointer", text = error_text,
      type = ("_p_rovk_error_%s_error"):format(service.name) }
    for _, command in ipairs(service.commands) do
      local base = ("rovk_%s_%%s_%s"):format(service.name, command.name)
      local common = { service = service, command = command }
      local function row(rest)
        rest.service, rest.command = common.service, common.command
        return rest
      end
      add(base:format("initialize") .. "_command", "initialize",
        with_fields({ MESSAGE, ADDRESS }, command.command), row { library = "message" })
      if command.command then
        add(base:format("retrieve") .. "_command", "retrieve", { MESSAGE },
          row { library = "message", results = value_list(command.command) })
      end
      add(base:format("initialize") .. "_response", "initialize",
        with_fields({ MESSAGE, MESSAGE }, command.response), row { library = "message" })
      add(base:format("retrieve") .. "_response", "retrieve_status", { MESSAGE },
        row { library = "message", results = value_list(command.response) })
    end
    for _, event in ipairs(service.events) do
      local rest = { library = "message", service = service, event = event }
      add(("rovk_%s_initialize_%s_event"):format(service.name, event.name), "initialize",
        with_fields({ MESSAGE, ADDRESS }, event.event), rest)
      add(("rovk_%s_retrieve_%s_event"):format(service.name, event.name), "retrieve", { MESSAGE },
        { library = "message", service = service, event = event, results = value_list(event.event) })
    end
    for _, item in ipairs(service.errors) do
      add(("rovk_%s_initialize_%s_error"):format(service.name, item.name), "initialize",
        with_fields({ MESSAGE, MESSAGE, ADDRESS }, item.detail),
        { library = "message", service = service, error = item })
    end
    add(("rovk_%s_retrieve_error"):format(service.name), "status", { MESSAGE, error_pointer },
      { library = "message", service = service })
    for _, command in ipairs(service.commands) do
      local name = ("rovktrans_%s_%s"):format(service.name, command.name)
      local rest = function(more)
        more.service, more.command = service, command
        return more
      end
      local mangled, declarator = callback_signature(service, command.response, true)
      command.callback = { name = name .. "_callback", mangled = mangled, declarator = declarator,
        values = value_list(command.response), service = service, row = #model.callbacks }
      append(model.callbacks, command.callback)
      local callback = { kind = "pointer", text = command.callback.name, type = mangled, callback = command.callback }
      add(name, "blocking", with_fields({ OPAQUE, ADDRESS }, command.command),
        rest { library = "trans", results = value_list(command.response) })
      add(name .. "_async", "status", with_fields({ OPAQUE, ADDRESS, callback, OPAQUE }, command.command),
        rest { library = "trans" })
      add(name .. "_async_lua", "status", with_fields({ OPAQUE, ADDRESS, FUNCTION }, command.command),
        rest { library = "bridge" })
      local arguments = with_fields({ OPAQUE, ADDRESS, error_pointer }, command.response)
      append(arguments, OPAQUE)
      add("internal_" .. name .. "_callback", "internal_command", arguments,
        rest { library = "bridge" })
    end
    for _, event in ipairs(service.events) do
      local name = ("rovktrans_%s_%s"):format(service.name, event.name)
      local rest = function(more)
        more.service, more.event = service, event
        return more
      end
      local mangled, declarator = callback_signature(service, event.event, false)
      event.callback = { name = name .. "_callback", mangled = mangled, declarator = declarator,
        values = value_list(event.event), service = service, row = #model.callbacks }
      append(model.callbacks, event.callback)
      local callback = { kind = "pointer", text = event.callback.name, type = mangled, callback = event.callback }
      add(name .. "_register_callback", "status", { OPAQUE, ADDRESS, callback, OPAQUE }, rest { library = "trans" })
      add(name .. "_unregister_callback", "status", { OPAQUE, ADDRESS, callback }, rest { library = "trans" })
      add(name .. "_unregister_callback_with_context", "status", { OPAQUE, ADDRESS, callback, OPAQUE },
        rest { library = "trans" })
      add(name .. "_register_callback_lua", "register", { OPAQUE, ADDRESS, FUNCTION }, rest { library = "bridge" })
      add(name .. "_unregister_callback_lua", "unregister", { OPAQUE, ADDRESS, OPAQUE }, rest { library = "bridge" })
      local arguments = with_fields({ OPAQUE, ADDRESS }, event.event)
      append(arguments, OPAQUE)
      add("internal_" .. name .. "_event_callback", "internal_event", arguments,
        rest { library = "bridge" })
    end
    add(("rovktrans_%s_register_default_callbacks"):format(service.name), "status", { OPAQUE, ADDRESS },
      { library = "trans", service = service })
  end
end

local function derive_constants(model)
  local function add(name, value, file)
    append(model.all_constants, { name = name, value = value, file = file })
  end
  add("ROVK_PROTOCOL_VERSION_MAJOR", model.protocol.version.major)
  add("ROVK_PROTOCOL_VERSION_MINOR", model.protocol.version.minor)
  for _, constant in ipairs(model.constants) do
    add(constant.name, constant.value, constant.file)
  end
  append(model.variables, { name = "rovk_protocol_version", version = model.protocol.version })
  for _, service in ipairs(model.services) do
    local prefix = "ROVK_" .. service.upper
    if service.id then
      add(prefix .. "_PERIPHERAL_ID", service.id)
    end
    add(prefix .. "_API_VERSION_MAJOR", service.api.major)
    add(prefix .. "_API_VERSION_MINOR", service.api.minor)
    for _, group in ipairs { { "COMMAND", service.commands }, { "EVENT", service.events },
      { "ERROR", service.errors } } do
      for _, item in ipairs(group[2]) do
        item.constant = ("%s_%s_%s"):format(prefix, group[1], item.name:upper())
        add(item.constant, item.number, service.file)
      end
    end
    for _, constant in ipairs(service.constants) do
      add(constant.name, constant.value, constant.file)
    end
    append(model.variables, { name = ("rovk_%s_api_version"):format(service.name), version = service.api })
  end
end

-- All pointer types, sorted by name in byte order: the binary search of the registry needs that.
local function derive_types(model)
  local by_name = {}
  local function add(name, pretty, class)
    by_name[name] = append(model.types, { name = name, pretty = pretty, class = class })
  end
  for _, item in ipairs(model.protocol.pointers) do
    add(item[1], item[2])
  end
  for _, class in ipairs(model.classes) do
    local bare = class.name .. " *"
    add(class.type, class.struct and ("struct %s|%s"):format(bare, bare) or bare, class)
  end
  for _, service in ipairs(model.services) do
    if #service.commands > 0 then
      local record = ("rovk_error_%s_error"):format(service.name)
      add("_p_p_" .. record, ("struct %s **"):format(record))
    end
  end
  for _, callback in ipairs(model.callbacks) do
    local known = by_name[callback.mangled]
    if known then
      known.pretty = callback.name .. "|" .. known.pretty
    else
      add(callback.mangled, callback.name .. "|" .. callback.declarator)
      model.signature_count = model.signature_count + 1
    end
  end
  table.sort(model.types, function(a, b)
    return a.name < b.name
  end)
  for index, item in ipairs(model.types) do
    item.index = index - 1
  end
  model.types_by_name = by_name
end

local function check_names(model)
  local owner = {}
  for _, group in ipairs { { "function", model.functions }, { "class", model.classes },
    { "constant", model.all_constants }, { "variable", model.variables } } do
    for _, item in ipairs(group[2]) do
      local file = item.file or item.service and item.service.file or "catalogue"
      if owner[item.name] then
        error(("%s: %s '%s': the name is that of a %s already"):format(file, group[1], item.name, owner[item.name]), 0)
      end
      owner[item.name] = ("%s of %s"):format(group[1], file)
    end
  end
end

-- How an error record of a service is decoded from id 32 up: a service with errors of its own is
-- quiet about ids that it does not know, one without any reports them.
local function derive_decoders(model)
  for _, service in ipairs(model.services) do
    service.decoder = service.id == nil and "common" or #service.errors > 0 and "own" or "strict"
  end
end

-- Places in the tables of services and of events, from 0.
local function derive_indexes(model)
  local events = 0
  for index, service in ipairs(model.services) do
    service.index = index - 1
    for _, event in ipairs(service.events) do
      event.index, events = events, events + 1
    end
  end
end

-- Adds to what the reader gave: classes, functions, callbacks, types, all_constants, variables.
function derive.derive(model)
  model.classes, model.functions, model.callbacks = {}, {}, {}
  model.types, model.all_constants, model.variables = {}, {}, {}
  model.signature_count = 0
  os.setlocale("C")
  derive_indexes(model)
  derive_classes(model)
  model.classes_by_name = index_by_name(model.classes)
  derive_functions(model)
  derive_constants(model)
  derive_types(model)
  derive_decoders(model)
  check_names(model)
  return model
end

return derive
