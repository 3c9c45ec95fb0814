SUMMARY = "Command of a unit's peripherals for Lua"
DESCRIPTION = "The native module rovk_message for Lua 5.1 and LuaJIT, above a unit's own libraries or ours."
SECTION = "libs"
LICENSE = "@ROVK_LICENCE@"
LIC_FILES_CHKSUM = "file://@ROVK_LICENCE_NAME@;md5=@ROVK_LICENCE_MD5@"

SRC_URI = "@ROVK_SOURCE@"
SRC_URI[sha256sum] = "@ROVK_SOURCE_SHA256@"
S = "${WORKDIR}/rovk_message-${PV}"

# The recipe that brings librovk-message.so, librovktrans.so and librovk-transport.so of the unit.
ROVK_UNIT_LIBRARIES ?= ""

# luajit-native runs the generator; the headers are the same whichever interpreter loads the module.
DEPENDS = "luajit luajit-native ${ROVK_UNIT_LIBRARIES}"

inherit cmake

EXTRA_OECMAKE = " \
    -DROVK_BUILD_TESTS=OFF \
    -DROVK_BUILD_BENCH=OFF \
    -DROVK_LUA=${STAGING_BINDIR_NATIVE}/luajit \
    -DROVK_LUA_INCLUDE_DIR=${STAGING_INCDIR}/luajit-2.1 \
    -DROVK_LUA_MODULE_DIR=${baselib}/lua/5.1 \
    -DCMAKE_SKIP_INSTALL_RPATH=ON \
"

# `libraries`: our own three, with the simulated unit, and the modules in Lua above them.
PACKAGECONFIG ??= ""
PACKAGECONFIG[libraries] = "-DROVK_BUILD_LIBRARIES=ON,-DROVK_BUILD_LIBRARIES=OFF -DROVK_LIBRARY_DIR=${libdir},libevent tomlplusplus"

# The module asks for the libraries by names without a version, as a unit has them.
FILES_SOLIBSDEV = ""
FILES:${PN} += "${libdir}/lua ${libdir}/librovk*.so* ${datadir}/lua ${datadir}/rovk"
INSANE_SKIP:${PN} += "dev-so file-rdeps"
