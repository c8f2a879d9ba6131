// Text helpers and settings files.
#include "platform/vos.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "tests/contract/contract_support.h"

namespace
{

TEST(VosStrcmp, ComparesAsStrcmpAndNullIsLeast)
{
    EXPECT_EQ(vos_strcmp("a", "a"), 0);
    EXPECT_LT(vos_strcmp("a", "b"), 0);
    EXPECT_GT(vos_strcmp("b", "a"), 0);
    EXPECT_EQ(vos_strcmp(nullptr, nullptr), 0);
    EXPECT_LT(vos_strcmp(nullptr, ""), 0);
    EXPECT_GT(vos_strcmp("", nullptr), 0);
}

std::string trimmed(std::string text)
{
    EXPECT_EQ(vos_str_trim(text.data()), text.data());
    return text.c_str();
}

TEST(VosStrTrim, RemovesBlanksFromBothEnds)
{
    EXPECT_EQ(trimmed("192.168.1.1"), "192.168.1.1");
    EXPECT_EQ(trimmed(" \t\r\n a b \t\r\n "), "a b");
    EXPECT_EQ(trimmed("   "), "");
    EXPECT_EQ(trimmed(""), "");
    EXPECT_EQ(vos_str_trim(nullptr), nullptr);
}

class SettingsFile : public testing::Test
{
protected:
    // The value of "gateway" in a file with this text, or "none".
    std::string gateway_in(const std::string &text) const
    {
        const std::string path = folder.path() / "lan.ini";
        write_text(path, text);
        char value[VOS_FILE_VALUE_SIZE + 1];
        memset(value, '~', sizeof value);
        const int result = vos_get_value_from_file(path.c_str(), "gateway", value);
        EXPECT_EQ(value[VOS_FILE_VALUE_SIZE], '~') << "overrun";
        if (result != 0) {
            EXPECT_STREQ(value, "");
        }
        return result == 0 ? value : "none";
    }

    TemporaryFolder folder;
};

TEST_F(SettingsFile, FirstLineWithTheKeyCounts)
{
    EXPECT_EQ(gateway_in("ip=10.0.0.9\ngateway=10.0.0.1\ngateway=10.0.0.2\n"), "10.0.0.1");
}

TEST_F(SettingsFile, BlanksAroundKeyAndValueAreNotPartOfThem)
{
    EXPECT_EQ(gateway_in("  gateway \t=  10.0.0.1 \r\n"), "10.0.0.1");
}

TEST_F(SettingsFile, LastLineMayLackItsEnd)
{
    EXPECT_EQ(gateway_in("ip=1\ngateway=10.0.0.1"), "10.0.0.1");
}

TEST_F(SettingsFile, KeyMustMatchWhole)
{
    EXPECT_EQ(gateway_in("gateway2=1\nmy gateway=2\ngate=3\nGATEWAY=4\n=5\ngateway\n\n"), "none");
    EXPECT_EQ(gateway_in(""), "none");
}

TEST_F(SettingsFile, ValueIsCutToTheBuffer)
{
    EXPECT_EQ(gateway_in("gateway=123.123.123.123\n"), "123.123.123.123");
    EXPECT_EQ(gateway_in("gateway=" + std::string(1000, '7') + "\n"), std::string(15, '7'));
    EXPECT_EQ(gateway_in("gateway=\n"), "");
    EXPECT_EQ(gateway_in("gateway=a=b\n"), "a=b");
}

TEST_F(SettingsFile, LinesOfAnyLengthAreReadOver)
{
    for (const size_t length : {510U, 511U, 512U, 513U, 1023U, 1024U, 100000U})
        EXPECT_EQ(gateway_in(std::string(length, 'x') + "\ngateway=10.0.0.1\n"), "10.0.0.1") << length;
    EXPECT_EQ(gateway_in(std::string(600, ' ') + "gateway=10.0.0.1\n"), "none") << "beyond what is read of a line";
}

TEST_F(SettingsFile, MissingFileGivesAnEmptyValue)
{
    char value[VOS_FILE_VALUE_SIZE] = "before";
    EXPECT_EQ(vos_get_value_from_file("/there/is/no/such/file", "gateway", value), -1);
    EXPECT_STREQ(value, "");
    EXPECT_EQ(vos_get_value_from_file("/", "gateway", value), -1);
}

} // namespace
