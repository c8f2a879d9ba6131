include $(BR2_EXTERNAL_TIME_CHECK_PATH)/time_check.mk
