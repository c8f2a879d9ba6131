// What is wanted of the router and not done yet (decision 0194). Knows neither processes nor clocks: the caller says
// what the time is.
#ifndef ROUTER_NETCTRL_WANTED_H
#define ROUTER_NETCTRL_WANTED_H

#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "router/netctrl/message.h"

struct wish {
    request asked;
    int64_t due_ms;      // not to be tried before
    unsigned tries;      // that found the subject not up yet
    unsigned repeats;    // how often it was asked for again while it waited
    unsigned superseded; // how many waiting others it has made needless
    bool is_running = false;
};

// The wishes in the order in which they came, a list a subject. No wish is in a list twice but for the one that runs,
// so that a list is no longer than its subject has verbs.
struct wanted {
    std::map<std::string, std::list<wish>, std::less<>> subjects;
};

// Adds a request. Gives the messages of other wishes that it has made needless.
std::vector<std::string> want(wanted *all, request asked, int64_t now_ms);

// The next wish to be carried out: one that is due, of a subject for which nothing runs. None: there is none now.
// It runs from then on, until it is `over` or `not_yet`; it stays at its place in memory.
wish *begin_next(wanted *all, int64_t now_ms);

// The wish that runs was carried out, or could not be, and is forgotten.
void over(wanted *all, wish *running);

// The wish that runs found its subject not up yet: gives after how many ms it is due again, each time longer. None:
// what was asked for meanwhile has made it needless, and it is forgotten.
std::optional<int64_t> not_yet(wanted *all, wish *running, int64_t now_ms);

// When the next wish will be due that `begin_next` could give. None: without a new request or an end there is none.
std::optional<int64_t> next_due(const wanted &all);

// All wishes as text, for whoever comes after; and back: gives the lines that are none.
std::string text_of(const wanted &all);
std::vector<std::string> read_text(wanted *all, std::string_view text, int64_t now_ms);

#endif
