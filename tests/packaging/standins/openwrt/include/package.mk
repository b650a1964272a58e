# What makes a package of a recipe's macros.
define BuildPackage
packages: $(1)
.PHONY: $(1)
$(1): compiled
	$$(call Package/$(1)/install,$(OUT)/$(1))
print: print-$(1)
print-$(1):
	@echo '$(1) $$(PKG_VERSION) $$(CMAKE_OPTIONS)'
	$$(info $$(call Package/$(1)))
endef
