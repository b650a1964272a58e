# Of OpenWrt's own makefiles what a package uses; OUT is the folder that it builds in.
INCLUDE_DIR := $(TOPDIR)/include
INSTALL_DIR := install -d -m0755
INSTALL_BIN := install -m0755
INSTALL_DATA := install -m0644
SED := sed -i -e
PKG_BUILD_DIR := $(OUT)/build
PKG_INSTALL_DIR := $(OUT)/install
