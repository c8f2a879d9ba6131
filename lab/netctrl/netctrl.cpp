// The lab's netctrl: holds that name on the bus and does what time_check asks of it with what the box has. Radios are
// interfaces that go up and down, services are programs that are started and stopped. It says in a line what it did.
#include <charconv>
#include <cstdio>
#include <cstring>
#include <map>
#include <poll.h>
#include <string>
#include <string_view>

#include "platform/config_store.h"
#include "platform/linux/bus.h"
#include "platform/linux/printable.h"
#include "platform/netctrl.h"
#include "platform/system.h"

namespace
{

// The ops of any module.
enum { OP_START = 1, OP_STOP = 2, OP_RESTART = 3, OP_UPDATE = 6 };

struct request {
    int module = -1;
    int op = 0;
    std::map<std::string, std::string, std::less<>> arguments;

    int number(std::string_view name) const;
};

int number_in(std::string_view text)
{
    int number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

int request::number(std::string_view name) const
{
    const auto found = arguments.find(name);
    return found == arguments.end() ? 0 : number_in(found->second);
}

// "MODULE?key=value,key=value"
request parse(std::string_view text)
{
    request request;
    request.module = number_in(text);
    const size_t question_mark = text.find('?');
    std::string_view rest = question_mark == std::string_view::npos ? "" : text.substr(question_mark + 1);
    while (!rest.empty()) {
        const std::string_view item = rest.substr(0, rest.find(','));
        rest.remove_prefix(item.size() == rest.size() ? item.size() : item.size() + 1);
        const size_t equals = item.find('=');
        if (equals != std::string_view::npos)
            request.arguments.emplace(item.substr(0, equals), item.substr(equals + 1));
    }
    request.op = request.number("op");
    return request;
}

bool is_on(const std::string &key)
{
    char value[16];
    return GetValue(key.c_str(), value) == 1 && std::string_view(value) == "1";
}

void set_interface(const std::string &ifname, bool up)
{
    doSystemCmd("ip link set %s %s", ifname.c_str(), up ? "up" : "down");
}

// ---- radios ----

struct band {
    const char *name;
    std::string key_prefix;
    const char *radio; // its interfaces
    const char *guest;
};

const band &band_of(int wl_rate)
{
    static const band slow = {"2.4 GHz", "wl2g", "wlan0", "guest0"};
    static const band fast = {"5 GHz", "wl5g", "wlan1", "guest1"};
    return wl_rate == WL_RATE_5G ? fast : slow;
}

std::string set_radio(const band &band, bool on)
{
    set_interface(band.radio, on);
    return std::string("radio ") + band.name + (on ? " on" : " off");
}

std::string restart_guest_radio(const band &band)
{
    const bool on = is_on(band.key_prefix + ".ssid1.enable");
    set_interface(band.guest, on);
    return std::string("guest network ") + band.name + (on ? " open" : " closed");
}

std::string on_wifi(const request &request)
{
    const band &band = band_of(request.number("wl_rate"));
    switch (request.op) {
    case OP_START:
        return set_radio(band, true);
    case OP_STOP:
        return set_radio(band, false);
    case OP_RESTART:
        return request.number("index") == 1 ? restart_guest_radio(band)
                                            : set_radio(band, is_on(band.key_prefix + ".public.enable"));
    case OP_WIFI_GUEST: {
        const bool on = is_on("wl.guest.dhcps_enable");
        set_interface("br1", on);
        return std::string("guest bridge br1 ") + (on ? "up" : "down");
    }
    case OP_WISP_STOP:
        return "the wireless uplink is lost";
    case OP_WISP_START:
        return "the wireless uplink is back";
    default:
        return {};
    }
}

// ---- WANs and the LAN ----

// The routes of new connections; each WAN's own table stays, so that it can go on being probed.
std::string on_load_balance(const request &request)
{
    const int wan = request.number("wan_id");
    const std::string name = "wan" + std::to_string(wan);
    if (request.op == OP_WAN_PING_RESULT_INTERNET) {
        doSystemCmd("ip route replace $(ip route show table %s default) metric %d0", name.c_str(), wan);
        return name + " reaches the internet: it carries the default route again";
    }
    if (request.op == OP_WAN_PING_RESULT_INTERNAL) {
        doSystemCmd("ip route del default dev %s 2>/dev/null", name.c_str());
        return name + " does not reach the internet: its default route is taken away";
    }
    return {};
}

std::string on_wan(const request &request)
{
    return request.op == OP_WISP_UP ? "WAN " + std::to_string(request.number("wan_id")) + " is set up over the radio"
                                    : "";
}

std::string on_lan_dhcp_client(const request &request)
{
    if (request.op == OP_LAN_DHCPC_LAN_DOWN) {
        doSystemCmd("lan_address configured");
        return "no upstream: the LAN takes its configured address";
    }
    if (request.op == OP_LAN_DHCPC_LAN_UP) {
        doSystemCmd("lan_address upstream &");
        return "the upstream is back: the LAN asks there for an address";
    }
    return {};
}

// ---- services ----

std::string on_dhcp_server(const request &request)
{
    return request.op == OP_RESTART ? "DHCP server started anew" : "";
}

std::string on_diagnosis_server(const request &request)
{
    if (request.op == OP_START) {
        doSystemCmd("dhttpd &");
        return "diagnosis server dhttpd started";
    }
    if (request.op == OP_STOP) {
        doSystemCmd("killall -q dhttpd");
        return "diagnosis server dhttpd stopped";
    }
    return {};
}

std::string on_usb(const request &request)
{
    if (request.op != OP_UPDATE)
        return {};
    doSystemCmd("media_server");
    return "media server minidlna started";
}

// ---- the loop ----

std::string carry_out(const request &request)
{
    switch (request.module) {
    case WIFI_MODULE:
        return on_wifi(request);
    case LOAD_BALANCE_MODULE:
        return on_load_balance(request);
    case WAN_MODULE:
        return on_wan(request);
    case LAN_DHCPC_MODULE:
        return on_lan_dhcp_client(request);
    case DHCP_SERVER_MODULE:
        return on_dhcp_server(request);
    case DHTTPD_MODULE:
        return on_diagnosis_server(request);
    case USB_MODULE:
        return on_usb(request);
    default:
        return {};
    }
}

void serve(const bus_end &end)
{
    static bus_message message;
    const bus_result result = bus_receive(&end, &message);
    if (result != BUS_DONE)
        return;
    const std::string done = carry_out(parse(message.text));
    make_printable(message.text, strlen(message.text));
    std::printf("%s: %s\n", message.text, done.empty() ? "not understood" : done.c_str());
}

} // namespace

int main()
{
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    bus_end end = {};
    const bus_result result = bus_open("netctrl", &end);
    if (result != BUS_DONE) {
        std::fprintf(stderr, "netctrl: %s\n", bus_result_text(result));
        return 1;
    }
    for (;;) {
        pollfd readable = {.fd = end.socket, .events = POLLIN, .revents = 0};
        if (poll(&readable, 1, -1) > 0)
            serve(end);
    }
}
