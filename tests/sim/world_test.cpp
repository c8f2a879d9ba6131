// The virtual router's files, processes, network and commands, as tests of the daemon rely on them.
#include <cerrno>
#include <fcntl.h>

#include "platform/config_store.h"
#include "platform/network.h"
#include "platform/sim/wrap.h"
#include "platform/statistics.h"
#include "platform/system.h"
#include "platform/vos.h"
#include "platform/wifi.h"
#include "tests/support/router_test.h"

class SimFiles : public RouterTest
{
protected:
    static std::string read_stream(FILE *stream)
    {
        std::string text;
        char part[64];
        while (fgets(part, sizeof part, stream) != nullptr)
            text += part;
        return text;
    }
};

TEST_F(SimFiles, ReadInPieces)
{
    box.files.set("/etc/some", "0123456789");
    const int fd = sim_open("/etc/some", O_RDONLY);
    ASSERT_GE(fd, 3);
    char part[5] = "";
    EXPECT_EQ(sim_read(fd, part, 4), 4);
    EXPECT_STREQ(part, "0123");
    EXPECT_EQ(sim_read(fd, part, 4), 4);
    EXPECT_EQ(sim_read(fd, part, 4), 2);
    EXPECT_EQ(sim_read(fd, part, 4), 0);
    EXPECT_EQ(box.open_descriptors(), Lines{"/etc/some"});
    EXPECT_EQ(sim_close(fd), 0);
    EXPECT_EQ(sim_close(fd), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(SimFiles, WrittenAndReadAgain)
{
    box.files.set_directory("/tmp");
    const int fd = sim_open("/tmp/new", O_WRONLY | O_CREAT, 0644);
    ASSERT_GE(fd, 3);
    EXPECT_EQ(sim_write(fd, "one\n", 4), 4);
    EXPECT_EQ(sim_close(fd), 0);
    EXPECT_EQ(box.files.text_of("/tmp/new"), "one\n");
    EXPECT_ACTS("write /tmp/new");
    const int again = sim_open("/tmp/new", O_RDONLY);
    char text[8] = "";
    EXPECT_EQ(sim_read(again, text, sizeof text), 4);
    EXPECT_STREQ(text, "one\n");
    sim_close(again);
}

TEST_F(SimFiles, UnknownPathsAreRemembered)
{
    box.files.set_missing("/etc/declared");
    EXPECT_EQ(sim_open("/etc/declared", O_RDONLY), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(sim_open("/proc/4711/stat", O_RDONLY), -1);
    EXPECT_EQ(box.files.unknown_paths(), Lines{});
    box.files.set_unreadable("/etc/secret");
    EXPECT_EQ(sim_open("/etc/secret", O_RDONLY), -1);
    EXPECT_EQ(errno, EACCES);
}

TEST_F(SimFiles, ANewFileTakesAnothersPlace)
{
    const int fd = sim_open("/etc/new", O_WRONLY | O_CREAT, 0644);
    EXPECT_EQ(sim_write(fd, "x\n", 2), 2);
    EXPECT_EQ(sim_close(fd), 0);
    EXPECT_EQ(sim_rename("/etc/new", "/etc/httpd.pid"), 0);
    EXPECT_EQ(box.files.text_of("/etc/httpd.pid"), "x\n");
    EXPECT_FALSE(box.files.exists("/etc/new"));
    EXPECT_ACTS("write /etc/new", "rename /etc/new /etc/httpd.pid");
}

TEST_F(SimFiles, ANewFileIsItsMakersAndAnOldOneStaysItsOwners)
{
    box.files.set("/etc/old", "text");
    EXPECT_EQ(box.files.permissions_of("/etc/old"), "644 0:0");
    box.files.set_permissions("/etc/old", 0640, 0, 4);
    const int old_file = sim_open("/etc/old", O_RDONLY);
    struct stat status = {};
    ASSERT_EQ(sim_fstat(old_file, &status), 0);
    EXPECT_EQ(status.st_mode, mode_t{S_IFREG | 0640});
    EXPECT_EQ(status.st_gid, 4U);
    EXPECT_EQ(status.st_size, 4);
    sim_close(old_file);

    const int new_file = sim_open("/etc/new", O_WRONLY | O_CREAT, 0666);
    EXPECT_EQ(box.files.permissions_of("/etc/new"), "644 0:0");
    EXPECT_EQ(sim_fchmod(new_file, 06750), 0);
    EXPECT_EQ(sim_fchown(new_file, 7, 8), 0);
    EXPECT_EQ(box.files.permissions_of("/etc/new"), "750 7:8");
    sim_close(new_file);
    EXPECT_EQ(sim_fstat(new_file, &status), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(SimFiles, ALinkIsNoFileOfItsOwn)
{
    box.files.set("/etc/target", "text");
    box.files.set_link("/etc/link", "/etc/target");
    EXPECT_EQ(sim_open("/etc/link", O_WRONLY | O_NOFOLLOW), -1);
    EXPECT_EQ(errno, ELOOP);
    EXPECT_EQ(sim_open("/etc/link", O_WRONLY | O_CREAT | O_EXCL, 0600), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(sim_rename("/etc/link", "/etc/other"), 0);
    EXPECT_FALSE(box.files.exists("/etc/other"));
    char target[32];
    EXPECT_EQ(sim_readlink("/etc/other", target, sizeof target), 11);
    EXPECT_EQ(sim_unlink("/etc/other"), 0);
    EXPECT_EQ(sim_unlink("/etc/other"), -1);
    EXPECT_EQ(box.files.text_of("/etc/target"), "text");
}

TEST_F(SimFiles, DirectoryHoldsTheFilesUnderIt)
{
    box.files.set("/tmp/dir/b/c", "");
    box.files.set("/tmp/dir/a", "");
    DIR *const directory = sim_opendir("/tmp/dir");
    ASSERT_NE(directory, nullptr);
    Lines names;
    while (const struct dirent *const entry = sim_readdir(directory))
        names.emplace_back(entry->d_name);
    EXPECT_EQ(names, (Lines{".", "..", "a", "b"}));
    EXPECT_EQ(box.open_descriptors(), Lines{"/tmp/dir"});
    sim_closedir(directory);
}

TEST_F(SimFiles, SettingsFileGivesItsKeys)
{
    box.files.set("/etc/lan.ini", "[lan]\nip=192.168.1.2\n gateway = 192.168.1.1\ngateway=1.1.1.1");
    char value[VOS_FILE_VALUE_SIZE];
    EXPECT_EQ(vos_get_value_from_file("/etc/lan.ini", "gateway", value), 0);
    EXPECT_STREQ(value, "192.168.1.1");
    EXPECT_EQ(vos_get_value_from_file("/etc/lan.ini", "mask", value), -1);
    EXPECT_STREQ(value, "");
}

// ---- faults ----

class SimFaults : public RouterTest
{
};

TEST_F(SimFaults, OnlyTheNthCallFails)
{
    box.faults.fail("open", 2, EMFILE);
    const int first = sim_open("/proc/stat", O_RDONLY);
    EXPECT_GE(first, 0);
    EXPECT_EQ(sim_open("/proc/stat", O_RDONLY), -1);
    EXPECT_EQ(errno, EMFILE);
    const int third = sim_open("/proc/stat", O_RDONLY);
    EXPECT_GE(third, 0);
    EXPECT_EQ(box.faults.made("open"), 3U);
    sim_close(first);
    sim_close(third);
}

TEST_F(SimFaults, EveryCallFailsFromThenOn)
{
    box.network.set_address("ppp0", "100.64.0.2");
    char address[IF_ADDRESS_SIZE];
    box.faults.fail("getIfIp", 1, EIO, true);
    EXPECT_EQ(getIfIp("ppp0", address), -1);
    EXPECT_EQ(getIfIp("ppp0", address), -1);
    box.faults.clear();
    EXPECT_EQ(getIfIp("ppp0", address), 0);
}

TEST_F(SimFaults, UnknownNameIsRefused)
{
    EXPECT_THROW(box.faults.fail("opne"), std::invalid_argument);
}

// ---- processes ----

class SimProcesses : public RouterTest
{
protected:
    static std::string listing_of(const char *command)
    {
        FILE *const pipe = sim_popen(command, "r");
        std::string text;
        char line[128];
        while (fgets(line, sizeof line, pipe) != nullptr)
            text += line;
        sim_pclose(pipe);
        return text;
    }
    static long long number_in(const std::string &text, int column)
    {
        std::istringstream words(text);
        std::string word;
        for (int i = 0; i < column; i++)
            words >> word;
        return std::stoll(word);
    }
};

TEST_F(SimProcesses, ListingHoldsShellAndGrepAndEachMatch)
{
    EXPECT_EQ(std::ranges::count(listing_of("ps | grep minidlna"), '\n'), 2);
    box.processes.start("minidlna", 77, "/usr/bin/minidlna -f /etc/minidlna.conf");
    const std::string listing = listing_of("ps | grep minidlna");
    EXPECT_EQ(std::ranges::count(listing, '\n'), 3);
    EXPECT_EQ(listing.find("   77 root "), 0U);
}

TEST_F(SimProcesses, KillallEndsThem)
{
    EXPECT_EQ(check_app("httpd"), 1);
    EXPECT_EQ(doSystemCmd("killall -9 %s", "httpd"), 0);
    EXPECT_EQ(check_app("httpd"), 0);
    EXPECT_EQ(doSystemCmd("killall -9 %s", "httpd"), 1);
    EXPECT_ACTS("command killall -9 httpd", "command killall -9 httpd");
}

TEST_F(SimProcesses, CpuTimeGrowsWithTheShare)
{
    box.processes.set_cpus(4);
    box.processes.set_share("httpd", 50);
    const long long machine =
        number_in(box.files.text_of("/proc/stat"), 2) + number_in(box.files.text_of("/proc/stat"), 5);
    box.run(10);
    EXPECT_EQ(number_in(box.files.text_of("/proc/412/stat"), 14), 500);
    EXPECT_EQ(number_in(box.files.text_of("/proc/stat"), 2) + number_in(box.files.text_of("/proc/stat"), 5) - machine,
              4000);
    box.processes.set_share("httpd", 0);
    box.run(10);
    EXPECT_EQ(number_in(box.files.text_of("/proc/412/stat"), 14), 500);
}

TEST_F(SimProcesses, StartedInTheBackgroundOnlyWhenTheTestSaysSo)
{
    doSystemCmd("pppoecd eth1 -u name &");
    EXPECT_FALSE(box.processes.runs("pppoecd"));
    box.commands.set_starts("pppoecd", true);
    doSystemCmd("pppoecd eth1 -u name &");
    EXPECT_TRUE(box.processes.runs("pppoecd"));
}

// ---- commands ----

class SimCommands : public RouterTest
{
};

TEST_F(SimCommands, ChainsAndRulesAreKept)
{
    EXPECT_EQ(doSystemCmd("iptables -A dns_drop -o eth1 -j DROP"), 1);
    doSystemCmd("iptables -N dns_drop");
    doSystemCmd("iptables -A OUTPUT -p udp --dport 53 -m state --state NEW -j dns_drop");
    doSystemCmd("iptables -A dns_drop -o eth1 -j DROP");
    EXPECT_EQ(box.commands.chain("dns_drop"), Lines{"-o eth1 -j DROP"});
    EXPECT_EQ(box.commands.chain("OUTPUT"), Lines{"-p udp --dport 53 -m state --state NEW -j dns_drop"});
    doSystemCmd("iptables -D dns_drop -o eth1 -j DROP");
    EXPECT_EQ(doSystemCmd("iptables -X dns_drop"), 0);
    EXPECT_FALSE(box.commands.has_chain("dns_drop"));

    EXPECT_EQ(doSystemCmd("ip rule add to 192.0.2.7 iif lo lookup wan1 prio 5000 2> /dev/null"), 0);
    EXPECT_EQ(box.commands.rules(), Lines{"5000 to 192.0.2.7 iif lo lookup wan1"});
    EXPECT_EQ(doSystemCmd("ip rule add to 192.0.2.7 iif lo lookup wan1 prio 5000 2> /dev/null"), 2);
    EXPECT_EQ(doSystemCmd("ip rule add to 192.0.2.8 iif lo lookup wan1 prio 5000"), 0);
    EXPECT_EQ(box.commands.rules().size(), 2U);
    EXPECT_EQ(doSystemCmd("ip rule del prio 5000"), 0);
    EXPECT_EQ(doSystemCmd("ip rule del prio 5000"), 0);
    EXPECT_EQ(doSystemCmd("ip rule del prio 5000"), 2);
}

TEST_F(SimCommands, MessagesToNetctrlFromBothWays)
{
    doSystemCmd("cfm post netctrl %d?op=%d", 53, 1);
    EXPECT_EQ(box.journal.messages_to_netctrl(), Lines{"53?op=1"});
    EXPECT_ACTS("command cfm post netctrl 53?op=1");
}

TEST_F(SimCommands, EchoWritesAFile)
{
    doSystemCmd("echo nameserver > /etc/resolv_wisp.conf");
    EXPECT_EQ(box.files.text_of("/etc/resolv_wisp.conf"), "nameserver\n");
}

TEST_F(SimCommands, SecondPartRunsOnlyAfterSuccess)
{
    doSystemCmd("killall nobody && killall httpd");
    EXPECT_TRUE(box.processes.runs("httpd"));
    doSystemCmd("killall nobody ; killall 'httpd'");
    EXPECT_FALSE(box.processes.runs("httpd"));
}

TEST_F(SimCommands, HookComesBeforeTheModel)
{
    box.commands.set_hook([](const std::string &command) { return command == "killall httpd" ? 7 : sim::NOT_HANDLED; });
    EXPECT_EQ(doSystemCmd("killall httpd"), 7);
    EXPECT_TRUE(box.processes.runs("httpd"));
    EXPECT_EQ(doSystemCmd("true"), 0);
}

TEST_F(SimCommands, TooLongIsNotRun)
{
    EXPECT_EQ(doSystemCmd("echo %s > /tmp/long", std::string(4096, 'x').c_str()), -1);
    EXPECT_FALSE(box.files.exists("/tmp/long"));
}

// ---- network ----

class SimNetwork : public RouterTest
{
};

TEST_F(SimNetwork, NeighboursAsTheKernelPrintsThem)
{
    box.network.set_neighbour("192.168.0.100", "0x2", "02:00:00:00:00:01", "br0");
    EXPECT_EQ(box.files.text_of("/proc/net/arp"),
              "IP address       HW type     Flags       HW address            Mask     Device\n"
              "192.168.0.100    0x1         0x2         02:00:00:00:00:01     *        br0\n");
    box.network.set_multicast("br0", 123456789012);
    EXPECT_EQ(box.files.text_of("/proc/net/ip_mr_vif"),
              "Interface      BytesIn  PktsIn  BytesOut PktsOut Flags Local    Remote\n"
              " 0 br0               0       0  123456789012       0 00000 00000000 00000000\n");
}

TEST_F(SimNetwork, OnlyTheFirstNameServerIsAsked)
{
    box.network.set_name("www.example.org", "192.0.2.80");
    ASSERT_NE(sim_gethostbyname("www.example.org"), nullptr);
    EXPECT_EQ(sim_gethostbyname("www.example.com"), nullptr);
    box.network.set_name_server("192.0.2.1", false);
    EXPECT_EQ(sim_gethostbyname("www.example.org"), nullptr);
    box.files.set("/etc/resolv.conf", "# first\nnameserver 192.0.2.2\nnameserver 192.0.2.1\n");
    EXPECT_NE(sim_gethostbyname("www.example.org"), nullptr);
    box.network.set_dns(false);
    EXPECT_EQ(sim_gethostbyname("www.example.org"), nullptr);
}

TEST_F(SimNetwork, TheMostSpecificReachabilityCounts)
{
    EXPECT_EQ(simple_ping("192.0.2.80"), -1);
    EXPECT_EQ(box.clock.local(), "2026-01-01 12:00:01");
    box.network.set_reachable("*", "eth1", true);
    EXPECT_EQ(ping_by_interface("192.0.2.80", 2, "eth1"), 0);
    box.network.set_reachable("192.0.2.80", "", false);
    EXPECT_EQ(ping_by_interface("192.0.2.80", 2, "eth1"), -1);
    EXPECT_EQ(box.clock.local(), "2026-01-01 12:00:03");
    box.network.set_reachable("192.0.2.80", "eth1", true);
    EXPECT_EQ(ping_by_interface("192.0.2.80", 2, "eth1"), 0);
    EXPECT_EQ(simple_ping("not an address"), -1);
}

TEST_F(SimNetwork, HostsAreHandedToTheCaller)
{
    box.network.set_host("192.168.0.100", 10, 20);
    box.network.set_host("192.168.0.101", 1, 2);
    box.network.set_host("192.168.0.100", 11, 22);
    uint64_t first = 0;
    uint64_t second = 0;
    int count = 0;
    ASSERT_EQ(get_statistic_info(&first, &second, &count), 0);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(ip_info[0].up_bytes, 11U);
    EXPECT_EQ(ip_info[1].down_bytes, 2U);
    free(ip_info);
    ip_info = nullptr;
}

TEST_F(SimNetwork, ClashOfWanAndLan)
{
    EXPECT_EQ(wan_lan_check("192.168.0.7", "255.255.255.0"), 1);
    EXPECT_EQ(wan_lan_check("192.168.1.7", "255.255.255.0"), 0);
    EXPECT_ACTS("wan_lan_check 192.168.0.7 255.255.255.0", "wan_lan_check 192.168.1.7 255.255.255.0");
}

TEST_F(SimNetwork, ARadioIsConnectedWithAnAddress)
{
    EXPECT_EQ(tpi_wifi_wisp_connect_check("wlc0", TPI_WAN_DHCP), TPI_NOT_CONNECTED);
    box.radios.set("wlc0", TPI_CONNECTED, WIFI_RELAY_CONNECTED);
    EXPECT_EQ(tpi_wifi_wisp_connect_check("wlc0", TPI_WAN_DHCP), TPI_CONNECTING);
    box.network.set_address("wlc0", "10.0.0.9");
    EXPECT_EQ(tpi_wifi_wisp_connect_check("wlc0", TPI_WAN_DHCP), TPI_CONNECTED);
    box.radios.set_connection("wlc0", TPI_NO_WIRE);
    EXPECT_EQ(tpi_wifi_wisp_connect_check("wlc0", TPI_WAN_DHCP), TPI_NO_WIRE);
}

TEST_F(SimNetwork, WhoWatchesSeesEachLookupAndEachEchoRequest)
{
    Lines seen;
    box.network.watch_lookups(
        [&seen](const std::string &host_name, const std::string &ip) { seen.push_back(host_name + " " + ip); });
    box.network.watch_pings(
        [&seen](const std::string &ip, int requests) { seen.push_back(ip + " " + std::to_string(requests)); });
    box.network.set_name("host.example", "198.51.100.7");
    box.network.set_reachable("198.51.100.7", "", true);
    sim_gethostbyname("host.example");
    sim_gethostbyname("other.example");
    sim_gethostbyname("198.51.100.7"); // asks nobody
    ping_by_interface("198.51.100.7", 2, "eth1");
    ping_by_interface("198.51.100.8", 2, "eth1");
    ping_by_interface("none", 2, "eth1");
    EXPECT_EQ(seen, (Lines{"host.example 198.51.100.7", "other.example ", "198.51.100.7 1", "198.51.100.8 2"}));
}

// The daemon asks for the same few keys all the time, and the store remembers where they are.
class SimStore : public RouterTest
{
protected:
    static std::string asked(const char *key)
    {
        char value[16];
        return GetValue(key, value) == 1 ? value : "none";
    }
};

TEST_F(SimStore, AKeyThatComesAndGoesIsSeenAtOnce)
{
    static constexpr char KEY[] = "lan.ip";
    EXPECT_EQ(asked(KEY), "none");
    box.store.set(KEY, "1");
    EXPECT_EQ(asked(KEY), "1");
    box.store.set_uncommitted(KEY, "2");
    EXPECT_EQ(asked(KEY), "2");
    box.store.machine_restarted();
    EXPECT_EQ(asked(KEY), "1");
    box.store.unset(KEY);
    EXPECT_EQ(asked(KEY), "none");
    SetValue(KEY, "3");
    EXPECT_EQ(asked(KEY), "3");
    box.store.machine_restarted();
    EXPECT_EQ(asked(KEY), "none");
}

TEST_F(SimStore, AnotherKeyAtTheSameAddressIsAnother)
{
    box.store.set("wan1.connecttype", "1");
    box.store.set("wan2.connecttype", "2");
    char key[] = "wan1.connecttype";
    EXPECT_EQ(asked(key), "1");
    key[3] = '2';
    EXPECT_EQ(asked(key), "2");
    key[3] = '1';
    EXPECT_EQ(asked(key), "1");
}
