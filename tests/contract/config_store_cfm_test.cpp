// The program cfm, run as a shell runs it.
#include <algorithm>
#include <array>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <set>
#include <string>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "platform/config_store.h"
#include "platform/linux/bus.h"
#include "platform/linux/store/environment.h"
#include "tests/contract/cfm_program.h"

namespace
{

TEST_F(Cfm, SetsAndGets)
{
    EXPECT_EQ(cfm("set some.key 'a value'"), (Outcome{0, ""}));
    EXPECT_EQ(cfm("get some.key"), (Outcome{0, "a value\n"}));
    char value[16];
    EXPECT_EQ(GetValue("some.key", value), 1);
    EXPECT_STREQ(value, "a value");
}

TEST_F(Cfm, GetOfAMissingKeyFailsWithALine)
{
    EXPECT_EQ(cfm("get some.key"), (Outcome{1, "cfm: no key 'some.key'\n"}));
}

TEST_F(Cfm, TakesEveryWordAsAValue)
{
    for (const char *word : {"''", "-5", "--help", "--", "get", "[a,b]", "'\"x\"'", "'a b'", "{}", "a=b", "%%", "-h"}) {
        EXPECT_EQ(cfm(std::string("set key ") + word), (Outcome{0, ""}));
        EXPECT_EQ(output(std::string("get key; printf '%s\\n' ") + word), output("get key; '" CFM_PROGRAM "' get key"))
            << word;
    }
}

TEST_F(Cfm, PrintsLongestValueWhole)
{
    SetValue("key", std::string(65536, 'v').c_str());
    EXPECT_EQ(cfm("get key"), (Outcome{0, std::string(65536, 'v') + "\n"}));
}

TEST_F(Cfm, RefusesAKeyThatCannotBeOne)
{
    EXPECT_EQ(cfm("set a=b 1"), (Outcome{1, "cfm: store: 'a=b' is not set: a key cannot hold '='\n"}));
}

TEST_F(Cfm, UnsetsAKeyOnce)
{
    SetValue("key", "1");
    EXPECT_EQ(cfm("unset key"), (Outcome{0, ""}));
    EXPECT_EQ(cfm("unset key"), (Outcome{1, "cfm: no key 'key'\n"}));
}

TEST_F(Cfm, ListsByPrefix)
{
    SetValue("a.one", "1");
    SetValue("a.two", "x\ny");
    SetValue("b", "");
    EXPECT_EQ(cfm("list"), (Outcome{0, "a.one=1\na.two=x\\ny\nb=\n"}));
    EXPECT_EQ(cfm("list a."), (Outcome{0, "a.one=1\na.two=x\\ny\n"}));
    EXPECT_EQ(cfm("list c"), (Outcome{0, ""}));
}

TEST_F(Cfm, ImportsWhatItExports)
{
    SetValue("a", "\x01 \\ \n");
    SetValue("b", "2");
    const std::string file = (folders.run().parent_path() / "text").string();
    EXPECT_EQ(cfm("export >" + file), (Outcome{0, ""}));
    EXPECT_EQ(cfm("unset a"), (Outcome{0, ""}));
    EXPECT_EQ(cfm("import " + file), (Outcome{0, ""}));
    EXPECT_EQ(cfm("unset a"), (Outcome{0, ""}));
    EXPECT_EQ(cfm("import - <" + file), (Outcome{0, ""}));
    EXPECT_EQ(cfm("list"), (Outcome{0, "a=\\x01 \\\\ \\n\nb=2\n"}));
}

TEST_F(Cfm, ImportNamesBadLinesAndStoresNothing)
{
    write_file(folders.run().parent_path() / "text", "# comment\na=1\nbad\n=2\n");
    const std::string file = (folders.run().parent_path() / "text").string();
    EXPECT_EQ(cfm("import " + file), (Outcome{1, "cfm: store: " + file + ":3: the line has no '='\ncfm: store: " +
                                                     file + ":4: the key is empty\n"}));
    EXPECT_EQ(cfm("list"), (Outcome{0, ""}));
}

TEST_F(Cfm, ImportOfAMissingFileFails)
{
    EXPECT_EQ(cfm("import /nowhere/at/all"),
              (Outcome{1, "cfm: cannot open /nowhere/at/all: No such file or directory\n"}));
}

TEST_F(Cfm, CommitsForTheNextStart)
{
    EXPECT_EQ(cfm("set key 1"), (Outcome{0, ""}));
    EXPECT_EQ(cfm("commit"), (Outcome{0, ""}));
    EXPECT_EQ(cfm("set key 2"), (Outcome{0, ""}));
    folders.restart();
    EXPECT_EQ(cfm("get key 2>/dev/null"), (Outcome{0, "1\n"}));
}

TEST_F(Cfm, CommitThatFailsSaysWhy)
{
    setenv("TIME_CHECK_CONF_DIR", "/nowhere/at/all", 1);
    EXPECT_EQ(cfm("commit"), (Outcome{1, "cfm: store: not committed to /nowhere/at/all: No such file or directory; "
                                         "the running values stay\n"}));
}

TEST_F(Cfm, OutputThatCannotBeWrittenIsAnError)
{
    SetValue("key", "1");
    for (const char *command : {"get key", "list", "export"})
        EXPECT_EQ(cfm(std::string(command) + " >/dev/full"),
                  (Outcome{1, "cfm: cannot write: No space left on device\n"}));
}

// The numbers of the processes that have a place in the table of readers.
int add_line(const char *line, void *lines)
{
    static_cast<std::string *>(lines)->append(line);
    return 0;
}

TEST_F(Cfm, KeepsNoReadersPlaceWhileItsOutputIsNotRead)
{
    for (int i = 0; i < 4; i++)
        SetValue(("key" + std::to_string(i)).c_str(), std::string(60000, 'v').c_str());
    for (const std::string command : {"list", "export", "get key0"}) {
        int output[2]; // small before anything is in it: the kernel does not shrink a full one
        ASSERT_EQ(pipe(output), 0);
        ASSERT_NE(fcntl(output[1], F_SETPIPE_SZ, 4096), -1);
        ASSERT_EQ(fcntl(output[0], F_SETFD, FD_CLOEXEC), 0);
        FILE *program = popen(("'" CFM_PROGRAM "' " + command + " >&" + std::to_string(output[1])).c_str(), "w");
        ASSERT_NE(program, nullptr);
        close(output[1]);
        pollfd readable = {.fd = output[0], .events = POLLIN, .revents = 0};
        ASSERT_EQ(poll(&readable, 1, 60000), 1); // it prints, and cannot print all
        std::string readers;
        mdb_reader_list(store_environment(), add_line, &readers);
        EXPECT_LE(std::count(readers.begin(), readers.end(), '\n'), 2) << command << ":\n" << readers;
        close(output[0]);
        EXPECT_NE(pclose(program), -1);
    }
}

TEST_F(Cfm, ImportsTextsOfEightMebibytesAndNoLarger)
{
    const std::string file = (folders.run().parent_path() / "text").string();
    const std::string comment(8UL * 1024 * 1024 - 8, '#');
    write_file(file, "key=1\n" + comment + "\n\n");
    EXPECT_EQ(cfm("import " + file), (Outcome{0, ""}));
    write_file(file, "key=2\n" + comment + "\n\n\n");
    EXPECT_EQ(cfm("import " + file), (Outcome{1, "cfm: store: cannot read " + file + ": File too large\n"}));
    EXPECT_EQ(cfm("get key"), (Outcome{0, "1\n"}));
}

// What is opened first gets the lowest free number: the store's files would stand where the lines go.
TEST_F(Cfm, ClosedDescriptorsDoNotHurtTheStore)
{
    SetValue("key", "1");
    for (const std::string closed : {" <&- >&- 2>&-", " >&- 2>&-", " <&- 2>&-", " 2>&-", " <&-", " >&-"}) {
        EXPECT_EQ(cfm("get nokey" + closed).status, 1) << closed;
        EXPECT_EQ(cfm("list" + closed).status, closed.find(" >&-") == std::string::npos ? 0 : 1) << closed;
        EXPECT_EQ(cfm("set other 2" + closed).status, 0) << closed;
        EXPECT_EQ(cfm("get key"), (Outcome{0, "1\n"})) << closed;
        EXPECT_EQ(cfm("commit"), (Outcome{0, ""})) << closed;
    }
}

TEST_F(Cfm, OutputToAClosedDescriptorIsAnError)
{
    SetValue("key", "1");
    for (const char *command : {"get key", "list", "export"})
        EXPECT_EQ(cfm(std::string(command) + " >&-"), (Outcome{1, "cfm: cannot write: Bad file descriptor\n"}));
    for (const char *command : {"--help", "get --help", "--version", "listen somebody"})
        EXPECT_EQ(cfm(std::string(command) + " >&-").status, 1) << command;
    EXPECT_EQ(cfm("import - <&-"), (Outcome{1, "cfm: store: cannot read standard input: Bad file descriptor\n"}));
}

TEST_F(Cfm, PostToANameThatNobodyHoldsFailsWithTheReason)
{
    EXPECT_EQ(cfm("post netctrl 19?op=2,wl_rate=24"), (Outcome{1, "cfm: netctrl: no process holds the name\n"}));
}

TEST_F(Cfm, PostsToTheHolder)
{
    bus_end end = {};
    ASSERT_EQ(bus_open("netctrl", &end), BUS_DONE);
    EXPECT_EQ(cfm("post netctrl 19?op=2,wl_rate=24"), (Outcome{0, ""}));
    EXPECT_EQ(cfm("post netctrl -x"), (Outcome{0, ""}));
    bus_message message;
    ASSERT_EQ(bus_receive(&end, &message), BUS_DONE);
    EXPECT_STREQ(message.text, "19?op=2,wl_rate=24");
    ASSERT_EQ(bus_receive(&end, &message), BUS_DONE);
    EXPECT_STREQ(message.text, "-x");
    bus_close(&end);
}

TEST_F(Cfm, ListensAndPrintsALineAMessage)
{
    FILE *listener = popen("exec '" CFM_PROGRAM "' listen somebody", "r");
    ASSERT_NE(listener, nullptr);
    while (bus_post("somebody", "first\nsecond") == BUS_NO_HOLDER) {
    }
    std::array<char, 256> line = {};
    ASSERT_NE(fgets(line.data(), line.size(), listener), nullptr);
    EXPECT_NE(std::string(line.data()).find("]: first\\nsecond\n"), std::string::npos) << line.data();
    EXPECT_EQ(cfm("listen somebody").status, 1) << "the name is held";
    EXPECT_EQ(WEXITSTATUS(pclose(listener)), 1) << "it ends when nobody reads it any more";
}

TEST_F(Cfm, SaysHowItIsCalled)
{
    EXPECT_EQ(cfm("--version").status, 0);
    EXPECT_EQ(output("--version").substr(0, 4), "cfm ");
    for (const char *command :
         {"get", "set", "unset", "list", "diff", "import", "export", "commit", "watch", "wait", "post", "listen"}) {
        EXPECT_NE(output("--help").find(std::string("\n  ") + command + " "), std::string::npos) << command;
        EXPECT_EQ(cfm(std::string(command) + " --help").status, 0);
    }
}

TEST_F(Cfm, CallThatMakesNoSenseEndsWithTwo)
{
    for (const char *words : {"", "get", "set key", "set a=b c=d e", "set", "set --apply", "get one two", "unset",
                              "frobnicate", "export more", "--frobnicate", "diff more", "wait", "wait key", "wait =1",
                              "wait key=1 --timeout -1", "wait key=1 --timeout soon"})
        EXPECT_EQ(cfm(words).status, 2) << words;
}

TEST_F(Cfm, CallThatMakesNoSenseIsToldWhatIsWrongWithIt)
{
    const std::string help = "\nRun with --help for more information.\n";
    for (const auto &[words, why] :
         {std::pair{"", "A subcommand is required"},
          {"--frobnicate", "A subcommand is required"},
          {"get", "KEY is required"},
          {"get -x", "KEY is required"},
          {"post name", "TEXT is required"},
          {"get one two", "The following argument was not expected: two"},
          {"get one two three", "The following arguments were not expected: two three"},
          {"get one list", "The following argument was not expected: list"},
          {"get one -- --help", "The following argument was not expected: --help"},
          {"list --frob", "The following argument was not expected: --frob"},
          {"list --jso", "The following argument was not expected: --jso"},
          {"list --json=1", "The following argument was not expected: --json=1"},
          {"--json list", "The following argument was not expected: --json"},
          {"wait a=b --timeout", "--timeout: 1 required SECONDS missing"},
          {"wait a=b --timeout 1s", "Could not convert: --timeout = 1s"},
          {"wait a=b --timeout=", "Could not convert: --timeout = "},
          {"wait a=b --timeout 1 --timeout 2", "--timeout: At Most 1 required but received 2"}})
        EXPECT_EQ(cfm(words), (Outcome{2, why + help})) << words;
}

TEST_F(Cfm, TakesOptionsInAnyPlace)
{
    SetValue("-key", "1");
    EXPECT_EQ(cfm("get -- -key"), (Outcome{0, "1\n"}));
    EXPECT_EQ(cfm("list --json -- -k"), (Outcome{0, "{\n  \"-key\": \"1\"\n}\n"}));
    EXPECT_EQ(output("list other --json"), output("list --json other"));
    EXPECT_EQ(cfm("wait --timeout=0 other=").status, 0);
    EXPECT_EQ(cfm("wait --timeout 0x1p-4 other=x").status, 1);
    for (const char *words : {"get --help", "get -h", "get -h more than it takes", "get key --help", "--help get"})
        EXPECT_EQ(output(words).substr(0, 52), "print the value of KEY\nUsage: cfm get [OPTIONS] KEY\n");
    EXPECT_EQ(output("--version get key").substr(0, 4), "cfm ");
    EXPECT_EQ(output("list --help"),
              "print the keys that begin with PREFIX, and their values\n"
              "Usage: cfm list [OPTIONS] [PREFIX]\n\nPositionals:\n  PREFIX TEXT\n\nOptions:\n"
              "  -h,--help                   Print this help message and exit\n"
              "  --json                      as one JSON object\n"
              "  --settings                  only what is set\n"
              "  --state                     only what tells how the router is doing, or what it "
              "remembers\n"
              "  --changed                   only what differs from the committed settings\n"
              "  --secrets                   show secrets instead of ***\n\n");
}

} // namespace
