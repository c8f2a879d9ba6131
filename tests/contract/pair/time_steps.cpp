// Clocks, zones, pauses and threads. Pauses are short, as libc's take real time, and no second is slept: what the two
// clocks show is not the same anyway.
#include <algorithm>
#include <atomic>
#include <climits>
#include <mutex>
#include <unistd.h>
#include <vector>

#include "tests/contract/pair/libc_steps.h"

namespace pair
{
namespace
{

time_t last_time;
std::mutex ran_lock;
std::vector<int> ran; // threads that have
size_t started;

void begin_times()
{
    last_time = 0;
    started = 0;
    ran.clear();
    begin_libc();
    libc.set_zone("UTC0");
}

// ---- zones ----

Words zone_words(Random &random)
{
    return {random.pick({"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "EST5EDT,M3.2.0,M11.1.0", "<+0545>-5:45",
                         "AEST-10AEDT,M10.1.0,M4.1.0/3", "IST-1GMT0,M10.5.0,M3.5.0/1", "XXX24", "<-12>12", "ABC-14:30",
                         "NST3:30NDT,J80/0:01,J300/0:01", "AAA0BBB,60/2,300/2", "EST5EDT4,M3.2.0/-1,M11.1.0/26", "",
                         "garbage", "CET", ":", "A0", "CET-1CEST,nonsense"})};
}

Words moment_words(Random &random)
{
    static const std::vector<long long> EDGES = {0,
                                                 -1,
                                                 1,
                                                 951782399,
                                                 951782400,
                                                 INT_MAX,
                                                 INT_MIN,
                                                 1LL << 31,
                                                 1LL << 32,
                                                 1LL << 40,
                                                 -(1LL << 40),
                                                 67767976233532799,
                                                 67768036191676799,
                                                 67768040609740799,
                                                 67768040609740800,
                                                 LLONG_MAX,
                                                 LLONG_MIN,
                                                 -67768040609740800};
    if (random.one_in(10))
        return {std::to_string(random.pick(EDGES))};
    const long long year = 31556952;
    return {std::to_string(static_cast<long long>(random.next() % static_cast<uint64_t>(120 * year)) - 20 * year)};
}

// About the changes of the clock: last Sundays of March and October of some year, to the second.
Words change_words(Random &random)
{
    static const std::vector<long long> CHANGES = {1774746000, 1792890000, 1772953200,
                                                   1793512800, 1775314800, 1790956800};
    const long long change = random.pick(CHANGES);
    return {std::to_string(change + random.below(200) - 100)};
}

Words later_words(Random &random)
{
    return {std::to_string(random.one_in(3) ? random.below(7200) - 3600 : random.below(90))};
}

void answer_local(Answer &answer)
{
    tm local = {};
    const tm *const got = libc.localtime_r(&last_time, &local);
    answer.pointer(got);
    if (got == nullptr)
        return;
    answer.number(got == &local);
    for (const int field : {local.tm_year, local.tm_mon, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                            local.tm_wday, local.tm_yday, local.tm_isdst})
        answer.number(field);
    answer.number(local.tm_gmtoff);
}

void run_local(const Words &words, Answer &answer)
{
    last_time = strtoll(words[0].c_str(), nullptr, 10);
    answer_local(answer);
}

void run_later(const Words &words, Answer &answer)
{
    __builtin_add_overflow(last_time, number_of(words[0]), &last_time);
    answer_local(answer);
}

void run_zone(const Words &words, Answer &answer)
{
    libc.set_zone(words[0]);
    answer.number(0);
}

// What the ground does between two ticks.
void run_read_zone(const Words & /*words*/, Answer &answer)
{
    read_zone();
    answer.number(0);
}

// ---- clocks and pauses ----

void run_time(const Words & /*words*/, Answer &answer)
{
    time_t stored = 0;
    const time_t before = libc.time(nullptr);
    const time_t given = libc.time(&stored);
    answer.number(given == stored);
    answer.number(given - before > 1);
    answer.number(given < before);
    answer.number(given > 1000000000);
}

void run_sleep(const Words & /*words*/, Answer &answer)
{
    answer.number(libc.sleep(0));
    read_zone(); // as the ground does at its end
}

Words select_words(Random &random)
{
    const std::string count = std::to_string(random.one_in(8) ? -1 - random.below(3) : 0);
    const std::string seconds = std::to_string(random.one_in(8) ? -1 - random.below(3) : 0);
    return {count, seconds, std::to_string(random.one_in(8) ? -1 - random.below(1000) : random.below(300))};
}

void run_select(const Words &words, Answer &answer)
{
    timeval left = {.tv_sec = number_of(words[1]), .tv_usec = number_of(words[2])};
    const int result = libc.select(number_of(words[0]), nullptr, nullptr, nullptr, &left);
    answer.result(result);
    if (result != 0)
        return; // a failure leaves what is left as it will: the kernel takes off what the failing took
    answer.number(left.tv_sec);
    answer.number(left.tv_usec);
}

// ---- threads ----

void *note(void *number)
{
    timeval pause = {.tv_sec = 0, .tv_usec = 100};
    libc.select(0, nullptr, nullptr, nullptr, &pause);
    const std::scoped_lock lock(ran_lock);
    ran.push_back(static_cast<int>(reinterpret_cast<intptr_t>(number)));
    return nullptr;
}

size_t number_ran()
{
    const std::scoped_lock lock(ran_lock);
    return ran.size();
}

Words thread_words(Random &random)
{
    return {std::to_string(1 + random.below(3))};
}

// Some threads, and what has run when all have had their time: a generous one, as the machine may be busy.
void run_threads(const Words &words, Answer &answer)
{
    for (int i = number_of(words[0]); i > 0; i--) {
        pthread_t thread = 0;
        answer.result(libc.pthread_create(&thread, nullptr, note, reinterpret_cast<void *>(static_cast<intptr_t>(i))));
        started++;
    }
    for (int i = 0; i < 50000 && number_ran() < started; i++) {
        timeval pause = {.tv_sec = 0, .tv_usec = 200};
        libc.select(0, nullptr, nullptr, nullptr, &pause);
    }
    const std::scoped_lock lock(ran_lock);
    std::ranges::sort(ran);
    for (const int each : ran)
        answer.number(each);
}

} // namespace

const Family times = {.name = "times",
                      .steps = {{"local", "localtime_r", 10, moment_words, run_local},
                                {"change", "localtime_r", 10, change_words, run_local},
                                {"later", "localtime_r", 20, later_words, run_later},
                                {"zone", "", 6, zone_words, run_zone},
                                {"read_zone", "", 6, no_words, run_read_zone},
                                {"time", "time", 3, no_words, run_time},
                                {"sleep", "sleep", 1, no_words, run_sleep},
                                {"select", "select", 3, select_words, run_select},
                                {"threads", "pthread_create", 1, thread_words, run_threads}},
                      .longest = 30,
                      .in_own_process = true, // libc reads the zone once in a process
                      .begin = begin_times,
                      .end = nullptr};

} // namespace pair
