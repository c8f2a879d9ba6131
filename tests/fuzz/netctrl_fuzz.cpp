// What netctrl reads: messages of any text, between them programs that begin and end, and in the end a file of what is
// still wanted. The input's first byte says whether it is such a story or such a file.
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "router/netctrl/message.h"
#include "router/netctrl/wanted.h"
#include "tests/fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace
{

void expect(bool holds, const char *what)
{
    if (holds)
        return;
    fprintf(stderr, "does not hold: %s\n", what);
    abort();
}

// Nothing of the text but what the table allows may get into a program's environment.
void expect_plain(const request &asked)
{
    for (const std::string &variable : environment_of(asked))
        for (const char c : variable)
            expect((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                       std::string_view("_-=?,").find(c) != std::string_view::npos,
                   "a variable has harmless characters");
    const std::optional<request> again = read_message(asked.message);
    expect(again && again->what == asked.what && again->subject == asked.subject,
           "a message is read as it was written");
}

// Whether one runs for each subject, so that nothing can begin.
bool runs_all(const wanted &all)
{
    return std::ranges::all_of(all.subjects, [](const auto &subject) {
        return subject.second.empty() ||
               std::ranges::any_of(subject.second, [](const wish &each) { return each.is_running; });
    });
}

size_t length_of(const wanted &all)
{
    size_t length = 0;
    for (const auto &[subject, wishes] : all.subjects) {
        size_t running = 0;
        for (const wish &each : wishes)
            running += each.is_running ? 1 : 0;
        expect(running <= 1, "one runs for a subject");
        length += wishes.size();
    }
    return length;
}

void check(const wanted &all)
{
    expect(length_of(all) < 64, "what waits is bounded");
    expect(next_due(all).has_value() || length_of(all) == 0 || runs_all(all), "what waits is due at some time");
    wanted again;
    expect(read_text(&again, text_of(all), 0).empty(), "what is kept is understood");
    wanted third;
    read_text(&third, text_of(again), 0);
    expect(text_of(third) == text_of(again), "what is kept stays");
}

void ask(wanted *all, Input &input, int64_t now_ms)
{
    static const std::string TYPICAL[] = {"19?op=1,wl_rate=24", "19?op=2,wl_rate=24", "19?op=3,wl_rate=24",
                                          "52?op=15,wan_id=2",  "52?op=16,wan_id=2",  "53?op=1"};
    const std::string text = input.below(2) == 0 ? input.one_of(TYPICAL) : input.line(64);
    std::optional<request> asked = read_message(text);
    if (!asked)
        return;
    expect_plain(*asked);
    const std::string message = asked->message;
    want(all, std::move(*asked), now_ms);
    expect(text_of(*all).find(message) != std::string::npos, "what was asked for is wanted");
}

void live(Input &input)
{
    wanted all;
    std::vector<wish *> running;
    for (int64_t now_ms = 0; !input.ended(); now_ms += input.byte() * 100) {
        const unsigned act = input.below(4);
        if (act == 0) {
            if (wish *const begun = begin_next(&all, now_ms))
                running.push_back(begun);
        } else if (act == 1 && !running.empty()) {
            wish *const ended = running.back();
            running.pop_back();
            if (input.below(2) == 0)
                over(&all, ended);
            else
                not_yet(&all, ended, now_ms);
        } else {
            ask(&all, input, now_ms);
        }
        check(all);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input input(data, size);
    if (input.byte() % 2 == 0) {
        live(input);
        return 0;
    }
    wanted all;
    read_text(&all, input.rest(), 0);
    check(all);
    return 0;
}
