################################################################################
#
# rovk-message
#
################################################################################

ROVK_MESSAGE_VERSION = @PROJECT_VERSION@
ROVK_MESSAGE_SITE = @ROVK_SOURCE_FOLDER@
ROVK_MESSAGE_SOURCE = rovk_message-$(ROVK_MESSAGE_VERSION).tar.gz
ROVK_MESSAGE_LICENSE = @ROVK_LICENCE@
ROVK_MESSAGE_LICENSE_FILES = @ROVK_LICENCE_NAME@
ROVK_MESSAGE_DEPENDENCIES = host-luainterpreter luainterpreter
ROVK_MESSAGE_CONF_OPTS = \
	-DROVK_BUILD_TESTS=OFF \
	-DROVK_BUILD_BENCH=OFF \
	-DCMAKE_SKIP_INSTALL_RPATH=ON

# The generator runs here.
ifeq ($(BR2_PACKAGE_LUAJIT),y)
ROVK_MESSAGE_CONF_OPTS += \
	-DROVK_LUA=$(HOST_DIR)/bin/luajit \
	-DROVK_LUA_INCLUDE_DIR=$(STAGING_DIR)/usr/include/luajit-2.1
else
ROVK_MESSAGE_CONF_OPTS += \
	-DROVK_LUA=$(HOST_DIR)/bin/lua \
	-DROVK_LUA_INCLUDE_DIR=$(STAGING_DIR)/usr/include
endif

ifeq ($(BR2_PACKAGE_ROVK_MESSAGE_LIBRARIES),y)
ROVK_MESSAGE_INSTALL_STAGING = YES
ROVK_MESSAGE_DEPENDENCIES += libevent tomlplusplus
ROVK_MESSAGE_CONF_OPTS += -DROVK_BUILD_LIBRARIES=ON
else
ROVK_MESSAGE_DEPENDENCIES += $(call qstrip,$(BR2_PACKAGE_ROVK_MESSAGE_UNIT_PACKAGE))
ROVK_MESSAGE_CONF_OPTS += -DROVK_BUILD_LIBRARIES=OFF -DROVK_LIBRARY_DIR=/usr/lib
endif

$(eval $(cmake-package))
