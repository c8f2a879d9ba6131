#!/usr/bin/env python3
"""programs.py SOURCE_FOLDER: the programs that netctrl runs on a plain Linux router, each against tools that note their
calls and answer as the test says. A folder of the test's own is the whole machine that they see.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

SOURCE = pathlib.Path(sys.argv.pop(1)).resolve()
DOCUMENT = (SOURCE.parent / "docs/netctrl.md").read_text()
NOT_HERE, NOT_YET = 69, 75
# Notes its call, and what it reads if that is asked for; then says what is in NAME.says/ARGUMENTS, or NAME.says/any; the
# status is in a file beside it.
TOOL = """#!/bin/bash
name=${0##*/}
call="$*"
echo "$name $call" >>"$WORLD/calls"
[[ $call != *'-f -' ]] || cat >>"$WORLD/calls"
key=$WORLD/says/$name/${call//\\//_}
[[ -e $key ]] || key=$WORLD/says/$name/any
[[ ! -e $key ]] || cat "$key"
[[ ! -e $key.status ]] || exit "$(<"$key.status")"
"""
MACHINE_TOOLS = ("sh", "bash", "cat", "sed", "grep", "head", "rm", "dirname", "echo", "tr")
HOSTAPD = "-p {0}/hostapd -s {0}/reply -i "


class Programs(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="programs-")
        self.world = pathlib.Path(self.folder.name)
        for name in ("bin", "says", "net", "dnsmasq.d", "reply"):
            (self.world / name).mkdir()
        (self.world / "calls").touch()
        for tool in MACHINE_TOOLS:
            (self.world / "bin" / tool).symlink_to(shutil.which(tool))
        self.settings = {}
        self.environment = {
            "PATH": str(self.world / "bin"), "WORLD": str(self.world), "TC_PACKAGE": str(SOURCE / "programs"),
            "NET_DIR": str(self.world / "net"), "IPV6_DIR": str(self.world / "ipv6"), "HOSTAPD_DIR": f"{self.world}/hostapd", "REPLY_DIR": f"{self.world}/reply",
            "WPA_DIR": f"{self.world}/wpa", "DNSMASQ_DIR": str(self.world / "dnsmasq.d"),
            "TIME_CHECK_ROUTER_CONF": str(self.world / "router.conf")}
        self.tool("cfm", any_status=1)

    def tearDown(self):
        self.folder.cleanup()

    # ---- the machine ----

    def tool(self, name, any_status=0):
        path = self.world / "bin" / name
        path.write_text(TOOL)
        path.chmod(0o755)
        (self.world / "says" / name).mkdir(exist_ok=True)
        if any_status:
            self.says(name, "any", "", any_status)

    def says(self, name, call, text, status=0):
        key = self.world / "says" / name / call.replace("/", "_")
        key.write_text(text)
        key.with_name(key.name + ".status").write_text(str(status))

    def interfaces(self, *names):
        for name in names:
            (self.world / "net" / name).touch()

    def set(self, **settings):
        for key, value in settings.items():
            self.says("cfm", "get " + key.replace("__", "."), value + "\n")

    def config(self, text):
        (self.world / "router.conf").write_text(text)

    def hostapd(self, **states):
        """hostapd with its radios and their states; None: it does not answer."""
        self.tool("hostapd_cli", any_status=255)
        self.interfaces(*states)
        for radio, state in states.items():
            head = HOSTAPD.format(self.world) + radio
            if state is not None:
                self.says("hostapd_cli", f"{head} status", f"state={state}\nphy=phy0\n")
            for order in ("enable", "disable", "reload"):
                self.says("hostapd_cli", f"{head} {order}", "OK\n")

    # ---- runs ----

    def run_verb(self, verb, status=0, **variables):
        self.said = subprocess.run(
            [SOURCE / "programs" / verb], env={**self.environment, "TC_VERB": verb, **variables}, text=True, check=False,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60)
        self.assertEqual(self.said.returncode, status, self.said.stdout)
        return self.said.stdout

    def calls(self, *tools):
        """What was called since the last look, of these tools; settings and states that were only asked for are left out."""
        lines = (self.world / "calls").read_text().replace(HOSTAPD.format(self.world), "").splitlines()
        (self.world / "calls").write_text("")
        return [line for line in lines if not line.startswith("cfm ") and not line.endswith(" status")
                and (not tools or line.split()[0] in tools)]

    def assert_fails_as_it_should(self, verb, **variables):
        """Nothing there: 69, and a line the first time alone."""
        self.assertNotEqual(self.run_verb(verb, NOT_HERE, **variables), "")
        self.assertEqual(self.run_verb(verb, NOT_HERE, TC_LAST_STATUS="69", **variables), "")

    # ---- radios ----

    def test_radios_that_are_off_are_enabled(self):
        self.hostapd(wlan0="DISABLED", wlan1="DISABLED")
        self.run_verb("wifi-start", TC_WL_RATE="24")
        self.assertEqual(self.calls(), ["hostapd_cli wlan0 enable"])
        self.run_verb("wifi-start", TC_WL_RATE="5")
        self.assertEqual(self.calls(), ["hostapd_cli wlan1 enable"])

    def test_radios_that_are_as_they_should_be_are_left_alone(self):
        self.hostapd(wlan0="ENABLED", wlan1="DISABLED")
        self.run_verb("wifi-start", TC_WL_RATE="24")
        self.run_verb("wifi-stop", TC_WL_RATE="5")
        self.assertEqual(self.calls(), [])

    def test_radios_on_the_way_up_are_switched_off_and_not_on(self):
        self.hostapd(wlan0="DFS")
        self.run_verb("wifi-start", TC_WL_RATE="24")
        self.assertEqual(self.calls(), [])
        self.run_verb("wifi-stop", TC_WL_RATE="24")
        self.assertEqual(self.calls(), ["hostapd_cli wlan0 disable"])

    def test_a_restart_reads_settings_anew_where_the_band_is_enabled(self):
        self.hostapd(wlan0="ENABLED", wlan1="ENABLED")
        self.set(wl2g__public__enable="1", wl5g__public__enable="0")
        self.run_verb("wifi-restart", TC_WL_RATE="24")
        self.run_verb("wifi-restart", TC_WL_RATE="5")
        self.assertEqual(self.calls(), ["hostapd_cli wlan0 reload", "hostapd_cli wlan1 disable"])

    def test_several_radios_of_a_band_are_named_in_the_configuration(self):
        self.hostapd(wlp1s0="ENABLED", wlp2s0="ENABLED")
        self.config("WIFI_24='wlp1s0 wlp2s0'\n")
        self.run_verb("wifi-stop", TC_WL_RATE="24")
        self.assertEqual(self.calls(), ["hostapd_cli wlp1s0 disable", "hostapd_cli wlp2s0 disable"])

    def test_a_hostapd_that_is_not_up_yet_is_waited_for(self):
        self.hostapd(wlan0=None)
        for verb in ("wifi-start", "wifi-stop"):
            self.assertIn("hostapd does not answer", self.run_verb(verb, NOT_YET, TC_WL_RATE="24", TC_TRY="1"))
            self.assertEqual(self.run_verb(verb, NOT_YET, TC_WL_RATE="24", TC_TRY="2"), "")

    def test_without_hostapd_or_radio_nothing_is_there(self):
        self.assert_fails_as_it_should("wifi-start", TC_WL_RATE="24")
        self.hostapd(wlan0="DISABLED")
        self.assert_fails_as_it_should("wifi-start", TC_WL_RATE="5")

    def test_an_order_that_is_refused_fails(self):
        self.hostapd(wlan0="DISABLED")
        self.says("hostapd_cli", HOSTAPD.format(self.world) + "wlan0 enable", "FAIL\n")
        self.assertIn("does not enable", self.run_verb("wifi-start", 1, TC_WL_RATE="24"))

    # ---- settings that are no names ----

    def assert_refused(self, verb, said, **variables):
        """With a line, and before anything was called or written."""
        self.assertIn(said, self.run_verb(verb, 1, **variables))
        self.assertEqual(self.calls(), [])
        self.assertEqual(list((self.world / "dnsmasq.d").iterdir()) + list((self.world / "reply").iterdir()), [])

    def test_what_is_no_interface_goes_nowhere(self):
        for tool in ("ip", "networkctl", "ifup", "ifdown", "ifquery", "systemctl"):
            self.tool(tool)
        self.set(sys__workmode="ap", dhcps__en="0", lan__ip="192.168.0.1", wans__flag="2")
        for name in ("br0\ndhcp-script=/tmp/x", "br0\\ndhcp-script=/tmp/x", "-a", "--interfaces=/tmp/x", "br0 br1", "../br0", "a" * 16, "br0;x"):
            self.set(lan__ifname=name, wan1__ifname=name, wl__wisp__ifname=name)
            for verb in ("dhcp-server-restart", "upstream-back", "upstream-lost", "uplink-lost", "uplink-back", "wan-up"):
                self.assert_refused(verb, "there can be no such interface: ")
            for verb in ("wan-online", "wan-offline"):
                self.assert_refused(verb, "there can be no such interface: ", TC_WAN_ID="1")

    def test_what_is_no_address_goes_nowhere(self):
        for tool in ("ip", "nft", "systemctl", "dnsmasq"):
            self.tool(tool)
        for address in ("192.168.0.1\nLD_PRELOAD=/tmp/x", "192.168.0.1; flush ruleset", "192.168.0.1\\nX=1", "-4", "include \"/etc/shadow\""):
            self.set(lan__ip=address)
            for verb in ("fault-page-start", "upstream-lost"):
                self.assert_refused(verb, "there can be no such address: ")

    def test_names_of_all_kinds_of_interfaces_are_taken(self):
        self.tool("systemctl")
        self.set(sys__workmode="ap", dhcps__en="0")
        for name in ("br0", "br-lan", "eth0.2", "wlan0-1", "veth@x", "eth0:1", "enx0123456789ab", "_x"):
            self.set(lan__ifname=name)
            self.run_verb("dhcp-server-restart")
            self.assertEqual((self.world / "dnsmasq.d/time_check-lan.conf").read_text(), f"no-dhcp-interface={name}\n")

    # ---- guests ----

    def guests(self, state, is_open):
        self.hostapd(wlan0=state)
        self.tool("ip")
        self.config("GUEST_24=wlan0_guest\n")
        self.set(wl2g__ssid1__enable="1" if is_open else "0")

    def test_the_guest_network_is_opened_and_closed_by_its_interface(self):
        self.guests("ENABLED", True)
        self.interfaces("wlan0_guest")
        self.run_verb("guest-restart", TC_WL_RATE="24", TC_INDEX="1")
        self.assertEqual(self.calls(), ["ip link set wlan0_guest up"])
        self.set(wl2g__ssid1__enable="0")
        self.run_verb("guest-restart", TC_WL_RATE="24", TC_INDEX="1")
        self.assertEqual(self.calls(), ["ip link set wlan0_guest down"])

    def test_a_guest_network_that_hostapd_leaves_silent_takes_its_radio_off_and_on(self):
        self.guests("ENABLED", True)
        (self.world / "net/wlan0_guest").mkdir()
        (self.world / "net/wlan0_guest/carrier").write_text("0\n")
        self.run_verb("guest-restart", TC_WL_RATE="24", TC_INDEX="1")
        self.assertEqual(self.calls(), ["ip link set wlan0_guest up", "hostapd_cli wlan0 disable", "hostapd_cli wlan0 enable"])
        self.hostapd(wlan0="DFS")
        self.run_verb("guest-restart", TC_WL_RATE="24", TC_INDEX="1")
        self.assertEqual(self.calls(), ["ip link set wlan0_guest up"])
        (self.world / "net/wlan0_guest/carrier").write_text("1\n")
        self.hostapd(wlan0="ENABLED")
        self.run_verb("guest-restart", TC_WL_RATE="24", TC_INDEX="1")
        self.assertEqual(self.calls(), ["ip link set wlan0_guest up"])

    def test_a_closed_guest_network_stays_closed_when_its_radio_comes_back(self):
        self.guests("DISABLED", False)
        self.interfaces("wlan0_guest")
        self.run_verb("wifi-start", TC_WL_RATE="24")
        self.assertEqual(self.calls(), ["hostapd_cli wlan0 enable", "ip link set wlan0_guest down"])

    def test_a_guest_network_that_will_appear_is_waited_for_to_be_closed(self):
        self.guests("ENABLED", False)
        self.run_verb("guest-restart", NOT_YET, TC_WL_RATE="24")
        self.guests("DISABLED", False)
        self.run_verb("guest-restart", TC_WL_RATE="24")

    def test_a_band_without_guest_network(self):
        self.hostapd(wlan1="ENABLED")
        self.assert_fails_as_it_should("guest-restart", TC_WL_RATE="5")

    def test_the_guests_bridge_is_shut_and_opened(self):
        for tool in ("nft", "systemctl"):
            self.tool(tool)
        self.interfaces("br1")
        self.run_verb("guest-apply")
        calls = self.calls()
        self.assertEqual((calls[0], calls[-1]), ("nft -f -", "systemctl try-restart dnsmasq"))
        self.assertIn('        iifname "br1" drop', calls)
        self.assertEqual((self.world / "dnsmasq.d/time_check-guest.conf").read_text(), "no-dhcp-interface=br1\n")
        self.run_verb("guest-apply")
        self.assertEqual(self.calls("systemctl"), [], "dnsmasq is restarted when something changes")
        self.set(wl__guest__dhcps_enable="1")
        self.run_verb("guest-apply")
        self.assertEqual(self.calls(), ["nft list table inet time_check_guest", "nft delete table inet time_check_guest",
                                        "systemctl try-restart dnsmasq"])
        self.assertFalse((self.world / "dnsmasq.d/time_check-guest.conf").exists())

    def test_without_bridge_or_nft_there_is_none_to_shut(self):
        self.assert_fails_as_it_should("guest-apply")
        self.interfaces("br1")
        self.assert_fails_as_it_should("guest-apply")
        self.tool("nft", any_status=1)
        self.assertIn("nft cannot shut", self.run_verb("guest-apply", 1))

    # ---- uplinks ----

    def networkd(self, *names):
        self.tool("networkctl")
        for name in names:
            self.says("networkctl", f"status {name}", "  Network File: /etc/systemd/network/1.network\n")

    def ifupdown(self, *names):
        for tool in ("ifup", "ifdown"):
            self.tool(tool)
        self.tool("ifquery", any_status=1)
        for name in names:
            self.says("ifquery", name, f"address 192.0.2.1\n")
            self.says("ifquery", f"--state {name}", f"{name}={name}\n")

    def test_an_uplink_of_networkd_is_configured_again(self):
        self.networkd("wlan7")
        self.set(wl__wisp__ifname="wlan7")
        for verb in ("uplink-back", "wan-up"):
            self.run_verb(verb, TC_WAN_ID="1")
            self.assertEqual(self.calls(), ["networkctl status wlan7", "networkctl reconfigure wlan7"])
        self.run_verb("uplink-lost")
        self.assertEqual(self.calls(), ["networkctl status wlan7"])

    def test_an_uplink_of_ifupdown_is_taken_down_and_up(self):
        self.networkd()
        self.ifupdown("wlan7")
        self.config("UPLINK=wlan7\n")
        self.run_verb("uplink-lost")
        self.assertEqual(self.calls("ifdown", "ifup"), ["ifdown --force wlan7"])
        self.run_verb("uplink-back")
        self.assertEqual(self.calls("ifdown", "ifup"), ["ifdown --force wlan7", "ifup wlan7"])
        self.says("ifup", "wlan7", "", 1)
        self.assertIn("ifup wlan7", self.run_verb("uplink-back", 1))

    def test_an_uplink_that_nobody_looks_after(self):
        self.assert_fails_as_it_should("uplink-back")
        self.run_verb("uplink-lost")

    # ---- WANs ----

    def test_one_of_two_wans_carries_no_new_connections_while_it_is_offline(self):
        self.tool("ip")
        self.set(wans__flag="2")
        self.says("ip", "-4 route show default", "default via 192.0.2.1 dev wan1 metric 10\ndefault via 198.51.100.1 dev wan2\n")
        self.run_verb("wan-offline", TC_WAN_ID="1")
        self.assertEqual(self.calls(), [
            "ip -4 route show default", "ip -4 route show table wan1 default",
            "ip -4 route add default via 192.0.2.1 dev wan1 table wan1", "ip -4 route del default dev wan1"])
        self.says("ip", "-4 route show table wan1 default", "default via 192.0.2.1 dev wan1\n")
        self.run_verb("wan-offline", TC_WAN_ID="1")
        self.assertEqual(self.calls()[2:], ["ip -4 route del default dev wan1"], "the table has its route")
        self.run_verb("wan-online", TC_WAN_ID="1")
        self.assertEqual(self.calls()[1:], ["ip -4 route replace default via 192.0.2.1 dev wan1 metric 10"])

    def test_the_only_wan_keeps_its_route(self):
        self.tool("ip")
        self.run_verb("wan-offline", TC_WAN_ID="1")
        self.assertEqual(self.calls(), [])

    def test_a_route_that_cannot_be_changed_fails(self):
        self.tool("ip")
        self.set(wans__flag="2")
        self.says("ip", "-4 route show default", "default via 192.0.2.1 dev wan1\n")
        self.says("ip", "-4 route del default dev wan1", "", 2)
        self.run_verb("wan-offline", 1, TC_WAN_ID="1")
        (self.world / "bin/ip").unlink()
        self.assert_fails_as_it_should("wan-offline", TC_WAN_ID="1")

    # ---- the LAN ----

    def test_a_lan_without_its_upstream_has_its_own_address(self):
        self.tool("ip")
        self.tool("systemctl")
        self.set(lan__ip="192.168.0.1")
        self.run_verb("upstream-lost")
        self.assertEqual(self.calls(), ["ip addr replace 192.168.0.1/24 dev br0"])
        (self.world / "dnsmasq.d/time_check-lan.conf").write_text("no-dhcp-interface=br0\n")
        self.set(dhcps__en="1", lan__ifname="br7")
        self.run_verb("upstream-lost")
        self.assertEqual(self.calls(), ["ip addr replace 192.168.0.1/24 dev br7", "systemctl try-restart dnsmasq"])
        self.assertFalse((self.world / "dnsmasq.d/time_check-lan.conf").exists())

    def test_a_lan_with_its_upstream_gives_out_no_addresses(self):
        self.tool("systemctl")
        self.networkd("br0")
        self.run_verb("upstream-back")
        self.assertEqual(self.calls("systemctl", "networkctl"), [
            "systemctl try-restart dnsmasq", "networkctl status br0", "networkctl reconfigure br0"])
        self.assertEqual((self.world / "dnsmasq.d/time_check-lan.conf").read_text(), "no-dhcp-interface=br0\n")

    def test_a_lan_without_address_or_nobody_who_asks_for_one(self):
        self.tool("ip")
        self.assert_fails_as_it_should("upstream-lost")
        shutil.rmtree(self.world / "dnsmasq.d")
        self.assert_fails_as_it_should("upstream-back")

    def test_the_dhcp_server_is_on_where_it_should_be(self):
        self.tool("systemctl")
        file = self.world / "dnsmasq.d/time_check-lan.conf"
        for mode, enabled, is_silent in (("client+ap", "0", True), ("client+ap", "1", False), ("ap", "0", True),
                                         ("router", "0", False), ("ap", "", True)):
            self.set(sys__workmode=mode, dhcps__en=enabled)
            self.run_verb("dhcp-server-restart", TC_INDEX="1")
            self.assertEqual(file.exists(), is_silent, (mode, enabled))
        self.assertEqual(self.calls(), ["systemctl try-restart dnsmasq"] * 5)

    # ---- services ----

    def test_services_are_started_and_stopped(self):
        self.tool("systemctl")
        self.config("MEDIA_SERVICE=gerbera\n")
        self.run_verb("media-server-start")
        self.assertEqual(self.calls(), ["systemctl restart gerbera"])

    @staticmethod
    def leads(family, page, *more):
        return [f"table {family} time_check_fault_page", f"delete table {family} time_check_fault_page",
                f"table {family} time_check_fault_page {{", "chain prerouting {",
                "type nat hook prerouting priority -101; policy accept", 'iifname != "br7" accept',
                f"tcp dport 80 fib daddr type != local {page}", *more, "}", "}"]

    def started_page(self):
        """What the page's start calls, without blanks and empty lines, and what it leaves for the services."""
        self.run_verb("fault-page-start")
        left = (self.world / "reply/dhttpd.env").read_text().split()
        return [line.strip() for line in self.calls() if line.strip()], left

    def test_clients_are_led_to_the_fault_page(self):
        for tool in ("systemctl", "nft"):
            self.tool(tool)
        self.config("LAN=br7\nLAN_ADDRESS=192.168.7.1/24\n")
        page = "dnat to 192.168.7.1:8053"
        self.assertEqual(self.started_page(), (  # without dnsmasq names stay as they are
            ["systemctl start time_check-dhttpd", "nft -f -", *self.leads("ip", page)],
            ["ADDRESS=192.168.7.1", "INTERFACE=br7", "PORT=8053", "LISTEN_6=", "NAMES_PORT=8054", "NOWHERE=192.0.2.1",
             "NOWHERE_6="]))
        self.tool("dnsmasq")
        self.assertEqual(self.started_page()[0], [
            "systemctl start time_check-dhttpd", "systemctl start time_check-fault-names", "nft -f -",
            *self.leads("ip", page, "meta l4proto { tcp, udp } th dport 53 dnat to 192.168.7.1:8054")])
        self.config("LAN=br7\nLAN_ADDRESS=192.168.7.1/24\nFAULT_PAGE_NOWHERE=\n")
        self.assertNotIn("8054", "".join(self.started_page()[0]))

    def test_clients_are_led_to_the_fault_page_by_ipv6_where_the_lan_speaks_it(self):
        for tool in ("systemctl", "nft", "ip", "dnsmasq"):
            self.tool(tool)
        self.config("LAN=br7\nLAN_ADDRESS=192.168.7.1/24\n")
        (self.world / "ipv6/br7").mkdir(parents=True)
        switch = self.world / "ipv6/br7/disable_ipv6"
        switch.write_text("0\n")
        names = "meta l4proto { tcp, udp } th dport 53 "
        calls, left = self.started_page()
        self.assertEqual(calls[calls.index("nft -f -") + 1:], [  # in one go: both or none
            *self.leads("ip", "dnat to 192.168.7.1:8053", names + "dnat to 192.168.7.1:8054"),
            *self.leads("ip6", "redirect to :8053", names + "redirect to :8054")])
        self.assertIn("LISTEN_6=--listen=[::]:8053", left)
        self.assertIn("NOWHERE_6=", left, "addresses of the link alone lead nobody anywhere")
        self.says("ip", "-6 addr show dev br7 scope global", "    inet6 fd00:7::1/64 scope global\n")
        self.assertIn("NOWHERE_6=--address=/#/2001:db8::1", self.started_page()[1])
        self.config("LAN=br7\nLAN_ADDRESS=192.168.7.1/24\nFAULT_PAGE_NOWHERE_6=\n")
        self.assertIn("NOWHERE_6=", self.started_page()[1])
        switch.write_text("1\n")
        calls, left = self.started_page()
        self.assertNotIn("table ip6 time_check_fault_page", calls)
        self.assertIn("LISTEN_6=", left)

    def test_clients_are_led_to_the_fault_page_no_more(self):
        for tool in ("systemctl", "nft"):
            self.tool(tool)
        self.run_verb("fault-page-stop")
        self.assertEqual(self.calls(), [
            "nft list table ip time_check_fault_page", "nft delete table ip time_check_fault_page",
            "nft list table ip6 time_check_fault_page", "nft delete table ip6 time_check_fault_page",
            "systemctl stop time_check-dhttpd"])
        for family in ("ip", "ip6"):
            self.says("nft", f"list table {family} time_check_fault_page", "", 1)
        self.run_verb("fault-page-stop")
        self.assertEqual(self.calls(), ["nft list table ip time_check_fault_page", "nft list table ip6 time_check_fault_page",
                                        "systemctl stop time_check-dhttpd"])

    def test_a_fault_page_without_a_lan(self):
        self.tool("systemctl")
        self.assert_fails_as_it_should("fault-page-start")
        self.assertEqual(self.calls("systemctl"), [])

    def test_services_that_are_not_there_or_fail(self):
        self.config("LAN_ADDRESS=192.168.7.1\n")
        for verb in ("media-server-start", "fault-page-start"):
            self.assert_fails_as_it_should(verb)
        self.tool("systemctl", any_status=5)
        self.assert_fails_as_it_should("fault-page-start")
        self.says("systemctl", "any", "Job failed.\n", 1)
        self.assertIn("Job failed.", self.run_verb("fault-page-start", 1))

    # ---- what stands in the daemon's PATH ----

    def wlconf(self, *words, status=0):
        ended = subprocess.run([SOURCE / "path/wlconf", *words], env=self.environment, check=False, capture_output=True)
        self.assertEqual(ended.returncode, status, ended.stderr)
        return [line.replace(f"wpa_cli -p {self.world}/wpa -s {self.world}/reply -i wlan0 ", "") for line in self.calls()]

    def test_each_restart_of_an_uplink_takes_the_next_cipher(self):
        self.tool("wpa_cli")
        self.says("wpa_cli", "any", "OK\n")
        self.assertEqual(self.wlconf("wlan0", "down"), ["disconnect"])
        self.assertEqual(self.wlconf("wlan0", "start"), ["reconnect"])
        for has, gets in (("CCMP TKIP", "CCMP"), ("CCMP", "TKIP"), ("TKIP", "CCMP TKIP"), ("TKIP CCMP", "CCMP")):
            self.says("wpa_cli", f"-p {self.world}/wpa -s {self.world}/reply -i wlan0 get_network 0 pairwise", has + "\n")
            self.assertEqual(self.wlconf("wlan0", "up"), ["get_network 0 pairwise", f"set_network 0 pairwise {gets}"])

    def test_an_uplink_without_wpa_supplicant_is_told(self):
        self.wlconf("wlan0", "down", status=1)
        self.tool("wpa_cli")
        self.says("wpa_cli", "any", "FAIL\n")
        for word in ("down", "up", "start"):
            self.wlconf("wlan0", word, status=1)
        for words in (["wlan0"], ["wlan0", "sideways"], []):
            self.wlconf(*words, status=2)

    def count_of_ps(self, name):
        """What the daemon's shell prints, and counts the lines of."""
        path = f"{SOURCE}/path:{os.environ['PATH']}"
        said = subprocess.run(["sh", "-c", f"ps | grep {name}"], env={"PATH": path}, capture_output=True, check=False).stdout
        lines = said.split(b"\n")[:-1]
        self.assertTrue(all(len(line) <= 63 for line in lines), lines)
        return len(lines)

    def test_ps_makes_a_missing_program_two_lines_and_a_running_one_three(self):
        name = f"probed{os.getpid()}"
        self.assertEqual(self.count_of_ps(name), 2)
        program = self.world / name
        program.symlink_to(shutil.which("sleep"))
        with subprocess.Popen([program, "600"], start_new_session=True) as process:  # of no terminal
            try:
                deadline = time.monotonic() + 20
                while self.count_of_ps(name) != 3 and time.monotonic() < deadline:
                    time.sleep(0.01)
                self.assertEqual(self.count_of_ps(name), 3)
            finally:
                process.kill()
        self.assertEqual(self.count_of_ps(name), 2)

    def test_ps_with_arguments_is_the_machines(self):
        said = subprocess.run([SOURCE / "path/ps", "-p", "1", "-o", "pid="], capture_output=True, text=True, check=True)
        self.assertEqual(said.stdout.strip(), "1")

    def test_the_authenticator_ends_at_once(self):
        self.assertEqual(subprocess.run([SOURCE / "path/nas"], check=False).returncode, 0)


def verbs_of_the_table():
    lines = (SOURCE / "netctrl/verbs.def").read_text().splitlines()
    return {line.split('"')[3] for line in lines if line.startswith("NETCTRL_VERB(")}


class EachVerb(unittest.TestCase):
    def test_has_a_program_on_the_router_and_in_the_lab(self):
        verbs, lab = verbs_of_the_table(), SOURCE.parent / "lab"
        own = {"fault-page-start", "fault-page-stop"}  # the box and the emulated router run the router's
        for folder, wanted in ((SOURCE / "programs", verbs), (lab / "netctrl.d", verbs - own)):
            programs = {path.name for path in folder.iterdir() if path.suffix != ".sh"}
            self.assertEqual(programs, wanted, folder)
            self.assertTrue(all(os.access(folder / name, os.X_OK) for name in programs))

    def test_has_its_row_in_the_document(self):
        section = DOCUMENT.split("## The verbs\n")[1].split("\n## ")[0]
        self.assertEqual(set(re.findall(r"^\| `([a-z-]+)` \|", section, re.MULTILINE)), verbs_of_the_table())


class EachNameOfTheConfiguration(unittest.TestCase):
    def test_is_in_the_document_and_the_example_as_it_is_without(self):
        example = dict(re.findall(r"^#([A-Z0-9_]+)='(.*)'$", (SOURCE / "router.conf").read_text(), re.MULTILINE))
        defaults = {}
        for source in (SOURCE / "programs/router.sh", SOURCE / "path/wlconf"):
            defaults.update(re.findall(r'"\$\{([A-Z0-9_]+)=([^$"}]*)\}"', source.read_text()))
        del defaults["NET_DIR"], defaults["IPV6_DIR"]  # for tests
        self.assertGreater(len(defaults), 8)
        self.assertEqual({name: value for name, value in example.items() if name in defaults}, defaults)
        self.assertEqual({value for name, value in example.items() if name not in defaults}, {""})
        used = set(re.findall(r"\$\{([A-Z0-9_]+):-", (SOURCE / "programs/router.sh").read_text())) - {"TC_TRY", "TIME_CHECK_ROUTER_CONF",
                                                                              "TIME_CHECK_RUN_DIR"}
        self.assertEqual(set(example), set(defaults) | used)
        for name in example:
            self.assertIn(f"`{name}`", DOCUMENT)


if __name__ == "__main__":
    unittest.main()
