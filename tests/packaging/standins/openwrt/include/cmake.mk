# CMake runs as for a cross build.
.PHONY: compiled
compiled:
	$(call Build/Prepare)
	cmake -S $(PKG_BUILD_DIR) -B $(PKG_BUILD_DIR)/out -G Ninja -DCMAKE_SYSTEM_NAME=Linux \
		-DCMAKE_BUILD_TYPE=MinSizeRel -DCMAKE_INSTALL_PREFIX=/usr $(CMAKE_OPTIONS)
	cmake --build $(PKG_BUILD_DIR)/out
	DESTDIR=$(PKG_INSTALL_DIR) cmake --install $(PKG_BUILD_DIR)/out
