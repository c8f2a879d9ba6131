// Names and their addresses. libc asks a name server of this test's, the only one of the resolver file.
#include <arpa/inet.h>
#include <netdb.h>

#include "tests/contract/pair/libc_steps.h"

namespace pair
{
namespace
{

std::string usual_name(Random &random)
{
    return random.pick({"a.example", "b.example.org", "host-1.example", "plain"});
}

Words resolve_words(Random &random)
{
    static const std::string label(63, 'n');
    if (random.one_in(2))
        return {usual_name(random)};
    if (random.one_in(10))
        return {random.pick(std::vector<std::string>{label + ".example", label + "n.example", std::string(300, 'x')})};
    return {random.pick({"A.Example",  "a.example.",  "plain.",      "192.0.2.7",  "10.0.0.1",    "255.255.255.255",
                         "0.0.0.0",    "256.1.1.1",   "1.2.3",       "1.2",        "1",           "0x7f.1",
                         "0x7f000001", "010.0.0.1",   "1.2.3.4.",    "1.2.3.4.5",  " 1.2.3.4",    "1.2.3.4 ",
                         "1.2.3.4 x",  "4294967295",  "4294967296",  "",           ".",           "a..example",
                         "-a.example", "a_b.example", "a b.example", ".a.example", "a.example..", "1.2.3.x",
                         "127.0.0.1a"})};
}

Words known_words(Random &random)
{
    const std::string name = usual_name(random);
    return {name, "192.0.2." + std::to_string(random.below(250))};
}

Words unknown_words(Random &random)
{
    return {usual_name(random)};
}

Words up_words(Random &random)
{
    return {std::to_string(random.below(2))};
}

void run_known(const Words &words, Answer &answer)
{
    tell_name(words[0], words[1]);
    answer.number(0);
}

void run_unknown(const Words &words, Answer &answer)
{
    tell_name(words[0], "");
    answer.number(0);
}

void run_server(const Words &words, Answer &answer)
{
    tell_name_server(number_of(words[0]) != 0);
    answer.number(0);
}

void run_resolve(const Words &words, Answer &answer)
{
    h_errno = 0;
    const hostent *const found = libc.gethostbyname(words[0].c_str());
    if (found == nullptr) {
        return answer.word(h_errno == TRY_AGAIN ? "later" : "never"); // of what never comes libc knows two kinds
    }
    answer.text(found->h_name);
    answer.number(found->h_addrtype);
    answer.number(found->h_length);
    answer.number(found->h_aliases[0] != nullptr);
    char text[INET_ADDRSTRLEN];
    for (char *const *each = found->h_addr_list; *each != nullptr; each++)
        answer.word(inet_ntop(AF_INET, *each, text, sizeof text));
}

} // namespace

const Family names = {.name = "names",
                      .steps = {{"resolve", "gethostbyname", 6, resolve_words, run_resolve},
                                {"known", "", 2, known_words, run_known},
                                {"unknown", "", 1, unknown_words, run_unknown},
                                {"server", "", 1, up_words, run_server}},
                      .longest = 15,
                      .in_own_process = false,
                      .begin = begin_libc,
                      .end = nullptr};

} // namespace pair
