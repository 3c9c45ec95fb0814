std = "lua51"
max_line_length = 120
exclude_files = { "build", "build-*" }

-- Opening the module sets these.
read_globals = { "rovk_message", "swig_type", "swig_equals" }

-- The console makes room for what is written while a line is edited.
files["programs/console/main.lua"] = { globals = { "io.write", "print" } }
files["tests/lua"] = { std = "+busted" }
files["tests/reference"] = { std = "+busted" }
files["tests/console"] = { std = "+busted" }
files["tests/recorder"] = { std = "+busted" }
files["tests/generator"] = { std = "+busted" }
-- Luv's loop is only there where lua-luv is.
files["examples"] = { ignore = { "212" } }
files["examples/patrol_test.lua"] = { std = "+busted" }
-- Annotations are read by an editor, never run.
files["generator/annotations"] = { ignore = { "211", "212", "241" } }
