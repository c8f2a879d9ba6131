// Texts and settings files.
#include <cstring>
#include <ctime>

#include "platform/system.h"
#include "platform/vos.h"
#include "tests/contract/pair/ground_steps.h"

namespace pair
{
namespace
{

constexpr const char *FILE_PATH = "/tmp/settings.ini";

Words time_words(Random &random)
{
    std::string text;
    for (int i = random.below(5); i > 0; i--)
        text += random.pick({"Sun", "Mon", "Fri", "Sat", "Mon..Fri", "Fri..Mon", ",", "..", "mon", "Su"});
    text += random.pick({" ", "", "  ", ",", "\t"});
    text += random.pick({"00", "7", "23", "24", "06", "", "123", "-1"});
    text += random.pick({":", ":", ":", "", " ", "::"});
    text += random.pick({"00", "5", "59", "60", "", "5x", "05 ", "007"});
    return {text};
}

Words text_words(Random &random)
{
    std::string text = some_text(random, 30);
    for (int i = random.below(3); i > 0; i--)
        text = random.pick({" ", "\t", "\n", "\r"}) + text + random.pick({" ", "\t", "\n", "\r", "\v"});
    std::erase(text, '\0');
    return {text};
}

Words two_texts(Random &random)
{
    const std::string left = random.pick({"", "a", "b", "ab", "\xff", "null"});
    return {left, random.pick({"", "a", "b", "ab", "\xff", "null"})};
}

// A settings file: lines of some shape, few of them right.
Words file_words(Random &random)
{
    std::string text;
    for (int i = random.below(8); i > 0; i--) {
        text += random.pick({"", " ", "\t", "#"});
        text += random.pick({"ip", "gateway", "ip ", "ipx", "", "="});
        text += random.pick({"=", "=", "= ", " = ", "", "=="});
        std::string value = some_text(random, random.one_in(6) ? 700 : 18);
        text += value;
        text += random.pick({"\n", "\n", "\r\n", "", "\n\n"});
    }
    return {text};
}

Words key_words(Random &random)
{
    return {random.pick({"ip", "gateway", "", "i", "ip ", "absent"})};
}

void run_utc2tm(const Words &words, Answer &answer)
{
    tm out = {};
    out.tm_hour = out.tm_min = out.tm_wday = 77;
    answer.number(utc2tm(words[0].c_str(), &out));
    for (const int field : {out.tm_hour, out.tm_min, out.tm_wday, out.tm_year})
        answer.number(field);
}

void run_trim(const Words &words, Answer &answer)
{
    std::string text = words[0];
    char *const trimmed = vos_str_trim(text.data());
    answer.number(trimmed == text.data());
    answer.text(trimmed);
}

const char *or_null(const std::string &text)
{
    return text == "null" ? nullptr : text.c_str();
}

void run_compare(const Words &words, Answer &answer)
{
    const int result = vos_strcmp(or_null(words[0]), or_null(words[1]));
    answer.number((result > 0) - (result < 0));
}

void run_file(const Words &words, Answer &answer)
{
    put_file(FILE_PATH, words[0]);
    answer.number(0);
}

void run_take(const Words & /*words*/, Answer &answer)
{
    take_file(FILE_PATH);
    answer.number(0);
}

void run_value(const Words &words, Answer &answer)
{
    char value[VOS_FILE_VALUE_SIZE + 1];
    memset(value, '#', sizeof value);
    answer.number(vos_get_value_from_file(FILE_PATH, words[0].c_str(), value));
    answer.number(value[VOS_FILE_VALUE_SIZE] == '#');
    answer.text(value);
}

void begin_texts()
{
    begin_ground();
    take_file(FILE_PATH);
}

} // namespace

const Family texts = {.name = "texts",
                      .steps = {{"utc2tm", "utc2tm", 5, time_words, run_utc2tm},
                                {"trim", "vos_str_trim", 3, text_words, run_trim},
                                {"compare", "vos_strcmp", 2, two_texts, run_compare},
                                {"file", "", 4, file_words, run_file},
                                {"take", "", 1, no_words, run_take},
                                {"value", "vos_get_value_from_file", 10, key_words, run_value}},
                      .longest = 30,
                      .in_own_process = false,
                      .begin = begin_texts,
                      .end = nullptr};

} // namespace pair
