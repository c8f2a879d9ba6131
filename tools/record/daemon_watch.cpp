#include "tools/record/daemon_watch.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <fmt/format.h>

#include "platform/config_keys.h"
#include "platform/config_store.h"

namespace record
{

namespace
{

constexpr micros EXACT = SECOND / 50;    // by which a pass may lie beside the line of the others
constexpr uint64_t PASSES_AT_MOST = 600; // that are not told: a power cut takes no more

// The hosts that a look asks for, as wan_surf_probe.cpp has them.
constexpr std::array<const char *, STATUS_HOSTS> HOSTS = {"www.google.com", "www.cloudflare.com", "www.wikipedia.org"};
constexpr std::array<const char *, STATUS_HOSTS> HOSTS_CN = {"www.baidu.com", "www.qq.com", "www.163.com"};

const std::array<const char *, STATUS_HOSTS> &hosts()
{
    char country[16];
    GetValue(KEY_WL2G_PUBLIC_COUNTRY, country);
    const std::string name = country;
    return name == "CN" || name == "cn" ? HOSTS_CN : HOSTS;
}

template <size_t Size>
std::string text_of(const char (&text)[Size])
{
    return {text, strnlen(text, Size)};
}

std::string moment(micros at)
{
    return replay::moment_text(at);
}

// The page's beat is at first the daemon's start, and then the end of its last pass.
micros beat_of(const scribe &out, const status_reading &read)
{
    return out.now().wall - micros{read.age_ms} * 1000;
}

// Whether a wired WAN has link and address, and since when.
struct line_state {
    bool is_known;
    bool is_up;
    micros since;
};

line_state line_of(const scribe &out, int number)
{
    const scribe::state *const name = out.known(kind::wan, std::to_string(number));
    const scribe::state *const link = out.known(kind::link, std::to_string(number));
    const scribe::state *const address = name == nullptr ? nullptr : out.known(kind::address, name->words[0]);
    if (link == nullptr || address == nullptr)
        return {.is_known = false, .is_up = false, .since = 0};
    const bool has_link = link->words[0] == "up";
    const bool has_address = address->words[0] != "-";
    if (has_link == has_address)
        return {.is_known = true,
                .is_up = has_link,
                .since = has_link ? std::max(link->since, address->since) : std::min(link->since, address->since)};
    return {.is_known = true, .is_up = false, .since = has_link ? address->since : link->since};
}

// A look at a WAN began about then, in the second that begins at `second`: behind what it has seen, and before what it
// has not.
micros seen_from(const scribe &out, const status_wan &wan, int number, micros second, micros about)
{
    const line_state line = line_of(out, number);
    if (line.is_known && line.is_up == (wan.address[0] != '\0'))
        return std::max(about, line.since);
    return line.is_known && line.since > second ? std::min(about, line.since - 1) : about;
}

} // namespace

// ---- the main loop ----

void pass_line::begin(micros at)
{
    told_ = last_ = {.ended = at, .number = 0};
}

void pass_line::tell(scribe &out, const pass &which)
{
    out.tell(kind::pass, {std::to_string(which.number), moment(which.ended)});
    told_ = which;
}

void pass_line::add(scribe &out, micros ended, uint64_t passes)
{
    const pass now = {.ended = ended, .number = last_.number + passes};
    const auto slope = [&](micros end, const pass &from) {
        return static_cast<double>(end - from.ended) / static_cast<double>(now.number - from.number);
    };
    const bool begins = told_.number == last_.number;
    const double here = slope(ended, told_);
    if (!begins && (here < least_slope_ || here > most_slope_ || now.number - told_.number > PASSES_AT_MOST)) {
        tell(out, last_);
        least_slope_ = slope(ended - EXACT, told_);
        most_slope_ = slope(ended + EXACT, told_);
    } else {
        least_slope_ = begins ? slope(ended - EXACT, told_) : std::max(least_slope_, slope(ended - EXACT, told_));
        most_slope_ = begins ? slope(ended + EXACT, told_) : std::min(most_slope_, slope(ended + EXACT, told_));
    }
    last_ = now;
}

void pass_line::finish(scribe &out)
{
    if (last_.number != told_.number)
        tell(out, last_);
}

// ---- the page ----

micros daemon_watch::next_pass() const
{
    return beat_ == 0 ? 0 : beat_ + SECOND;
}

void daemon_watch::look(scribe &out, const status_reading &read)
{
    if (!read.is_alive)
        return;
    look_at_passes(out, read.status.main, beat_of(out, read));
    look_at_wans(out, read.status.wans);
    look_at_gateway(out, read.status.main.gateway);
    programs_.clear();
    for (const status_watchdog *each : {&read.status.main.cpu, &read.status.main.daemon})
        for (const status_program &program : each->programs)
            if (program.name[0] != '\0')
                programs_[text_of(program.name)] = true;
}

void daemon_watch::look_at_start(scribe &out, const status_reading &read)
{
    if (!read.is_alive || (read.pid == pid_ && read.start == start_))
        return;
    const micros beat = beat_of(out, read);
    const micros second = out.now().wall - out.now().up + micros{read.start} * SECOND;
    passes_.finish(out);
    pid_ = read.pid;
    start_ = read.start;
    started_ = beat >= second && beat < second + SECOND ? beat : second + SECOND / 2;
    beat_ = 0;
    is_first_ = true;
    counted_ = {};
    wans_passes_ = 0;
    looks_next_ = 0;
    out.tell_at(started_, kind::daemon, {}, true);
    started_ = std::max(started_, out.last());
    passes_.begin(started_);
}

// How many passes have ended since the last one that was seen. A machine under load may have kept this program from
// looking for some of them; but samples of the quiet checks, of which each pass takes one, are numbered in the page.
uint64_t daemon_watch::passes_until(const status_main &page, micros beat, micros now)
{
    const std::array<uint32_t, 4> counts = {page.reboot.quiet.low, page.reboot.quiet.no_client, page.power.quiet.low,
                                            page.power.quiet.no_client};
    const auto *const counting = std::ranges::find_if(counts, [](uint32_t each) { return each != 0; });
    const int what = counting == counts.end() ? -1 : static_cast<int>(counting - counts.begin());
    const micros gap = beat - beat_;
    const micros away = now - looked_; // at the last look the pass before these had not ended
    const micros unseen = away > SECOND * 6 / 5 ? std::min(gap, away) : 0;
    const uint64_t passes = std::max<uint64_t>(static_cast<uint64_t>((unseen + SECOND / 5) / period_), 1);
    if (what >= 0 && what == counted_.what && *counting > counted_.value) {
        const uint64_t number = counted_.number + (*counting - counted_.value);
        return number > passes_.number() ? number - passes_.number() : 0;
    }
    if (passes == 1 && gap < SECOND * 3 / 2)
        period_ = std::max(SECOND, (period_ * 7 + gap) / 8);
    counted_ = {.what = what, .value = what < 0 ? 0 : *counting, .number = passes_.number() + passes};
    return passes;
}

void daemon_watch::look_at_passes(scribe &out, const status_main &page, micros beat)
{
    constexpr micros SHORTEST = SECOND * 9 / 10; // between the ends of two passes that have little to do
    constexpr micros LONGEST = SECOND * 4 / 3;
    constexpr micros SAME = SECOND * 3 / 10; // read at two moments, one beat is never quite the same
    const micros now = out.now().wall;
    const bool is_new = beat > beat_ + (is_first_ ? EXACT : SAME);
    if (beat_ != 0 && is_new) {
        const micros gap = beat - beat_;
        if (is_first_ && gap >= SHORTEST && gap <= LONGEST) // what was seen first was a pass, and not the start
            passes_.add(out, beat_, 1);
        is_first_ = false;
        if (const uint64_t passes = passes_until(page, beat, now); passes > 0)
            passes_.add(out, beat, passes);
    }
    if (beat_ == 0 || is_new)
        beat_ = beat;
    looked_ = now;
}

// ---- looks at the WANs ----

void daemon_watch::look_at_wans(scribe &out, const status_wans &wans)
{
    if (wans.passes == wans_passes_ || wans.num > STATUS_WANS)
        return;
    wans_passes_ = wans.passes;
    const uint64_t before = out.lines();
    for (int wan = 0; wan < static_cast<int>(wans.num); wan++)
        tell_answers(out, wans, wan);
    const status_wan &first = wans.wan[0];
    const micros begins = (first.looked - first.duration) * SECOND;
    const bool was_expected = looks_next_ >= begins && looks_next_ < begins + SECOND && first.duration == 0 &&
                              (wans.num < 2 || wans.wan[1].duration == 0);
    if (!was_expected || out.lines() != before)
        tell_looks(out, wans);
    const micros pause = wans.next * SECOND - wans.wan[std::max<uint32_t>(wans.num, 1) - 1].looked * SECOND;
    looks_next_ = (was_expected && out.lines() == before ? looks_next_ : looks_end_) + pause;
}

// A WAN that was not asked keeps what was found before.
void daemon_watch::tell_answers(scribe &out, const status_wans &wans, int number)
{
    const status_wan &wan = wans.wan[number];
    const bool is_asked = std::ranges::any_of(wan.answers, [](uint8_t each) { return each != STATUS_NOT_ASKED; });
    const bool names_fail = wan.names != STATUS_NAMES_WORK;
    const std::string interface = wans.mode == 0 ? text_of(wan.interface) : "";
    if (wans.mode == 0 && interface.empty())
        return;
    out.tell_state(kind::dns, {wan.names == STATUS_NO_ANSWER ? "down" : "up"}, 0);
    for (size_t i = 0; i < STATUS_HOSTS && wan.names != STATUS_NO_ANSWER; i++) {
        std::string address = text_of(wan.hosts[i]);
        if (names_fail) // to what is no host of the internet, or all to one
            address = wan.names == STATUS_NO_REAL_ANSWER ? "127.0.0.1" : "192.0.2.1";
        out.tell_state(kind::name, {hosts()[i], address}, 1);
        if (is_asked && !names_fail && wan.answers[i] != STATUS_NOT_ASKED && !address.empty())
            out.tell_state(kind::answers, {address, interface, wan.answers[i] == STATUS_ANSWERED ? "yes" : "no"}, 2);
    }
}

// The page tells whole seconds.
void daemon_watch::tell_looks(scribe &out, const status_wans &wans)
{
    const auto places = [&out, &wans](uint32_t i, micros second, micros about) {
        return wans.mode == 0 ? seen_from(out, wans.wan[i], static_cast<int>(i) + 1, second, about) : about;
    };
    const status_wan &first = wans.wan[0];
    const micros begins = (first.looked - first.duration) * SECOND;
    micros from = looks_next_ >= begins && looks_next_ < begins + SECOND ? looks_next_ : begins + SECOND / 2;
    if (looks_next_ == 0) // the first one comes behind commands
        from = begins + SECOND * 9 / 10;
    for (uint32_t i = 0; i < wans.num && (i == 0 || wans.wan[i - 1].duration == 0); i++)
        from = std::max(places(i, begins, from), started_);
    for (uint32_t i = 0; i < wans.num; i++) {
        const micros second = wans.wan[i].looked * SECOND;
        const bool is_last = i + 1 == wans.num;
        micros to = is_last ? std::clamp(out.now().wall, second, second + SECOND - 1)
                            : places(i + 1, second, second + SECOND / 2);
        to = std::min(std::max(from, to), out.now().wall);
        out.tell(kind::look, {std::to_string(i + 1), moment(std::min(from, to)), moment(to)});
        from = to;
    }
    looks_end_ = from;
}

// ---- the gateway of an access point ----

void daemon_watch::look_at_gateway(scribe &out, const status_gateway &gateway)
{
    const std::string address = text_of(gateway.address);
    if (!address.empty() && (gateway.answered != 0 || gateway.silent != 0))
        out.tell_state(kind::answers, {address, "", gateway.silent != 0 ? "no" : "yes"}, 2);
}

} // namespace record
