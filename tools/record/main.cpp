// tcctl-record: what tcctl record starts. Writes what happens around this router, as a trace that tcctl replay goes
// through again (docs/traces.md, decision 0183).
//
// Ends with 0 when its time is over or a signal ends it, or with 2 and a line that says why there is no trace.
#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <memory>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "platform/linux/bus.h"
#include "platform/linux/bus_copy.h"
#include "platform/linux/run_directory.h"
#include "platform/linux/store/admin.h"
#include "tools/command_line.h"
#include "tools/record/daemon_watch.h"
#include "tools/record/masked.h"
#include "tools/record/processes.h"
#include "tools/record/scribe.h"
#include "tools/record/settings_watch.h"
#include "tools/record/world.h"
#include "tools/tcctl/command.h"
#include "tools/tcctl/output.h"
#include "tools/tcctl/page.h"

namespace
{

using record::kind;
using record::micros;
using record::SECOND;
using refused = std::runtime_error;

constexpr micros LOOK_PERIOD = SECOND / 4; // at the page and the store's number, both nearly free
constexpr micros AHEAD = SECOND / 20;      // of the daemon's own look a second's is taken

volatile std::sig_atomic_t is_to_end = 0;

void ask_to_end(int /*signal*/)
{
    is_to_end = 1;
}

int fail(std::string_view why)
{
    fmt::print(stderr, "tcctl record: {}\n", tcctl::shown(why));
    return tcctl::CANNOT;
}

// ---- the file ----

// The moment of a trace's last line; none for an empty or missing file.
std::optional<micros> end_of(const std::string &path)
{
    std::string text;
    if (!record::read_whole(path, text) || text.empty())
        return std::nullopt;
    if (!text.starts_with(replay::head()))
        throw refused(fmt::format("{} is no trace to go on with", path));
    micros last = 0;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        last = replay::read_moment(line.substr(0, line.find(' '))).value_or(last);
        if (const size_t clock = line.find(" clock "); clock != std::string::npos)
            last = replay::read_moment(line.substr(clock + 7)).value_or(last);
        begin = end + 1;
    }
    return last;
}

struct file_closer {
    void operator()(FILE *file) const
    {
        if (file != stdout)
            std::fclose(file);
    }
};
using file_holder = std::unique_ptr<FILE, file_closer>;

// Nobody else may read it: it tells of a household.
file_holder open_output(const std::string &path, bool goes_on)
{
    if (path.empty())
        return file_holder(stdout);
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (goes_on ? O_APPEND : O_TRUNC), 0600);
    FILE *const file = fd < 0 ? nullptr : fdopen(fd, "w");
    if (file == nullptr)
        throw refused(fmt::format("cannot write {}: {}", path, std::strerror(errno)));
    return file_holder(file);
}

// ---- the options ----

struct options {
    std::string output;
    std::string length;
    bool appends = false;
};

// "90", "90s", "15m", "2h" or "1d"; forever when nothing is given.
micros length_of(const std::string &text)
{
    constexpr std::string_view UNITS = "smhd";
    constexpr std::array<int64_t, 4> SECONDS = {1, 60, 3600, 86400};
    if (text.empty())
        return replay::LENGTH_MAX;
    int64_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const std::string_view unit(stop, text.data() + text.size());
    const size_t which = unit.empty() ? 0 : UNITS.find(unit);
    const bool is_good = error == std::errc() && unit.size() <= 1 && which != std::string_view::npos && number > 0 &&
                         number <= replay::LENGTH_MAX / SECOND / SECONDS.at(which);
    if (!is_good)
        throw refused(fmt::format("--for: no length of time such as 90, 15m, 2h or 1d: {}", text));
    return number * SECONDS.at(which) * SECOND;
}

// ---- recording ----

class recorder
{
public:
    explicit recorder(record::scribe &out) : out_(out), settings_(hides_), world_(hides_), processes_(hides_)
    {
        const bus_result taken = bus_open((std::string("time_check") + BUS_RECORDER).c_str(), &messages_);
        if (taken == BUS_HELD)
            throw refused("another tcctl record runs on this router");
        if (taken != BUS_DONE)
            throw refused(fmt::format("cannot listen to messages: {}", bus_result_text(taken)));
    }
    ~recorder()
    {
        bus_close(&messages_);
    }
    recorder(const recorder &) = delete;
    recorder &operator=(const recorder &) = delete;

    void begin()
    {
        out_.tell(kind::answer_time, {"0", "0"}); // looks tell how long they took
        if (!settings_.begin(out_))
            throw refused("the store cannot be read");
        sample();
        look();
    }
    // Until the time is over, the trace cannot be written, or a signal comes. False: it cannot be written.
    bool go_on(micros length)
    {
        const micros ends = out_.now().up + length;
        while (is_to_end == 0 && out_.now().up < ends) {
            if (!out_.flush())
                return false;
            wait_for_more(std::min(ends, next_look()));
            out_.now(record::read_clocks());
            look();
        }
        daemon_.end(out_);
        out_.tell(kind::end, {});
        return out_.flush();
    }

private:
    // By the up-time.
    micros next_look() const
    {
        return std::min(next_sample_, out_.now().up + LOOK_PERIOD);
    }

    void wait_for_more(micros until)
    {
        const micros left = std::max<micros>(until - record::read_clocks().up, 0);
        const timespec timeout = {.tv_sec = left / SECOND, .tv_nsec = static_cast<long>(left % SECOND * 1000)};
        pollfd readable = {.fd = messages_.socket, .events = POLLIN, .revents = 0};
        ppoll(&readable, 1, &timeout, nullptr);
    }

    void look()
    {
        status_reading page;
        std::string why;
        const bool is_read = tcctl::read_page(&page, &why);
        if (is_read)
            daemon_.look_at_start(out_, page);
        else
            out_.lacks(why + "; the trace begins without a daemon");
        record::world::look_at_lines(out_); // behind the page: nothing that the daemon went by is missing
        if (is_read)
            daemon_.look(out_, page);
        if (settings_.may_have_changed())
            settings_.look(out_);
        if (out_.now().up >= next_sample_)
            sample();
        plan_sample();
        take_messages();
    }

    void sample()
    {
        settings_.look(out_);
        world_.look(out_);
        processes_.look(out_, daemon_.programs());
        sampled_ = out_.now().up;
        next_sample_ = sampled_ + SECOND;
    }

    // Right before the daemon looks itself.
    void plan_sample()
    {
        if (daemon_.next_pass() == 0)
            return;
        const micros due = daemon_.next_pass() - AHEAD - out_.now().wall + out_.now().up;
        if (due > sampled_ + SECOND / 2)
            next_sample_ = std::min(due, sampled_ + SECOND * 3 / 2);
    }

    // What it was about stands in the store by then.
    void take_messages()
    {
        bus_message message;
        while (bus_receive(&messages_, &message) == BUS_DONE) {
            char sender[48];
            bus_name_sender(message.sender, sender);
            std::string name = sender;
            name = name.starts_with("pid ") ? "unknown" : name.substr(0, name.rfind('['));
            settings_.look(out_);
            out_.tell(kind::message, {name, hides_.text(message.text)});
        }
    }

    record::scribe &out_;
    record::masks hides_;
    record::settings_watch settings_;
    record::world world_;
    record::processes processes_;
    record::daemon_watch daemon_;
    bus_end messages_ = {};
    micros sampled_ = 0; // by the up-time
    micros next_sample_ = 0;
};

int record_world(const options &given)
{
    const micros length = length_of(given.length);
    if (given.appends && given.output.empty())
        throw refused("--append needs --output");
    if (!config_store_is_there() || !config_store_open())
        throw refused(fmt::format("there is no store of settings to be read in {}: no router runs here, or it is "
                                  "another user's",
                                  run_directory()));
    const std::optional<micros> last = given.appends ? end_of(given.output) : std::nullopt;
    const file_holder file = open_output(given.output, last.has_value());
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        std::signal(signal, ask_to_end);
    std::signal(SIGPIPE, SIG_IGN);
    record::scribe out(file.get(), last.has_value(), last.value_or(0));
    recorder recording(out);
    recording.begin();
    if (!recording.go_on(length))
        throw refused(fmt::format("the trace can no longer be written: {}", std::strerror(errno)));
    return tcctl::WELL;
}

int run(const std::vector<std::string> &words)
{
    CLI::App app("Writes what happens around this router as a trace, until it is ended (Ctrl-C). Secrets are masked.",
                 "tcctl record");
    app.set_version_flag("--version", "tcctl record " TCCTL_VERSION);
    options given;
    app.add_option("--output", given.output, "where to (standard output)");
    app.add_flag("--append", given.appends, "go on with the trace that is there: the router was started again");
    app.add_option("--for", given.length, "for how long: 90, 15m, 2h, 1d");
    try {
        take_words(app, words);
    } catch (const CLI::ParseError &error) {
        if (app.exit(error) != 0)
            return tcctl::CANNOT;
        return std::cout.flush() ? tcctl::WELL : fail("cannot write the help");
    }
    return record_world(given);
}

} // namespace

int main(int argc, char *argv[])
{
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::exception &error) {
        std::fprintf(stderr, "tcctl record: %s\n", tcctl::shown(error.what()).c_str());
        return tcctl::CANNOT;
    }
}
