package = "rovk_message"
version = "@PROJECT_VERSION@-1"
rockspec_format = "3.0"
source = {
  url = "@ROVK_SOURCE@",
  dir = "rovk_message-@PROJECT_VERSION@",
}
description = {
  summary = "Command of the peripherals of an embedded Linux unit, or of a simulated one",
  detailed = [[
The module rovk_message with our libraries and the simulated unit below it, and the companions rovk, rovk_loop,
rovk_unit and rovk_catalogue.]],
  license = "@ROVK_LICENCE@",
  maintainer = "@ROVK_MAINTAINER@",
}
supported_platforms = { "linux" }
dependencies = { "lua == 5.1" }
build = {
  type = "cmake",
  -- What is in lib and lua goes where an interpreter looks; the rest stays in the rock's own folder.
  variables = {
    CMAKE_INSTALL_PREFIX = "$(PREFIX)",
    CMAKE_INSTALL_LIBDIR = "native",
    ROVK_LUA_MODULE_DIR = "lib",
    ROVK_LUA_SCRIPT_DIR = "lua",
    ROVK_MODULE_TO_LIBRARIES = "../../luarocks/rocks-5.1/rovk_message/@PROJECT_VERSION@-1/native",
    ROVK_LUA_INCLUDE_DIR = "$(LUA_INCDIR)",
    ROVK_BUILD_TESTS = "OFF",
    ROVK_BUILD_BENCH = "OFF",
  },
  copy_directories = { "docs", "examples" },
}
-- What is installed, where Lua finds it: eval "$(luarocks path)" before, and busted at hand.
test = {
  type = "command",
  command = "tests/packages/installed.sh",
}
