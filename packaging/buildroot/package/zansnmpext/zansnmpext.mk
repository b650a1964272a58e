################################################################################
#
# zansnmpext
#
################################################################################

# For Buildroot, as an external tree, built from the source tree that it lies in:
#
#   make BR2_EXTERNAL=<source tree>/packaging/buildroot menuconfig     # External options > zansnmpext
#   make
#
# This was never built in a real Buildroot. What a test does with it: with a stand-in for Buildroot's own makefiles it
# is read, configured, built with this machine's compiler and installed into a folder, whose files are looked at; a
# Kconfig parser reads its options.

ZANSNMPEXT_SITE = $(realpath $(BR2_EXTERNAL_ZANSNMPEXT_PATH)/../..)
ZANSNMPEXT_SITE_METHOD = local
ZANSNMPEXT_VERSION = $(shell sed -n 's/^  VERSION \([0-9.]*\)$$/\1/p' $(ZANSNMPEXT_SITE)/CMakeLists.txt)
ZANSNMPEXT_LICENSE = PROPRIETARY
ZANSNMPEXT_LICENSE_FILES = packaging/debian/copyright
ZANSNMPEXT_REDISTRIBUTE = NO
ZANSNMPEXT_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS = --exclude build
ZANSNMPEXT_DEPENDENCIES = jsoncpp libcurl netsnmp

# Buildroot's compiler flags are for size already; the option adds what the linker can leave out.
ZANSNMPEXT_CONF_OPTS = \
	-DZAN_ENTERPRISE_NUMBER=$(BR2_PACKAGE_ZANSNMPEXT_ENTERPRISE_NUMBER) \
	-DZAN_DEBIAN_PACKAGES=OFF \
	-DZAN_MODULE_INSTALL_DIR=lib/snmp/dlmod \
	-DZAN_SMALL=ON

# Without the parts for managers and for test machines. The link is what every Net-SNMP reads beside snmpd.conf.
define ZANSNMPEXT_INSTALL_TARGET_CMDS
	DESTDIR=$(TARGET_DIR) $(BR2_CMAKE) --install $(ZANSNMPEXT_BUILDDIR) --component agent
	mkdir -p $(TARGET_DIR)/etc/snmp
	ln -sfn ../zansnmpext/snmpd.conf $(TARGET_DIR)/etc/snmp/snmpd.local.conf
endef

$(eval $(cmake-package))
