include $(sort $(wildcard $(BR2_EXTERNAL_ZANSNMPEXT_PATH)/package/*/*.mk))
