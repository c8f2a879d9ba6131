/* A ground that only links: every call that the daemon makes of its platform, in plain C. */
#include <stddef.h>

#include "platform/config_store.h"
#include "platform/message_bus.h"
#include "platform/netctrl.h"
#include "platform/network.h"
#include "platform/statistics.h"
#include "platform/system.h"
#include "platform/vos.h"
#include "platform/wifi.h"

int GetValue(const char *key, char *value, size_t size)
{
    (void)key;
    (void)size;
    value[0] = '\0';
    return 0;
}

int SetValue(const char *key, const char *value)
{
    (void)key;
    (void)value;
    return 0;
}

int CommitCfm(void)
{
    return 0;
}

int RegMsgHandle(const char *name, const char *filter, message_handle_fn handle)
{
    (void)name;
    (void)filter;
    (void)handle;
    return 0;
}

int send_msg_to_netctrl(int module, const char *text)
{
    (void)module;
    (void)text;
    return -1;
}

int getIfIp(const char *ifname, char *address)
{
    (void)ifname;
    (void)address;
    return -1;
}

const char *getLanIfName(void)
{
    return "br0";
}

const char *getWanIfName(int wan_id, int sys_mode, int conn_type)
{
    (void)wan_id;
    (void)sys_mode;
    (void)conn_type;
    return NULL;
}

int getWanConnType(int wan_id)
{
    (void)wan_id;
    return WAN_DHCP;
}

const char *get_eth_name(int id)
{
    (void)id;
    return NULL;
}

int tpi_wan_get_ip(const char *ifname, char *address, int wan_id)
{
    (void)ifname;
    (void)address;
    (void)wan_id;
    return -1;
}

int wan_lan_check(const char *address, const char *netmask)
{
    (void)address;
    (void)netmask;
    return 0;
}

int wanid_to_sw_port(int wan_id)
{
    (void)wan_id;
    return -1;
}

int __GetPortLink(int port)
{
    (void)port;
    return 0;
}

int simple_ping(const char *address)
{
    (void)address;
    return -1;
}

int ping_by_interface(const char *address, int count, const char *ifname)
{
    (void)address;
    (void)count;
    (void)ifname;
    return -1;
}

int get_statistic_info(uint64_t *first, uint64_t *second, int *count)
{
    (void)first;
    (void)second;
    (void)count;
    return -1;
}

int doSystemCmd(const char *format, ...)
{
    (void)format;
    return -1;
}

int _eval(char *const argv[], const char *redirect, int timeout, int *pid)
{
    (void)argv;
    (void)redirect;
    (void)timeout;
    (void)pid;
    return -1;
}

int get_uptime(void)
{
    return 0;
}

void system_sleep(int seconds)
{
    (void)seconds;
}

int get_sys_mode(void)
{
    return 0;
}

int check_app(const char *name)
{
    (void)name;
    return 0;
}

int utc2tm(const char *text, struct tm *out)
{
    (void)text;
    (void)out;
    return -1;
}

void set_all_led(int state)
{
    (void)state;
}

int tpi_systool_reboot(void)
{
    return -1;
}

int vos_strcmp(const char *left, const char *right)
{
    (void)left;
    (void)right;
    return 0;
}

char *vos_str_trim(char *text)
{
    return text;
}

int vos_get_value_from_file(const char *file, const char *key, char *value)
{
    (void)file;
    (void)key;
    value[0] = '\0';
    return -1;
}

int tpi_wifi_get_ifname(int band, int kind, char *ifname)
{
    (void)band;
    (void)kind;
    ifname[0] = '\0';
    return -1;
}

int tpi_wifi_wisp_connect_check(const char *ifname, int access_type)
{
    (void)ifname;
    (void)access_type;
    return TPI_NO_WIRE;
}

int tpi_wifi_wisp_phy_link_check(const char *ifname)
{
    (void)ifname;
    return -1;
}

int tpi_wifi_relay_phy_check(const char *ifname)
{
    (void)ifname;
    return WIFI_RELAY_DOWN;
}

int tpi_wisp_get_webpage_status(void)
{
    return 1;
}
