// platform/config_store.h
#include <cstring>

#include "platform/config_store.h"
#include "tests/contract/kit/kit.h"

static void missing_key()
{
    char value[8] = "before";
    EXPECT_NUMBER(GetValue("test.missing", value), 0);
    EXPECT_TEXT(value, "");
    strcpy(value, "before");
    EXPECT_NUMBER(GetValue("", value), 0);
    EXPECT_TEXT(value, "");
}

static void stored_value()
{
    char value[32];
    EXPECT_NUMBER(SetValue("test.key", "some value"), 1);
    EXPECT_NUMBER(GetValue("test.key", value), 1);
    EXPECT_TEXT(value, "some value");
}

static void empty_value()
{
    char value[8] = "before";
    EXPECT_NUMBER(SetValue("test.key", ""), 1);
    EXPECT_NUMBER(GetValue("test.key", value), 1);
    EXPECT_TEXT(value, "");
}

static void replaced_value()
{
    char value[32];
    EXPECT_NUMBER(SetValue("test.key", "a long first value"), 1);
    EXPECT_NUMBER(SetValue("test.key", "second"), 1);
    EXPECT_NUMBER(GetValue("test.key", value), 1);
    EXPECT_TEXT(value, "second");
    EXPECT_NUMBER(SetValue("test.key", "second"), 1);
}

static void whole_keys()
{
    char value[8];
    EXPECT_NUMBER(SetValue("test.key", "1"), 1);
    for (const char *other : {"test.ke", "test.keys", "Test.key"})
        EXPECT_NUMBER(GetValue(other, value), 0);
}

static void cut_value()
{
    char value[8];
    EXPECT_NUMBER(SetValue("test.key", "0123456789"), 1);
    EXPECT_NUMBER(GetValue("test.key", value), 1);
    EXPECT_TEXT(value, "0123456");
    EXPECT_NUMBER(SetValue("test.key", "7654321"), 1);
    EXPECT_NUMBER(GetValue("test.key", value), 1);
    EXPECT_TEXT(value, "7654321");
    char one[1] = {'#'};
    EXPECT_NUMBER(GetValue("test.key", one), 1);
    EXPECT_NUMBER(one[0], '\0');
}

static void bytes_behind_the_buffer()
{
    char value[8];
    for (const char *stored : {"0123456789", "01234", "0123", "012"}) {
        EXPECT_NUMBER(SetValue("test.key", stored), 1);
        memset(value, '#', sizeof value);
        EXPECT_NUMBER(GetValue("test.key", value, 4), 1);
        EXPECT(memcmp(value, "012\0####", sizeof value) == 0);
    }
}

// Every one but the end of a text.
static void fill_with_all_characters(char (&text)[256])
{
    for (int i = 0; i < 255; i++)
        text[i] = static_cast<char>(i + 1);
    text[255] = '\0';
}

static void any_character()
{
    char all[256];
    char value[512];
    fill_with_all_characters(all);
    EXPECT_NUMBER(SetValue("test.key", all), 1);
    EXPECT_NUMBER(GetValue("test.key", value), 1);
    EXPECT_TEXT(value, all);
}

static void other_process_sees()
{
    char value[32] = "";
    for (const char *stored : {"1", "2"}) {
        EXPECT_NUMBER(SetValue("test.key", stored), 1);
        WORLD(get_elsewhere, "test.key", value, sizeof value);
        EXPECT_TEXT(value, stored);
    }
}

static void value_of_another_process()
{
    char value[8];
    EXPECT_NUMBER(GetValue("test.key", value), 0);
    for (const char *stored : {"1", "2"}) {
        WORLD(set_elsewhere, "test.key", stored);
        EXPECT_NUMBER(GetValue("test.key", value), 1);
        EXPECT_TEXT(value, stored);
    }
}

static void committed_values()
{
    NEEDS_ENTRY(restart);
    char all[256];
    char value[512];
    fill_with_all_characters(all);
    EXPECT_NUMBER(SetValue("test.key", "kept"), 1);
    EXPECT_NUMBER(SetValue("test.all", all), 1);
    EXPECT(CommitCfm() != 0);
    WORLD(restart);
    EXPECT_NUMBER(GetValue("test.key", value), 1);
    EXPECT_TEXT(value, "kept");
    EXPECT_NUMBER(GetValue("test.all", value), 1);
    EXPECT_TEXT(value, all);
}

static void uncommitted_values()
{
    NEEDS_ENTRY(restart);
    char value[8];
    EXPECT_NUMBER(SetValue("test.key", "old"), 1);
    EXPECT(CommitCfm() != 0);
    EXPECT_NUMBER(SetValue("test.key", "new"), 1);
    EXPECT_NUMBER(SetValue("test.other", "1"), 1);
    WORLD(restart);
    EXPECT_NUMBER(GetValue("test.key", value), 1);
    EXPECT_TEXT(value, "old");
    EXPECT_NUMBER(GetValue("test.other", value), 0);
}

static void commit_of_others()
{
    NEEDS_ENTRY(restart);
    char value[8];
    WORLD(set_elsewhere, "test.key", "theirs");
    EXPECT(CommitCfm() != 0);
    WORLD(restart);
    EXPECT_NUMBER(GetValue("test.key", value), 1);
    EXPECT_TEXT(value, "theirs");
}

static void commit_without_a_change()
{
    EXPECT_NUMBER(SetValue("test.key", "1"), 1);
    EXPECT(CommitCfm() != 0);
    EXPECT(CommitCfm() != 0);
}

static constexpr const char *STORE = "config_store.h";

static constexpr kit_check CHECKS[] = {
    {STORE, "GetValue", "a missing key gives 0 and an empty value", missing_key},
    {STORE, "GetValue SetValue", "a stored value is read back", stored_value},
    {STORE, "GetValue SetValue", "an empty value is not missing", empty_value},
    {STORE, "GetValue SetValue", "a later value replaces an earlier one", replaced_value},
    {STORE, "GetValue", "keys are compared whole and with their case", whole_keys},
    {STORE, "GetValue", "a longer value is cut to the buffer, which is always terminated", cut_value},
    {STORE, "GetValue", "no byte behind the buffer is touched", bytes_behind_the_buffer},
    {STORE, "GetValue SetValue", "a value may hold any character", any_character},
    {STORE, "SetValue", "another process sees a value at once", other_process_sees},
    {STORE, "GetValue", "a value that another process set is seen at once", value_of_another_process},
    {STORE, "CommitCfm", "committed values outlive a power cut", committed_values},
    {STORE, "CommitCfm SetValue", "values that were not committed do not", uncommitted_values},
    {STORE, "CommitCfm", "a commit takes in what another process set", commit_of_others},
    {STORE, "CommitCfm", "a commit without a change succeeds", commit_without_a_change},
};

const kit_list store_checks = kit_list_of(CHECKS);
