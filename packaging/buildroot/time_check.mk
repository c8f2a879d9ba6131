################################################################################
#
# time_check
#
################################################################################

TIME_CHECK_VERSION = 0.1.0
# The tree in which this folder stands.
TIME_CHECK_SITE = $(realpath $(BR2_EXTERNAL_TIME_CHECK_PATH)/../..)
TIME_CHECK_SITE_METHOD = local
TIME_CHECK_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS = --exclude /build
# The project states no licence, so that its source is not to be passed on.
TIME_CHECK_REDISTRIBUTE = NO
TIME_CHECK_SUPPORTS_IN_SOURCE_BUILD = NO

TIME_CHECK_GROUND = $(call qstrip,$(BR2_PACKAGE_TIME_CHECK_GROUND))
TIME_CHECK_COMPONENTS = daemon
ifeq ($(TIME_CHECK_GROUND),)
TIME_CHECK_DEPENDENCIES = cli11 fmt json-for-modern-cpp libmnl lmdb
TIME_CHECK_COMPONENTS += tools
endif

TIME_CHECK_CONF_OPTS = \
	-DTIME_CHECK_PLATFORM=$(or $(TIME_CHECK_GROUND),linux) \
	-DTIME_CHECK_SMALL=ON \
	-DTIME_CHECK_TESTS=OFF \
	-DTIME_CHECK_BENCH=OFF \
	-DTIME_CHECK_PREVIEW=OFF \
	-DTIME_CHECK_SERVICES=$(if $(BR2_INIT_SYSTEMD),ON,OFF)

# Not what integrators get.
define TIME_CHECK_INSTALL_TARGET_CMDS
	$(foreach part,$(TIME_CHECK_COMPONENTS),\
		DESTDIR=$(TARGET_DIR) $(BR2_CMAKE) --install $(TIME_CHECK_BUILDDIR) --prefix /usr --component $(part)$(sep))
	$(INSTALL) -D -m 0644 $(TIME_CHECK_SITE)/packaging/rt_tables.d/time_check.conf \
		$(TARGET_DIR)/etc/iproute2/rt_tables.d/time_check.conf
endef

# packaging/sysv is for systems with LSB's shell functions; these have none.
define TIME_CHECK_INSTALL_INIT_SYSV
	$(INSTALL) -D -m 0755 $(TIME_CHECK_SITE)/packaging/buildroot/S95time_check $(TARGET_DIR)/etc/init.d/S95time_check
endef

$(eval $(cmake-package))
