// cfm list, diff and export: which keys they show, and how.
#include <string>

#include <gtest/gtest.h>

#include "tests/contract/cfm_program.h"

namespace
{

// A setting, a secret, what is remembered, what is published, and another program's key.
class CfmList : public Cfm
{
protected:
    CfmList()
    {
        SetValue("wans.flag", "2");
        SetValue("wl.wisp.pppoe_password", "geheim");
        SetValue("reboot.flag", "1");
        SetValue("wan1_isonln", "1");
        SetValue("own.key", "mine");
    }
};

TEST_F(CfmList, ShowsSettingsOrStateAlone)
{
    EXPECT_EQ(output("list --settings"), "own.key=mine\nwans.flag=2\nwl.wisp.pppoe_password=***\n");
    EXPECT_EQ(output("list --state"), "reboot.flag=1\nwan1_isonln=1\n");
    EXPECT_EQ(output("list --state wan"), "wan1_isonln=1\n");
    EXPECT_EQ(output("list wan --settings"), "wans.flag=2\n");
    EXPECT_EQ(output("list --settings --state"), output("list"));
}

TEST_F(CfmList, HidesSecretsUnlessAskedForThem)
{
    EXPECT_EQ(output("list wl."), "wl.wisp.pppoe_password=***\n");
    EXPECT_EQ(output("list wl. --json"), "{\n  \"wl.wisp.pppoe_password\": \"***\"\n}\n");
    EXPECT_EQ(output("list wl. --secrets"), "wl.wisp.pppoe_password=geheim\n");
    EXPECT_EQ(output("list wl. --secrets --json"), "{\n  \"wl.wisp.pppoe_password\": \"geheim\"\n}\n");
    EXPECT_EQ(output("get wl.wisp.pppoe_password"), "geheim\n");
    SetValue("wl.wisp.pppoe_password", "");
    EXPECT_EQ(output("list wl."), "wl.wisp.pppoe_password=\n");
}

TEST_F(CfmList, ExportAndCommitAreExactWithoutWhatIsPublished)
{
    const std::string settings = "own.key=mine\nreboot.flag=1\nwans.flag=2\nwl.wisp.pppoe_password=geheim\n# end: 4 ";
    EXPECT_EQ(output("export").substr(0, settings.size()), settings);
    EXPECT_EQ(cfm("commit"), (Outcome{0, ""}));
    EXPECT_EQ(read_file(folders.committed()), output("export"));
}

TEST_F(CfmList, ShowsWhatIsNotAsItWasCommitted)
{
    EXPECT_EQ(output("list --changed --settings"), output("list --settings")) << "nothing was committed";
    EXPECT_EQ(output("list --changed"), "own.key=mine\nreboot.flag=1\nwans.flag=2\nwl.wisp.pppoe_password=***\n");
    ASSERT_EQ(cfm("commit"), (Outcome{0, ""}));
    EXPECT_EQ(cfm("list --changed"), (Outcome{0, ""}));
    SetValue("wans.flag", "1");
    SetValue("wan1_isonln", "0");
    SetValue("new", "x\ny");
    EXPECT_EQ(cfm("unset own.key"), (Outcome{0, ""}));
    EXPECT_EQ(cfm("list --changed"), (Outcome{0, "new=x\\ny\nwans.flag=1\n"}));
    EXPECT_EQ(cfm("list wan --changed --json"), (Outcome{0, "{\n  \"wans.flag\": \"1\"\n}\n"}));
}

TEST_F(CfmList, DiffTellsWhatIsNotAsItWasCommitted)
{
    EXPECT_EQ(cfm("diff"), (Outcome{1, "+own.key=mine\n+reboot.flag=1\n+wans.flag=2\n+wl.wisp.pppoe_password=***\n"}));
    ASSERT_EQ(cfm("commit"), (Outcome{0, ""}));
    EXPECT_EQ(cfm("diff"), (Outcome{0, ""}));
    SetValue("wan1_isonln", "0");
    EXPECT_EQ(cfm("diff"), (Outcome{0, ""})) << "what is published is not committed";
    SetValue("wans.flag", "1");
    SetValue("wl.wisp.pppoe_password", "other");
    SetValue("z", "a\\\n\xff");
    EXPECT_EQ(cfm("unset own.key"), (Outcome{0, ""}));
    EXPECT_EQ(cfm("diff"), (Outcome{1, "-own.key=mine\n-wans.flag=2\n+wans.flag=1\n-wl.wisp.pppoe_password=***\n"
                                       "+wl.wisp.pppoe_password=***\n+z=a\\\\\\n\\xff\n"}));
    EXPECT_NE(output("diff --secrets").find("-wl.wisp.pppoe_password=geheim\n+wl.wisp.pppoe_password=other\n"),
              std::string::npos);
}

TEST_F(CfmList, DiffEndsWithTwoWhenItCannotTell)
{
    ASSERT_EQ(cfm("commit"), (Outcome{0, ""}));
    std::filesystem::remove(folders.committed());
    std::filesystem::create_directory(folders.committed());
    const std::string why =
        "cfm: store: cannot read what is committed in " + folders.conf().string() + ": Is a directory\n";
    EXPECT_EQ(cfm("diff"), (Outcome{2, why}));
    EXPECT_EQ(cfm("list --changed"), (Outcome{1, why}));
    std::filesystem::remove(folders.committed());
    write_file(folders.committed(), "key=1\n# end: 1 settings, crc32 00000000\n");
    EXPECT_EQ(cfm("diff"),
              (Outcome{2, "cfm: store: " + folders.committed().string() + " is damaged: its checksum is wrong\n"}));
    std::filesystem::remove(folders.committed());
    EXPECT_EQ(cfm("diff >/dev/full"), (Outcome{2, "cfm: cannot write: No space left on device\n"}));
}

TEST_F(CfmList, DiffComparesWithThePreviousFileWhereTheCommittedIsDamaged)
{
    ASSERT_EQ(cfm("commit"), (Outcome{0, ""}));
    SetValue("wans.flag", "1");
    ASSERT_EQ(cfm("commit"), (Outcome{0, ""}));
    write_file(folders.committed(), "");
    EXPECT_EQ(cfm("diff 2>/dev/null"), (Outcome{1, "-wans.flag=2\n+wans.flag=1\n"}));
}

TEST_F(Cfm, ListsAnEmptyStoreAsAnEmptyObject)
{
    EXPECT_EQ(cfm("list --json"), (Outcome{0, "{}\n"}));
}

TEST_F(Cfm, JsonHoldsAnyBytes)
{
    SetValue("a", "\"\\/\n\t\r\x01\x7f");
    SetValue("b", "\xc3\xbc\xe2\x82\xac\xf0\x9f\x98\x80");
    SetValue("c", "\xc2\x85");                                              // a control of another kind
    SetValue("d", "\xff\xc0\xaf\xed\xa0\x80\xe2\x82 \xf5\x80\x80\x80\xc3"); // no UTF-8, each in its own way
    SetValue("e\\", "\\xff");
    SetValue("\xff", "");
    EXPECT_EQ(output("list --json"), "{\n"
                                     "  \"a\": \"\\\"\\\\/\\u000a\\u0009\\u000d\\u0001\\u007f\",\n"
                                     "  \"b\": \"\xc3\xbc\xe2\x82\xac\xf0\x9f\x98\x80\",\n"
                                     "  \"c\": \"\\u0085\",\n"
                                     "  \"d\": \"\\\\xff\\\\xc0\\\\xaf\\\\xed\\\\xa0\\\\x80\\\\xe2\\\\x82 "
                                     "\\\\xf5\\\\x80\\\\x80\\\\x80\\\\xc3\",\n"
                                     "  \"e\\\\\": \"\\\\xff\",\n"
                                     "  \"\\\\xff\": \"\"\n"
                                     "}\n");
    EXPECT_EQ(output("list --json | python3 -c 'import json, sys; print(len(json.load(sys.stdin)))'"), "6\n");
}

TEST_F(Cfm, JsonHoldsAllPairsOfBytes)
{
    std::string all;
    for (int first = 1; first < 256; first++)
        for (int second = 1; second < 256; second += 3)
            all.append({static_cast<char>(first), static_cast<char>(second)});
    for (size_t at = 0; at < all.size(); at += 30000)
        SetValue(("key" + std::to_string(at)).c_str(), all.substr(at, 30000).c_str());
    EXPECT_EQ(output("list --json | python3 -c 'import json, sys; print(len(json.load(sys.stdin)))'"), "2\n");
}

#if !defined __SANITIZE_ADDRESS__ && !defined __SANITIZE_THREAD__ // which need more of it than there is
TEST_F(Cfm, WithoutMemoryEndsWithALine)
{
    for (int i = 0; i < 12; i++)
        SetValue(("key" + std::to_string(i)).c_str(), std::string(60000, 'v').c_str());
    const Outcome whole = cfm("list");
    int short_of_memory = 0;
    int listed = 0;
    for (int kilobytes = 6000; kilobytes < 30000; kilobytes += 1000) {
        const Outcome outcome =
            cfm("--version >/dev/null; ulimit -v " + std::to_string(kilobytes) + "; timeout 60 '" CFM_PROGRAM "' list");
        short_of_memory += outcome == Outcome{1, "cfm: no memory is left\n"} ? 1 : 0;
        listed += outcome == whole ? 1 : 0;
        EXPECT_TRUE(outcome.status == 1 || outcome.status == 127 || outcome == whole) // 127: the loader's
            << kilobytes << ": " << outcome.status;
    }
    EXPECT_GT(short_of_memory, 0);
    EXPECT_GT(listed, 0);
}
#endif

} // namespace
