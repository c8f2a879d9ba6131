// What dhttpd reads of a request, and who is sent away of those who come and go. The input's first byte says which: a
// request is three lines, its address, its host and its languages.
#include <algorithm>
#include <set>
#include <string>

#include "router/dhttpd/crowd.h"
#include "router/dhttpd/request.h"
#include "tests/fuzz/expect.h"
#include "tests/fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace
{

void expect_harmless(const std::string &text)
{
    expect(text.find_first_of("<>\"'") == std::string::npos, "nothing of a request is markup");
    expect(std::all_of(text.begin(), text.end(), [](char c) { return (c >= ' ' && c < 0x7f) || c == '\n'; }),
           "nothing of a request is another character than it seems");
}

void read_request(std::string_view text)
{
    const auto line = [&text] {
        const std::string_view part = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), part.size() + 1));
        return part;
    };
    const std::string_view uri = line();
    const std::string_view host = line();
    dhttpd::language_of(line());
    expect_harmless(dhttpd::escaped(uri));
    const auto wanted = dhttpd::read_target(uri, host);
    if (!wanted)
        return;
    const std::string link = dhttpd::link_to(*wanted);
    expect_harmless(dhttpd::escaped(link));
    if (link.empty())
        return;
    expect(link.starts_with("http://") && link.size() <= 1000, "a link leads to a page");
    const auto again = dhttpd::read_target(link, "other.example");
    expect(again && dhttpd::link_to(*again) == link, "a link leads where it says");
}

void come_and_go(Input &input)
{
    dhttpd::crowd visitors({.all = 12, .of_one = 4, .longest = 1000});
    std::set<int> here;
    std::set<int> told;
    int64_t now = 0;
    for (int fd = 3; !input.ended(); now += input.byte()) {
        int goes = -1;
        if (input.byte() % 4 != 0) {
            here.insert(fd);
            goes = visitors.comes(fd++, {10, 0, 0, static_cast<uint8_t>(input.byte() % 5)}, now);
        } else if (!here.empty()) {
            told.erase(*here.begin());
            visitors.leaves(*here.begin());
            here.erase(here.begin());
        }
        for (; goes >= 0; goes = visitors.overdue(now))
            expect(here.contains(goes) && told.insert(goes).second, "who is here is sent away, once");
        expect(visitors.size() == here.size(), "who has come is here until he has left");
        expect(here.size() - told.size() <= 12, "there are no more than there may be");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input input(data, size);
    if (input.byte() % 2 == 0)
        read_request(std::string_view(reinterpret_cast<const char *>(data), size).substr(std::min<size_t>(size, 1)));
    else
        come_and_go(input);
    return 0;
}
