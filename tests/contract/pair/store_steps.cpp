// The store, and what the ground reads of it.
#include <cstring>
#include <vector>

#include "platform/config_store.h"
#include "platform/network.h"
#include "platform/system.h"
#include "tests/contract/pair/ground_steps.h"

namespace pair
{
namespace
{

std::string some_key(Random &random)
{
    if (!random.one_in(8))
        return random.pick({"test.a", "test.b", "a", "sys.mode", "wan1.connecttype", "wan2.connecttype",
                            "wan1_internet", "key with blank"});
    if (random.one_in(4))
        return std::string(static_cast<size_t>(510 + random.below(3)), 'k');
    return random.pick({"", "#a", "a#", "a=b", "=", "a\nb", "a\tb", "a\x7f", "a\x1f", " ", " a", "a ", "\xc3\xa4",
                        "\x80", "%s", "\\n", "'"});
}

std::string some_value(Random &random)
{
    static const std::vector<size_t> LENGTHS = {4095, 4096, 65535, 65536, 65537};
    if (random.one_in(3))
        return random.pick({"", "0", "1", "3", "5", "6", "-1", " 2", "2x", "x", "2147483647", "2147483648",
                            "-2147483649", "99999999999999999999", "+4", "0x3", "\t\n1"});
    if (random.one_in(25))
        return std::string(random.pick(LENGTHS), 'v');
    std::string text = some_text(random, 30);
    std::erase(text, '\0');
    return text;
}

Words get_words(Random &random)
{
    const std::string key = some_key(random);
    return {key, std::to_string(random.one_in(3) ? 1 + random.below(4) : 1 + random.below(70000))};
}

Words set_words(Random &random)
{
    const std::string key = some_key(random);
    return {key, some_value(random)};
}

Words wan_words(Random &random)
{
    return {std::to_string(random.below(5) - 1)};
}

// Long values by their length and a sum.
void answer_value(const char *value, Answer &answer)
{
    const size_t length = strlen(value);
    unsigned sum = 0;
    for (size_t i = 0; i < length; i++)
        sum = sum * 31 + static_cast<unsigned char>(value[i]);
    if (length < 60)
        return answer.text(value);
    answer.number(static_cast<long long>(length));
    answer.number(sum);
}

void run_get(const Words &words, Answer &answer)
{
    static char value[70001];
    memset(value, '#', sizeof value);
    const auto size = static_cast<size_t>(number_of(words[1]));
    answer.number(GetValue(words[0].c_str(), value, size));
    answer.number(value[size] == '#');
    answer_value(value, answer);
}

void run_set(const Words &words, Answer &answer)
{
    answer.number(SetValue(words[0].c_str(), words[1].c_str()));
}

void run_commit(const Words & /*words*/, Answer &answer)
{
    answer.number(CommitCfm() != 0);
}

void run_restart(const Words & /*words*/, Answer &answer)
{
    restart_store();
    answer.number(0);
}

void run_mode(const Words & /*words*/, Answer &answer)
{
    answer.number(get_sys_mode());
}

void run_type(const Words &words, Answer &answer)
{
    answer.number(getWanConnType(number_of(words[0])));
}

} // namespace

const Family store = {.name = "store",
                      .steps = {{"get", "GetValue", 20, get_words, run_get},
                                {"set", "SetValue", 20, set_words, run_set},
                                {"commit", "CommitCfm", 3, no_words, run_commit},
                                {"restart", "", 2, no_words, run_restart},
                                {"mode", "get_sys_mode", 4, no_words, run_mode},
                                {"type", "getWanConnType", 4, wan_words, run_type}},
                      .longest = 40,
                      .in_own_process = false,
                      .begin = begin_ground,
                      .end = nullptr};

} // namespace pair
