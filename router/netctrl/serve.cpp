#include "router/netctrl/serve.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <poll.h>
#include <set>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/bus.h"
#include "router/netctrl/lines.h"
#include "router/netctrl/ready.h"
#include "router/netctrl/state_file.h"
#include "router/netctrl/wanted.h"

namespace
{

constexpr int MESSAGES_AT_ONCE = 64; // before what they want is kept and begun
constexpr int64_t LOOK_AT_NAME_MS = 10'000;
constexpr int64_t BEFORE_KILL_MS = 2000; // between SIGTERM and SIGKILL
constexpr int64_t AT_END_MS = 5000;      // what runs may take that long when netctrl ends
constexpr size_t UNKNOWN_TOLD = 64;
constexpr unsigned SUPERSEDED_TOLD = 5; // one by one, before a run

struct run {
    wish *of;
    int64_t begun_ms;
    int64_t signal_at_ms; // when the next signal is due
    bool was_ended;       // by us
};

struct server {
    explicit server(const service &service) : is(service)
    {
    }

    const service &is;
    bus_end end = {};
    int signals = -1;
    wanted all;
    std::map<pid_t, run> runs;
    std::set<std::string> unknown;          // told already
    std::map<std::string, int> last_status; // of each message's last run
    std::string kept;                       // what the state file says
    int64_t name_seen_ms = 0;
    int ends = 0; // how often we were told to end
};

int64_t now_ms()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

std::string seconds(int64_t ms)
{
    char text[32];
    snprintf(text, sizeof text, "%lld.%03lld s", static_cast<long long>(ms / 1000), static_cast<long long>(ms % 1000));
    return text;
}

// ---- what is wanted ----

void keep(server *server)
{
    std::string text = text_of(server->all);
    if (server->is.is_dry || text == server->kept)
        return;
    write_state(server->is.state_path, text);
    server->kept = std::move(text);
}

void restore(server *server)
{
    if (server->is.is_dry)
        return;
    server->kept = read_state(server->is.state_path);
    for (const std::string &line : read_text(&server->all, server->kept, now_ms()))
        say("netctrl: " + server->is.state_path + ": not understood: " + line);
    for (const auto &[subject, wishes] : server->all.subjects)
        for (const wish &each : wishes)
            say(each.asked.message + ": " + std::string(each.asked.what->name) + ": left over from before");
}

void tell_unknown(server *server, const char *text)
{
    if (server->unknown.size() >= UNKNOWN_TOLD || !server->unknown.insert(text).second)
        return;
    say(std::string(text) + ": not understood");
    if (server->unknown.size() == UNKNOWN_TOLD)
        say("netctrl: further messages that are not understood are not told");
}

void take_message(server *server, const char *text)
{
    std::optional<request> asked = read_message(text);
    if (!asked) {
        tell_unknown(server, text);
        return;
    }
    const std::string message = asked->message;
    const std::string subject = asked->subject;
    const std::vector<std::string> needless = want(&server->all, std::move(*asked), now_ms());
    if (server->all.subjects[subject].back().superseded <= SUPERSEDED_TOLD)
        for (const std::string &other : needless)
            say(std::string(other).append(": needless by ").append(message));
}

// Whether more may wait.
bool take_messages(server *server)
{
    bus_message message;
    for (int i = 0; i < MESSAGES_AT_ONCE; i++)
        switch (bus_receive(&server->end, &message)) {
        case BUS_DONE:
            take_message(server, message.text);
            break;
        case BUS_TOO_LONG:
        case BUS_FOREIGN_SENDER:
            break; // dropped
        default:
            return false;
        }
    return true;
}

// ---- programs ----

std::string head_of(const wish &wish)
{
    return wish.asked.message + ": " + std::string(wish.asked.what->name) + ": ";
}

// Whether a run's end is news: that something is not there is said once.
bool is_news(server *server, const wish &wish, int status)
{
    const auto [last, is_first] = server->last_status.try_emplace(wish.asked.message, status);
    const bool is_other = is_first || last->second != status;
    last->second = status;
    return is_other || status != STATUS_NOT_HERE;
}

std::string why_nothing_runs(const std::string &path)
{
    return path.empty() ? "there is no program for it" : "switched off";
}

void begin(server *server, wish *wish)
{
    const std::string path = program_of(server->is.folders, wish->asked.what->name);
    if (server->is.is_dry) {
        say(wish->asked.message + ": " + would_run(server->is.folders, wish->asked));
        over(&server->all, wish);
        return;
    }
    if (path.empty() || path == "/dev/null") {
        if (is_news(server, *wish, STATUS_NOT_HERE))
            say(head_of(*wish) + why_nothing_runs(path));
        over(&server->all, wish);
        return;
    }
    std::vector<std::string> variables = environment_of(wish->asked);
    variables.push_back("TC_PACKAGE=" + server->is.folders.package);
    variables.push_back("TC_TRY=" + std::to_string(wish->tries + 1));
    if (const auto last = server->last_status.find(wish->asked.message); last != server->last_status.end())
        variables.push_back("TC_LAST_STATUS=" + std::to_string(last->second));
    const pid_t pid = start_program(path, variables);
    const int64_t now = now_ms();
    if (pid > 0) {
        server->runs.emplace(pid, run{wish, now, now + server->is.limit_ms, false});
        return;
    }
    say(head_of(*wish) + "cannot be started: " + strerror(errno));
    not_yet(&server->all, wish, now);
}

void begin_all(server *server)
{
    while (wish *const next = begin_next(&server->all, now_ms()))
        begin(server, next);
}

std::string how_it_ended(const run &run, int status)
{
    const std::string after = seconds(now_ms() - run.begun_ms);
    if (run.was_ended)
        return "ended by netctrl after " + after;
    if (WIFSIGNALED(status))
        return "ended by signal " + std::to_string(WTERMSIG(status)) + " after " + after;
    return "exit " + std::to_string(WEXITSTATUS(status)) + ", " + after;
}

std::string counts_of(const wish &wish)
{
    std::string text;
    if (wish.repeats > 0)
        text += "; asked for " + std::to_string(wish.repeats) + " times more before";
    if (wish.superseded > 0)
        text += "; " + std::to_string(wish.superseded) + " others were needless";
    return text;
}

void finish(server *server, pid_t pid, int status)
{
    const auto found = server->runs.find(pid);
    if (found == server->runs.end())
        return;
    const run run = found->second;
    server->runs.erase(found);
    if (run.was_ended)
        kill(-pid, SIGKILL); // what it has left of its group
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::string line = head_of(*run.of) + how_it_ended(run, status) + counts_of(*run.of);
    const bool news = is_news(server, *run.of, code);
    if (run.was_ended || code == STATUS_NOT_YET) {
        const std::optional<int64_t> pause = not_yet(&server->all, run.of, now_ms());
        line += pause ? "; again in " + std::to_string(*pause / 1000) + " s" : "; needless by now";
    } else {
        over(&server->all, run.of);
    }
    if (news)
        say(std::move(line));
}

void reap(server *server)
{
    int status = 0;
    for (pid_t pid = 0; (pid = waitpid(-1, &status, WNOHANG)) > 0;)
        finish(server, pid, status);
}

void end_what_takes_too_long(server *server)
{
    for (auto &[pid, run] : server->runs) {
        if (run.signal_at_ms > now_ms())
            continue;
        kill(-pid, run.was_ended ? SIGKILL : SIGTERM);
        run.was_ended = true;
        run.signal_at_ms = now_ms() + BEFORE_KILL_MS;
    }
}

// ---- the loop ----

bool open_signals(server *server)
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGCHLD, SIGTERM, SIGINT})
        sigaddset(&signals, number);
    signal(SIGPIPE, SIG_IGN);
    signal(SIGHUP, SIG_IGN);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    server->signals = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    return server->signals >= 0;
}

void take_signals(server *server)
{
    signalfd_siginfo info;
    while (read(server->signals, &info, sizeof info) == sizeof info)
        if (info.ssi_signo != SIGCHLD)
            server->ends++;
}

// Somebody may have removed the run directory, or what is in it.
void look_at_name(server *server)
{
    if (now_ms() - server->name_seen_ms < LOOK_AT_NAME_MS)
        return;
    server->name_seen_ms = now_ms();
    if (bus_stands("netctrl", &server->end))
        return;
    const bus_result result = bus_open_anew("netctrl", &server->end);
    say(std::string("netctrl: the name was gone from the bus; taken anew: ") + bus_result_text(result));
    server->kept.clear();
}

// Until something is due, in ms.
int longest_wait(const server &server)
{
    int64_t moment = server.name_seen_ms + LOOK_AT_NAME_MS;
    if (const std::optional<int64_t> due = next_due(server.all))
        moment = std::min(moment, *due);
    for (const auto &[pid, run] : server.runs)
        moment = std::min(moment, run.signal_at_ms);
    return static_cast<int>(std::clamp<int64_t>(moment - now_ms(), 0, LOOK_AT_NAME_MS));
}

void wait_for_news(const server &server, int wait_ms)
{
    pollfd readable[] = {{.fd = server.signals, .events = POLLIN, .revents = 0},
                         {.fd = server.end.socket, .events = POLLIN, .revents = 0}};
    poll(readable, 2, wait_ms);
}

// What runs may end by itself for a while; what does not is ended, and done after the next start.
void end_in_order(server *server)
{
    while (take_messages(server))
        continue;
    keep(server);
    bus_close(&server->end);
    server->end.socket = -1;
    const int64_t deadline = now_ms() + AT_END_MS;
    while (!server->runs.empty() && server->ends < 2 && now_ms() < deadline) {
        wait_for_news(*server, 100);
        take_signals(server);
        reap(server);
    }
    keep(server);
    for (const auto &[pid, run] : server->runs)
        kill(-pid, SIGKILL);
}

} // namespace

std::string would_run(const program_folders &folders, const request &request)
{
    const std::string path = program_of(folders, request.what->name);
    std::string text = std::string(request.what->name) + ": ";
    if (path.empty() || path == "/dev/null")
        return text + why_nothing_runs(path);
    text += "would run " + path + " with";
    for (const std::string &variable : environment_of(request))
        text += " " + variable;
    return text;
}

int serve(const service &service)
{
    server server(service);
    if (!open_signals(&server)) {
        fprintf(stderr, "netctrl: signals: %s\n", strerror(errno));
        return 1;
    }
    const bus_result result = bus_open("netctrl", &server.end);
    if (result != BUS_DONE) {
        fprintf(stderr, "netctrl: cannot take the name netctrl on the bus: %s\n", bus_result_text(result));
        return 1;
    }
    server.name_seen_ms = now_ms();
    restore(&server);
    tell_ready();
    while (server.ends == 0) {
        const bool more = take_messages(&server);
        keep(&server);
        begin_all(&server);
        keep(&server);
        wait_for_news(server, more ? 0 : longest_wait(server));
        take_signals(&server);
        reap(&server);
        end_what_takes_too_long(&server);
        look_at_name(&server);
    }
    end_in_order(&server);
    return 0;
}
