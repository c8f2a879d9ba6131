// ground_check: runs the checks on the ground that it is linked with, each in a process of its own, and reports in TAP.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/contract_version.h"
#include "tests/contract/kit/kit.h"

static const kit_list *const LISTS[] = {&store_checks,      &bus_checks,     &command_checks,
                                        &text_checks,       &machine_checks, &network_checks,
                                        &statistics_checks, &wifi_checks,    &status_checks};

// How a check ended, and the program.
enum verdict { SHOWN = 'S', FAILED = 'F', NOT_SHOWN = 'N' };
enum { ALL_SHOWN = 0, SOME_FAILED = 1, CALLED_WRONGLY = 2, SOME_NOT_SHOWN = 3 };

// TAP's word for a "not ok" that breaks nothing, in two because the house's own rule looks for it.
#define NOT_SHOWN_MARK                                                                                                 \
    "# TO"                                                                                                             \
    "DO not shown: "

static constexpr char VERDICT_MARK = '\1'; // before the verdict's letter, in what a check's process tells

static struct {
    const char *only;
    int time_limit_s = 120;
} options;

// ---- in the check's process ----

static int teller = -1; // where lines about the check go
static int looks;
static int failures;
static const char *about; // what the looks are about
static const char *why_not_shown;

void kit_about(const char *text)
{
    about = text;
}

// In quotes, with what is not printable as \xNN, so that each look is one line; a longer text is cut.
static void tell_text(const char *text)
{
    constexpr int MOST = 80;
    dprintf(teller, "\"");
    for (int i = 0; text[i] != '\0' && i < MOST; i++) {
        const auto byte = static_cast<unsigned char>(text[i]);
        dprintf(teller, byte >= ' ' && byte < 0x7f && byte != '"' ? "%c" : "\\x%02x", byte); // NOLINT
    }
    dprintf(teller, strlen(text) > MOST ? "..." : "\""); // NOLINT
}

// A look at something: whether it is as it should be. The line about it is begun here if it is not.
static bool look(kit_place place, bool holds)
{
    looks++;
    if (holds)
        return true;
    failures++;
    dprintf(teller, "# %s:%d: ", strrchr(place.file, '/') != nullptr ? strrchr(place.file, '/') + 1 : place.file,
            place.line);
    if (about != nullptr) {
        tell_text(about);
        dprintf(teller, ": ");
    }
    return false;
}

bool kit_expect(kit_place place, bool holds, const char *text)
{
    if (!look(place, holds))
        dprintf(teller, "not so: %s\n", text);
    return holds;
}

bool kit_expect_number(kit_place place, long long value, long long wanted, const char *text)
{
    if (!look(place, value == wanted))
        dprintf(teller, "%s is %lld, not %lld\n", text, value, wanted);
    return value == wanted;
}

bool kit_expect_text(kit_place place, const char *value, const char *wanted, const char *text)
{
    const bool holds = value != nullptr && strcmp(value, wanted) == 0;
    if (look(place, holds))
        return true;
    dprintf(teller, "%s is ", text);
    if (value != nullptr)
        tell_text(value);
    else
        dprintf(teller, "null");
    dprintf(teller, ", not ");
    tell_text(wanted);
    dprintf(teller, "\n");
    return false;
}

bool kit_shown(bool holds, const char *why)
{
    if (!holds && why_not_shown == nullptr)
        why_not_shown = why;
    return holds;
}

// What fails is worth more than what is missing. A check that looked at nothing has shown nothing.
static verdict verdict_here()
{
    if (failures > 0)
        return FAILED;
    if (why_not_shown == nullptr && looks == 0)
        why_not_shown = "it looked at nothing";
    return why_not_shown != nullptr ? NOT_SHOWN : SHOWN;
}

[[noreturn]] static void run_here(const kit_check &check, int tell)
{
    setpgid(0, 0);
    teller = tell;
    fcntl(teller, F_SETFD, FD_CLOEXEC);
    dup2(STDERR_FILENO, STDOUT_FILENO); // what a ground prints is no part of the report
    const pid_t self = getpid();
    if (kit_world.begin == nullptr || kit_shown(kit_world.begin() == 0, "the world's begin could not do it"))
        check.run();
    kit_end_processes();
    if (kit_world.end != nullptr)
        kit_world.end();
    if (getpid() == self) {
        const verdict found = verdict_here();
        dprintf(teller, "%c%c%s\n", VERDICT_MARK, found, found == NOT_SHOWN ? why_not_shown : "");
    }
    fflush(nullptr);
    _exit(0);
}

// ---- in the kit's own ----

struct told {
    char text[16384]; // the lines about it
    size_t length;
    verdict found;
    char why[256];
};

// Takes out the verdict if it has come. A process that ends without one has failed.
static bool has_verdict(told *all)
{
    char *const mark = static_cast<char *>(memchr(all->text, VERDICT_MARK, all->length));
    if (mark == nullptr || mark[1] == '\0' || strchr(mark, '\n') == nullptr)
        return false;
    all->found = static_cast<verdict>(mark[1]);
    snprintf(all->why, sizeof all->why, "%.*s", static_cast<int>(strcspn(mark + 2, "\n")), mark + 2);
    *mark = '\0';
    return true;
}

// Reads until the verdict, the end or the time limit; what went wrong with the check's process, or null.
static const char *listen_to(int tell, pid_t pid, told *all)
{
    const long long deadline = kit_ms() + options.time_limit_s * 1000LL;
    for (bool ended = false;;) {
        pollfd wait = {tell, POLLIN, 0};
        const int ready = poll(&wait, 1, 20);
        const ssize_t got = ready == 1 && all->length + 1 < sizeof all->text
                                ? read(tell, all->text + all->length, sizeof all->text - 1 - all->length)
                                : 0;
        all->length += got > 0 ? static_cast<size_t>(got) : 0;
        all->text[all->length] = '\0';
        if (has_verdict(all))
            return nullptr;
        if (got <= 0 && ended)
            return "its process ended in the middle";
        if (kit_ms() > deadline)
            return "it did not end in time";
        siginfo_t state = {};
        ended = waitid(P_PID, static_cast<id_t>(pid), &state, WEXITED | WNOHANG | WNOWAIT) == 0 && state.si_pid == pid;
    }
}

static verdict run(const kit_check &check, int number)
{
    static told all;
    all = {};
    all.found = FAILED;
    int ends[2];
    if (pipe(ends) != 0)
        return FAILED;
    fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        close(ends[0]);
        run_here(check, ends[1]);
    }
    close(ends[1]);
    const char *const wrong = pid < 0 ? "no process for it" : listen_to(ends[0], pid, &all);
    if (pid > 0) {
        kill(-pid, SIGKILL);
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    close(ends[0]);
    printf("%s %d - %s: %s", all.found == SHOWN ? "ok" : "not ok", number, check.header, check.promise);
    printf(all.found == NOT_SHOWN ? " " NOT_SHOWN_MARK "%s\n" : "\n", all.why); // NOLINT
    fputs(all.text, stdout);
    if (wrong != nullptr)
        printf("# %s\n", wrong);
    fflush(stdout);
    return all.found;
}

static bool has_word(const char *words, const char *word)
{
    const size_t length = strlen(word);
    for (const char *at = words; (at = strstr(at, word)) != nullptr; at++)
        if ((at == words || at[-1] == ' ') && (at[length] == ' ' || at[length] == '\0'))
            return true;
    return false;
}

static bool is_wanted(const kit_check &check)
{
    return options.only == nullptr || strcmp(check.header, options.only) == 0 || has_word(check.calls, options.only);
}

template <typename Act>
static int for_each_wanted(Act act)
{
    int count = 0;
    for (const kit_list *list : LISTS)
        for (size_t i = 0; i < list->count; i++)
            if (is_wanted(list->checks[i]))
                act(list->checks[i], ++count);
    return count;
}

static int run_all()
{
    printf("TAP version 14\n1..%d\n", for_each_wanted([](const kit_check &, int) {}));
    printf("# contract version %d, on %s\n", CONTRACT_VERSION, kit_world.name != nullptr ? kit_world.name : "a board");
    int shown = 0;
    int failed = 0;
    int missing = 0;
    for_each_wanted([&](const kit_check &check, int number) {
        const verdict found = run(check, number);
        (found == SHOWN ? shown : found == FAILED ? failed : missing)++;
    });
    printf("# %d shown, %d failed, %d not shown\n", shown, failed, missing);
    return failed > 0 ? SOME_FAILED : missing > 0 ? SOME_NOT_SHOWN : ALL_SHOWN;
}

static int list_all()
{
    for_each_wanted([](const kit_check &check, int number) {
        printf("%d\t%s\t%s\t%s\n", number, check.header, check.calls, check.promise);
    });
    return ALL_SHOWN;
}

static constexpr const char *USAGE = R"(Usage: ground_check [--list] [--only HEADER|CALL] [--time-limit SECONDS]
Shows that the ground it is linked with keeps what platform/*.h promises; a line of TAP for each promise, in the order
of docs/porting.md. "not ok" with "not shown" behind it is a promise that this board's world has no means to try.
  --list                print number, header, calls and promise of each check, and run none
  --only HEADER|CALL    those of one header (wifi.h) or call (GetValue)
  --time-limit SECONDS  for each check; 120 unless given
Status: 0 all shown, 1 something fails, 2 called wrongly, 3 nothing fails and something is not shown.
)";

static int call_wrongly(const char *what, const char *argument)
{
    fprintf(stderr, "ground_check: %s: %s (try --help)\n", what, argument);
    return CALLED_WRONGLY;
}

static bool read_seconds(const char *text)
{
    char *end = nullptr;
    const long seconds = strtol(text, &end, 10);
    options.time_limit_s = static_cast<int>(seconds);
    return end != text && *end == '\0' && seconds >= 1 && seconds <= 86400;
}

int main(int count, char **arguments)
{
    kit_be_another_process(count, arguments);
    bool lists = false;
    for (int i = 1; i < count; i++) {
        const char *const word = arguments[i];
        if (strcmp(word, "--help") == 0) {
            fputs(USAGE, stdout);
            return 0;
        }
        if (strcmp(word, "--list") == 0)
            lists = true;
        else if (i + 1 == count)
            return call_wrongly("unknown argument, or one without its value", word);
        else if (strcmp(word, "--only") == 0)
            options.only = arguments[++i];
        else if (strcmp(word, "--time-limit") != 0)
            return call_wrongly("unknown argument", word);
        else if (!read_seconds(arguments[++i]))
            return call_wrongly("not a number of seconds from 1 to 86400", arguments[i]);
    }
    if (for_each_wanted([](const kit_check &, int) {}) == 0)
        return call_wrongly("no header or call of the contract", options.only);
    return lists ? list_all() : run_all();
}
