// The commands that wait for changes of the store. Nobody tells of one; the number of the latest change is looked at,
// which costs next to nothing (decision 0152).
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <poll.h>
#include <string>
#include <thread>
#include <unistd.h>

#include "platform/config_store.h"
#include "platform/linux/store/admin.h"
#include "tools/cfm/commands.h"
#include "tools/cfm/output.h"
#include "tools/cfm/settings.h"

namespace
{

using std::chrono::steady_clock;
using duration = std::chrono::duration<double>; // in seconds

constexpr std::chrono::milliseconds LOOK_EVERY(100);

struct change_watch {
    bool has_looked = false;
    unsigned long long number = 0;
};

// Whether something may have changed since the last look. Other files in the run directory are a change.
bool has_changed(change_watch &watch)
{
    const bool is_same_store = config_store_look();
    const unsigned long long number = config_store_changes();
    const bool is_change = !watch.has_looked || !is_same_store || number != watch.number;
    watch = {true, number};
    return is_change;
}

// Sleeps until the next look. False: nobody reads the output any more, or it cannot be told.
bool sleep_while_read()
{
    pollfd output = {STDOUT_FILENO, 0, 0};
    if (poll(&output, 1, static_cast<int>(LOOK_EVERY.count())) < 0 && errno != EINTR) {
        fail(std::string("cannot wait: ") + std::strerror(errno));
        return false;
    }
    if (output.revents == 0)
        return true;
    fail("nobody reads the output any more");
    return false;
}

// A line for each key that is not what it was; a key that is gone stands alone.
std::string changes_of(const settings &before, const settings &now, bool secrets)
{
    settings all = before;
    all.insert(now.begin(), now.end());
    std::string text;
    for (const auto &[key, value] : all) {
        const auto old = before.find(key);
        const auto found = now.find(key);
        if (found == now.end())
            text += key + '\n';
        else if (old == before.end() || old->second != found->second)
            text.append(key).append("=").append(shown_value(*found, secrets)).append("\n");
    }
    return text;
}

bool holds(const std::string &key, const std::string &value)
{
    std::string found(value.size() + 2, '\0'); // a longer value is not this one
    const bool is_found = GetValue(key.c_str(), found.data(), found.size()) != 0;
    return (is_found || value.empty()) && std::strcmp(value.c_str(), found.data()) == 0;
}

} // namespace

int watch(const std::string &prefix, bool secrets)
{
    settings known;
    change_watch changes;
    if (!open_store())
        return FAILED;
    has_changed(changes); // before the first reading, so that no change falls between
    if (!read_running(prefix, known))
        return FAILED;
    while (sleep_while_read()) {
        settings now;
        if (!has_changed(changes))
            continue;
        if (!read_running(prefix, now) || print(shown(changes_of(known, now, secrets), true)) != DONE)
            return FAILED;
        known = now;
    }
    return FAILED;
}

int wait_for(const std::string &wanted, std::optional<double> seconds)
{
    const size_t equals = wanted.find('=');
    if (equals == 0 || equals == std::string::npos || (seconds && !(*seconds >= 0))) {
        tell(equals == 0 || equals == std::string::npos ? "'" + wanted + "' is no KEY=VALUE"
                                                        : "the timeout is negative");
        return CALLED_WRONGLY;
    }
    const std::string key = wanted.substr(0, equals);
    const std::string value = wanted.substr(equals + 1);
    const auto begin = steady_clock::now();
    change_watch changes;
    if (!open_store())
        return FAILED;
    for (;;) {
        const bool is_other = has_changed(changes);
        if (!config_store_open())
            return FAILED;
        if (is_other && holds(key, value))
            return DONE;
        duration pause = LOOK_EVERY;
        if (seconds)
            pause = std::min(pause, duration(*seconds) - duration(steady_clock::now() - begin));
        if (pause.count() <= 0)
            return fail(std::string("'").append(key).append("' has not become '").append(value).append("' in time"));
        std::this_thread::sleep_for(pause);
    }
}
