// Which verb a message asks for.
#include <algorithm>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include <gmock/gmock.h>

#include "router/netctrl/message.h"

namespace
{

using testing::ElementsAre;

const std::string ON = "19?op=1,wl_rate=24";
const std::string GUEST_ANEW = "19?op=3,wl_rate=24,index=1";

std::string verb_of(std::string_view text)
{
    const std::optional<request> asked = read_message(text);
    return asked ? std::string(asked->what->name) : "none";
}

TEST(NetctrlMessage, IsToldApartByModuleOpAndArguments)
{
    EXPECT_EQ(verb_of(ON), "wifi-start");
    EXPECT_EQ(verb_of("19?op=3,wl_rate=5"), "wifi-restart");
    EXPECT_EQ(verb_of(GUEST_ANEW), "guest-restart");
    EXPECT_EQ(verb_of("52?op=16,wan_id=2"), "wan-offline");
    EXPECT_EQ(verb_of("35?op=9,string_info=dhcp_up"), "upstream-lost");
}

TEST(NetctrlMessage, OfAnotherOrderIsTheSame)
{
    const std::optional<request> asked = read_message("19?index=1,wl_rate=24,op=3");
    ASSERT_TRUE(asked);
    EXPECT_EQ(asked->message, GUEST_ANEW);
}

TEST(NetctrlMessage, WithMoreLessOrOtherArgumentsIsUnknown)
{
    for (const char *text : {"19?op=1", "19?op=1,wl_rate=25", "19?op=1,wl_rate=24,index=1", "19?op=1,wl_rate=24,more=1",
                             "52?op=15,wan_id=", "52?op=15,wan_id=9", "52?op=15,wan_id=1;reboot", "35?op=9"})
        EXPECT_EQ(verb_of(text), "none") << text;
}

TEST(NetctrlMessage, ThatIsNoneIsUnknown)
{
    for (const char *text : {"", "?", "19", "19?", "19?op", "19?op=", "19?op=1x,wl_rate=24", "x19?op=9", " 19?op=9",
                             "19?op=9 ", "99999999999999999999?op=9", "19?op=9?op=9", "19?,op=9", "op=9"})
        EXPECT_EQ(verb_of(text), "none") << text;
}

TEST(NetctrlMessage, GivesItsProgramVariables)
{
    EXPECT_THAT(environment_of(read_message(GUEST_ANEW).value()),
                ElementsAre("TC_VERB=guest-restart", "TC_MESSAGE=" + GUEST_ANEW, "TC_SUBJECT=wifi-24", "TC_INDEX=1",
                            "TC_WL_RATE=24"));
}

TEST(NetctrlVerbs, OfEachMessageThatARowStandsForAreTheRows)
{
    for (const verb &verb : all_verbs())
        for (const std::string &message : messages_of(verb)) {
            EXPECT_EQ(verb_of(message), verb.name) << message;
            EXPECT_EQ(read_message(message).value().message, message);
        }
}

TEST(NetctrlVerbs, AreSupersededByVerbsOfTheirOwnSubjectThatThereAre)
{
    for (const verb &later : all_verbs()) {
        std::istringstream names{std::string(later.supersedes)};
        for (std::string name; names >> name;) {
            const auto all = all_verbs();
            const auto earlier =
                std::find_if(all.begin(), all.end(), [&](const verb &each) { return each.name == name; });
            ASSERT_NE(earlier, all.end()) << name;
            EXPECT_EQ(earlier->subject, later.subject) << name;
        }
    }
}

// The texts in the document's table of what the daemon sends, each number N and M that stands for several as 1.
std::set<std::string> documented_messages()
{
    std::ifstream file(PROJECT_FOLDER "/docs/messages.md");
    std::set<std::string> messages;
    bool is_there = false;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("## "))
            is_there = line == "## What the daemon sends";
        if (!is_there || !line.starts_with("| `"))
            continue;
        const std::string cell = line.substr(0, line.find('|', 1));
        const std::regex text("`([^`]*)`");
        for (std::sregex_iterator each(cell.begin(), cell.end(), text), end; each != end; ++each)
            messages.insert(std::regex_replace((*each)[1].str(), std::regex("=N\\b"), "=1"));
    }
    return messages;
}

TEST(NetctrlVerbs, AreOneForEachMessageThatTheDaemonIsDocumentedToSend)
{
    const std::set<std::string> documented = documented_messages();
    ASSERT_GT(documented.size(), 10U);
    std::set<std::string> answered;
    for (const std::string &message : documented) {
        EXPECT_NE(verb_of(message), "none") << message;
        answered.insert(verb_of(message));
    }
    for (const verb &verb : all_verbs())
        EXPECT_TRUE(answered.contains(std::string(verb.name))) << verb.name << " is not in docs/messages.md";
}

} // namespace
