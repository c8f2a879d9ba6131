// cfm set, unset and import: several keys at once, what they warn of, and what --apply does.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/linux/bus.h"
#include "tests/contract/cfm_program.h"

namespace
{

const char *const MISSPELT = "cfm: sys.schedulereboot.enabel is no key that the daemon reads "
                             "(did you mean sys.schedulereboot.enable?)\n";

// What the daemon is told, in this order.
class Daemon
{
public:
    Daemon()
    {
        EXPECT_EQ(bus_open("time_check", &end), BUS_DONE);
    }
    ~Daemon()
    {
        bus_close(&end);
    }
    Daemon(const Daemon &) = delete;
    Daemon &operator=(const Daemon &) = delete;

    std::vector<std::string> heard() const
    {
        std::vector<std::string> texts;
        bus_message message;
        while (bus_receive(&end, &message) == BUS_DONE)
            texts.emplace_back(message.text);
        return texts;
    }

private:
    bus_end end = {};
};

// ---- several keys ----

TEST_F(Cfm, SetsSeveralKeys)
{
    EXPECT_EQ(cfm("set a=1 b= c==x=y 'd=a b' e=-- f=--help"), (Outcome{0, ""}));
    EXPECT_EQ(listed(""), "a=1\nb=\nc==x=y\nd=a b\ne=--\nf=--help\n");
    EXPECT_EQ(cfm("set single=1"), (Outcome{0, ""}));
    EXPECT_EQ(cfm("set key a=b"), (Outcome{0, ""})) << "one key, as ever";
    EXPECT_EQ(value_of("key"), "a=b");
    EXPECT_EQ(value_of("single"), "1");
}

TEST_F(Cfm, SetOfSeveralKeysEndsAtTheFirstThatCannotBeOne)
{
    EXPECT_EQ(cfm("set a=1 '#b=2' c=3"), (Outcome{1, "cfm: store: '#b' is not set: a key cannot begin with '#'\n"}));
    EXPECT_EQ(listed(""), "a=1\n");
}

TEST_F(Cfm, UnsetsSeveralKeysAndNamesThoseThatWereNone)
{
    cfm("set a=1 b=2 c=3");
    EXPECT_EQ(cfm("unset a none c 'a=b'"), (Outcome{1, "cfm: no key 'none'\ncfm: no key 'a=b'\n"}));
    EXPECT_EQ(listed(""), "b=2\n");
    EXPECT_EQ(cfm("unset b"), (Outcome{0, ""}));
}

// ---- warnings ----

TEST_F(Cfm, SetStoresAMisspeltKeyAndWarns)
{
    EXPECT_EQ(cfm("set sys.schedulereboot.enabel 1"), (Outcome{0, MISSPELT}));
    EXPECT_EQ(value_of("sys.schedulereboot.enabel"), "1");
    EXPECT_EQ(cfm("set wan2.isonln 1"),
              (Outcome{0, "cfm: wan2.isonln is no key that the daemon reads (did you mean wan2_isonln?)\n"}));
}

TEST_F(Cfm, SetStoresAValueOutsideItsRangeAndWarns)
{
    EXPECT_EQ(cfm("set sys.schedulereboot.type 7"),
              (Outcome{0, "cfm: sys.schedulereboot.type=7: it is not within 0..3\n"}));
    EXPECT_EQ(value_of("sys.schedulereboot.type"), "7");
    EXPECT_EQ(cfm("set nkgw.led.ontime.list2=25:00 wans.flag=2"),
              (Outcome{0, "cfm: nkgw.led.ontime.list2=25:00: it is no [DAYS ]HH:MM, such as Mon..Thu,Sun 23:00\n"}));
    EXPECT_EQ(cfm("set wl.wisp.pppoe_password " + std::string(256, 'p')),
              (Outcome{0, "cfm: wl.wisp.pppoe_password: it is longer than 255 bytes\n"}));
}

TEST_F(Cfm, SetOfAnotherProgramsKeyWarnsOnATerminalAlone)
{
    EXPECT_EQ(cfm("set lab.who me"), (Outcome{0, ""}));
    const std::string on_terminal =
        "set x y >/dev/null; script -qec \"'" CFM_PROGRAM "' set lab.who you\" /dev/null </dev/null";
    EXPECT_EQ(cfm(on_terminal), (Outcome{0, "cfm: lab.who is no key that the daemon reads\r\n"}));
    EXPECT_EQ(value_of("lab.who"), "you");
}

TEST_F(Cfm, ImportWarnsOfWhatItStored)
{
    const std::string file = (folders.run().parent_path() / "text").string();
    write_file(file, "lab.who=me\nsys.schedulereboot.enabel=1\nsys.schedulereboot.type=7\nwans.flag=2\n");
    const std::string warnings = std::string(MISSPELT) + "cfm: sys.schedulereboot.type=7: it is not within 0..3\n";
    EXPECT_EQ(cfm("import " + file), (Outcome{0, warnings}));
    EXPECT_EQ(cfm("import - <" + file), (Outcome{0, warnings}));
    EXPECT_EQ(value_of("wans.flag"), "2");
    write_file(file, "sys.schedulereboot.enabel=2\nbad\n");
    EXPECT_EQ(cfm("import " + file), (Outcome{1, "cfm: store: " + file + ":2: the line has no '='\n"}))
        << "nothing was stored";
}

// ---- applying ----

TEST_F(Cfm, ApplyCommitsAndTellsTheDaemon)
{
    const Daemon daemon;
    EXPECT_EQ(cfm("set sys.schedulereboot.enable 1 --apply"), (Outcome{0, ""}));
    EXPECT_EQ(daemon.heard(), std::vector<std::string>{"time_check_reboot?op=1"});
    EXPECT_EQ(read_file(folders.committed()).substr(0, 28), "sys.schedulereboot.enable=1\n");
}

TEST_F(Cfm, ApplyDoesEachThingOnce)
{
    const Daemon daemon;
    EXPECT_EQ(
        cfm("set --apply wans.flag=2 lan.ip=192.168.0.1 nkgw.wlan.listnum=0 wl2g.extra.ssid=up lan.ifname=br0 own=1"),
        (Outcome{0, ""}));
    EXPECT_EQ(daemon.heard(), (std::vector<std::string>{"time_check_wifi_connect", "time_check_wifi"}));
    EXPECT_EQ(value_of("surf_check_renew_flag"), "1");
    EXPECT_EQ(read_file(folders.committed()).find("surf_check"), std::string::npos);
}

TEST_F(Cfm, ApplyWithoutTheDaemonCommitsAndFails)
{
    EXPECT_EQ(cfm("set sys.schedulereboot.enable=1 --apply"),
              (Outcome{1, "cfm: time_check: no process holds the name\n"}));
    EXPECT_NE(read_file(folders.committed()), "");
    EXPECT_EQ(cfm("set own.key 1 --apply"), (Outcome{0, ""})) << "there is nobody to tell";
    EXPECT_NE(read_file(folders.committed()).find("own.key=1\n"), std::string::npos);
}

TEST_F(Cfm, ApplyThatCannotCommitTellsNobody)
{
    const Daemon daemon;
    setenv("TIME_CHECK_CONF_DIR", "/nowhere/at/all", 1);
    EXPECT_EQ(cfm("set sys.schedulereboot.enable 1 --apply").status, 1);
    EXPECT_EQ(daemon.heard(), std::vector<std::string>{});
}

TEST_F(Cfm, ApplyIsAValueWhereOneIsDue)
{
    EXPECT_EQ(cfm("set key --apply"), (Outcome{0, ""}));
    EXPECT_EQ(value_of("key"), "--apply");
    EXPECT_EQ(cfm("set key --apply --apply"), (Outcome{0, ""}));
    EXPECT_EQ(read_file(folders.committed()).substr(0, 12), "key=--apply\n");
}

// ---- what was meant ----

TEST_F(Cfm, NamesTheCommandThatWasProbablyMeant)
{
    EXPECT_EQ(cfm("lst"), (Outcome{2, "cfm: unknown command lst (did you mean list?)\n"}));
    EXPECT_EQ(cfm("exprot more"), (Outcome{2, "cfm: unknown command exprot (did you mean export?)\n"}));
    EXPECT_EQ(cfm("frobnicate"), (Outcome{2, "cfm: unknown command frobnicate; cfm --help lists them\n"}));
    EXPECT_EQ(cfm("$'a\\nb'").status, 2);
}

TEST_F(Cfm, SaysWhenItMakesAStore)
{
    const std::string news = "cfm: no store was in " + folders.run().string() + ": a new one is made there\n";
    for (const auto &[command, status] :
         {std::pair{"get key", 1}, {"set own.key 1", 0}, {"list", 0}, {"diff", 0}, {"wait key=", 0}}) {
        folders.restart();
        EXPECT_EQ(cfm(command).status, status) << command;
        folders.restart();
        EXPECT_EQ(output(command).substr(0, news.size()), news) << command;
        EXPECT_EQ(output("list").find(news), std::string::npos) << command;
    }
    for (const char *command : {"export", "commit", "import - </dev/null", "unset key"}) {
        folders.restart();
        EXPECT_EQ(output(command).find(news), std::string::npos) << command;
    }
}

TEST_F(Cfm, TellsWhoWritesTheCommittedFileByHandOfImport)
{
    folders.restart();
    std::filesystem::create_directory(folders.conf());
    write_file(folders.committed(), "key=1\n");
    const std::string lines = output("get key");
    EXPECT_NE(lines.find(folders.committed().string() +
                         " is damaged: its last line is missing; what was written by hand "
                         "goes in with cfm import FILE\n"),
              std::string::npos)
        << lines;
    EXPECT_EQ(cfm("import " + folders.committed().string()).status, 0);
    EXPECT_EQ(cfm("commit").status, 0);
    folders.restart();
    EXPECT_EQ(cfm("get key 2>/dev/null"), (Outcome{0, "1\n"}));
}

} // namespace
