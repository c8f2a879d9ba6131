// The program tcctl, run as a shell runs it.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <sys/wait.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace
{

namespace fs = std::filesystem;
using nlohmann::json;

struct Outcome {
    int status;
    std::string output; // standard output and standard error
};

bool operator==(const Outcome &one, const Outcome &other)
{
    return one.status == other.status && one.output == other.output;
}

void PrintTo(const Outcome &outcome, std::ostream *stream)
{
    *stream << outcome.status << ": " << outcome.output;
}

// In folders of its own, where the store is.
class Tcctl : public testing::Test
{
protected:
    Tcctl()
    {
        std::string name = (fs::temp_directory_path() / "tcctl_XXXXXX").string();
        top = mkdtemp(name.data());
        fs::create_directory(top / "conf");
    }
    ~Tcctl() override
    {
        fs::remove_all(top);
    }
    [[nodiscard]] Outcome shell(const std::string &line) const
    {
        const std::string environment = "export TIME_CHECK_RUN_DIR='" + (top / "run").string() +
                                        "' TIME_CHECK_CONF_DIR='" + (top / "conf").string() + "' TZ=UTC0; cd '" +
                                        top.string() + "'; ";
        FILE *output = popen((environment + "{ " + line + "; } 2>&1").c_str(), "r");
        if (output == nullptr)
            throw std::runtime_error("no shell");
        Outcome outcome = {};
        std::array<char, 4096> piece = {};
        for (size_t got = 0; (got = fread(piece.data(), 1, piece.size(), output)) > 0;)
            outcome.output.append(piece.data(), got);
        outcome.status = WEXITSTATUS(pclose(output));
        return outcome;
    }
    // `words` is what stands behind "tcctl" on a shell's line.
    [[nodiscard]] Outcome tcctl(const std::string &words) const
    {
        return shell("timeout 60 '" TCCTL_PROGRAM "' " + words);
    }
    [[nodiscard]] Outcome cfm(const std::string &words) const
    {
        return shell("timeout 60 '" CFM_PROGRAM "' " + words + " 2>/dev/null");
    }
    void write(const char *file, const std::string &text) const
    {
        std::ofstream(top / file) << text;
    }
    fs::path top;
};

// ---- the command line ----

TEST_F(Tcctl, SaysHowItIsCalled)
{
    EXPECT_EQ(tcctl("--version").output.substr(0, 6), "tcctl ");
    for (const char *command : {"check", "keys"}) {
        EXPECT_NE(tcctl("--help").output.find(std::string("\n  ") + command + " "), std::string::npos) << command;
        EXPECT_EQ(tcctl(std::string(command) + " --help").status, 0);
    }
}

TEST_F(Tcctl, ACallThatMakesNoSenseEndsWithTwo)
{
    for (const char *words : {"", "--frobnicate", "check --frobnicate", "check --level all", "keys one two"})
        EXPECT_EQ(tcctl(words).status, 2) << words;
    EXPECT_EQ(tcctl("chekc"), (Outcome{2, "tcctl: unknown command chekc (did you mean check?)\n"}));
    EXPECT_EQ(tcctl("frobnicate"), (Outcome{2, "tcctl: unknown command frobnicate (tcctl --help lists them)\n"}));
}

TEST_F(Tcctl, OutputToAClosedDescriptorIsAnError)
{
    for (const char *words : {"keys", "--help", "check --help"})
        EXPECT_EQ(tcctl(std::string(words) + " >&-").status, 2) << words;
}

// ---- keys ----

TEST_F(Tcctl, KeysOfAKeyPrintsItsRow)
{
    const std::string output = tcctl("keys sys.schedulereboot.end_time").output;
    EXPECT_EQ(output.substr(0, output.find('\n')), "sys.schedulereboot.end_time");
    for (const char *part :
         {"HH:MM", "05:30", "reboot (start, message)", "cfm post time_check 'time_check_reboot?op=1'",
          "trap       a window past midnight never restarts"})
        EXPECT_NE(output.find(part), std::string::npos) << part << " in " << output;
}

TEST_F(Tcctl, KeysTakesAKeyOfAPatternOrAPart)
{
    EXPECT_EQ(tcctl("keys wan2.port").output.substr(0, 11), "wan%d.port\n");
    EXPECT_EQ(json::parse(tcctl("keys --json POWERSLEEP").output).size(), 6U);
    EXPECT_EQ(
        tcctl("keys sys.schedulereboot.enabel"),
        (Outcome{2, "tcctl: no key holds sys.schedulereboot.enabel (did you mean sys.schedulereboot.enable?)\n"}));
}

TEST_F(Tcctl, KeysAsJsonHasEveryColumn)
{
    const json rows = json::parse(tcctl("keys --json").output);
    EXPECT_GT(rows.size(), 70U);
    for (const json &row : rows)
        for (const char *column :
             {"key", "type", "range", "standard", "kind", "writers", "after", "meaning", "traps", "reads", "writes"})
            EXPECT_TRUE(row.contains(column)) << column;
}

// ---- check ----

TEST_F(Tcctl, CheckNamesFileLineAndSetting)
{
    write("bad.conf", "# one\nsys.sched.led.type=tiem\n");
    const std::string line =
        ":2: sys.sched.led.type=tiem: it is none of open|close|time; the LEDs are always off; meant: time\n";
    EXPECT_EQ(tcctl("check bad.conf"), (Outcome{1, "bad.conf" + line}));
    EXPECT_EQ(tcctl("check - < bad.conf"), (Outcome{1, "standard input" + line}));
    EXPECT_EQ(tcctl("check --quiet bad.conf"), (Outcome{1, ""}));
}

TEST_F(Tcctl, CheckOfGoodSettingsSaysNothing)
{
    write("good.conf", "sys.sched.led.type=open\n");
    EXPECT_EQ(tcctl("check good.conf"), (Outcome{0, ""}));
    EXPECT_EQ(tcctl("check --json good.conf"), (Outcome{0, "[]\n"}));
    write("empty.conf", "");
    EXPECT_EQ(tcctl("check empty.conf good.conf"), (Outcome{0, ""}));
}

TEST_F(Tcctl, CheckCountsFromALevel)
{
    write("note.conf", "other.program=1\n");
    EXPECT_EQ(tcctl("check --quiet note.conf").status, 1);
    EXPECT_EQ(tcctl("check --level warning note.conf"), (Outcome{0, ""}));
    write("warning.conf", "wans.flag=3\n");
    EXPECT_EQ(tcctl("check --quiet --level warning warning.conf").status, 1);
    EXPECT_EQ(tcctl("check --level error warning.conf"), (Outcome{0, ""}));
}

TEST_F(Tcctl, CheckAsJson)
{
    write("bad.conf", "wl2g.enable=\\xff\n");
    const Outcome outcome = tcctl("check --json bad.conf");
    EXPECT_EQ(outcome.status, 1);
    const json all = json::parse(outcome.output);
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0]["id"], "no-flag");
    EXPECT_EQ(all[0]["severity"], "error");
    EXPECT_EQ(all[0]["file"], "bad.conf");
    EXPECT_EQ(all[0]["line"], 1);
    EXPECT_EQ(all[0]["key"], "wl2g.enable");
    EXPECT_EQ(all[0]["value"], "\xef\xbf\xbd") << "what is no UTF-8 is replaced";
    for (const char *member : {"message", "effect", "suggestion"})
        EXPECT_TRUE(all[0][member].is_string()) << member;
}

TEST_F(Tcctl, CheckOfWhatCannotBeReadEndsWithTwo)
{
    EXPECT_EQ(tcctl("check missing.conf"),
              (Outcome{2, "tcctl: cannot open missing.conf: No such file or directory\n"}));
    EXPECT_EQ(tcctl("check ."), (Outcome{2, "tcctl: cannot read .: Is a directory\n"}));
    write("wrong.conf", "key=1\nnonsense\nkey=\\q\n");
    EXPECT_EQ(tcctl("check wrong.conf"),
              (Outcome{2, "tcctl: wrong.conf:2:9: the line has no '='\n"
                          "tcctl: wrong.conf:3:5: a backslash is followed by none of \\ n r t xHH\n"}));
    EXPECT_EQ(tcctl("check - <&-"), (Outcome{2, "tcctl: cannot read standard input: Bad file descriptor\n"}));
}

TEST_F(Tcctl, ATerminalIsShownNothingThatItObeys)
{
    write("bad.conf", "wl2g.enable=\\x1b[2J\\n\n");
    const Outcome outcome = tcctl("check bad.conf");
    EXPECT_EQ(outcome.output.find('\033'), std::string::npos);
    EXPECT_NE(outcome.output.find("wl2g.enable=\\x1b[2J\\n: "), std::string::npos) << outcome.output;
}

TEST_F(Tcctl, ASecretIsNotShown)
{
    write("bad.conf", "wl.wisp.pppoe_password=" + std::string(256, 's') + "\n");
    for (const char *words : {"check bad.conf", "check --json bad.conf"}) {
        const Outcome outcome = tcctl(words);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output.find("sss"), std::string::npos);
        EXPECT_NE(outcome.output.find("***"), std::string::npos);
    }
}

TEST_F(Tcctl, WithoutAFileTheRunningStoreIsChecked)
{
    ASSERT_EQ(cfm("set sys.sched.led.type Time").status, 0);
    ASSERT_EQ(cfm("set other.program 1").status, 0) << "which is its own";
    const Outcome outcome = tcctl("check --level warning");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.output.find("sys.sched.led.type=Time: it is none of"), std::string::npos) << outcome.output;
    EXPECT_EQ(outcome.output.find("other.program"), std::string::npos) << outcome.output;
    EXPECT_EQ(tcctl("check --whole --level error /dev/null"), (Outcome{0, ""}));
}

TEST_F(Tcctl, AStoreThatCannotBeReadEndsWithTwo)
{
    EXPECT_EQ(shell("TIME_CHECK_RUN_DIR=/nowhere/at/all '" TCCTL_PROGRAM "' check").status, 2);
}

} // namespace
