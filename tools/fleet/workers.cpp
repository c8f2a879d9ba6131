#include "tools/fleet/workers.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <sched.h>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include <fmt/format.h>

#include "tools/fleet/night.h"

namespace fleet
{

namespace
{

// Seen by all workers and their parent.
class shared_number
{
public:
    shared_number() : place_(mmap(nullptr, sizeof(number), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
    {
        if (place_ == MAP_FAILED)
            throw std::system_error(errno, std::generic_category(), "cannot share memory");
        value_ = new (place_) number(0);
    }
    shared_number(const shared_number &) = delete;
    shared_number &operator=(const shared_number &) = delete;
    ~shared_number()
    {
        munmap(place_, sizeof(number));
    }
    std::atomic<uint32_t> &operator*()
    {
        return *value_;
    }

private:
    using number = std::atomic<uint32_t>;
    void *place_;
    number *value_ = nullptr;
};

struct worker {
    pid_t process;
    int output; // a file in memory
};

bool write_all(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written < 0 && errno != EINTR)
            return false;
        text.remove_prefix(written < 0 ? 0 : static_cast<size_t>(written));
    }
    return true;
}

std::string read_all(int fd)
{
    std::string text;
    std::array<char, 65536> piece = {};
    lseek(fd, 0, SEEK_SET);
    for (ssize_t got = 0; (got = read(fd, piece.data(), piece.size())) != 0;)
        if (got > 0)
            text.append(piece.data(), static_cast<size_t>(got));
        else if (errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "cannot read what a worker counted");
    return text;
}

void add_nights(counts &to, const profile &given, span routers, std::atomic<uint32_t> &done)
{
    for (uint32_t number = routers.first; number <= routers.last; number++) {
        add_night(to, given, number);
        done++;
    }
    to.done = {routers};
}

[[noreturn]] void work(counts to, const profile &given, span routers, int output, std::atomic<uint32_t> &done)
{
    prctl(PR_SET_PDEATHSIG, SIGTERM); // whoever ends the parent ends the night
    try {
        add_nights(to, given, routers, done);
        _exit(write_all(output, json_of(to)) ? 0 : 1);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "tcctl fleet: routers %u to %u: %s\n", routers.first, routers.last, error.what());
        _exit(1);
    }
}

worker start(const counts &to, const profile &given, span routers, std::atomic<uint32_t> &done)
{
    const int output = memfd_create("counts", MFD_CLOEXEC);
    if (output < 0)
        throw std::system_error(errno, std::generic_category(), "cannot make a file in memory");
    const pid_t process = fork();
    if (process < 0)
        throw std::system_error(errno, std::generic_category(), "cannot start a worker");
    if (process == 0)
        work(to, given, routers, output, done);
    return {.process = process, .output = output};
}

void wait_for(const worker &each, const std::function<void()> &meanwhile)
{
    constexpr useconds_t LOOK_US = 20000;
    int status = 0;
    for (pid_t ended = 0; (ended = waitpid(each.process, &status, WNOHANG)) != each.process;) {
        if (ended < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "cannot wait for a worker");
        meanwhile();
        usleep(LOOK_US);
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw refused(WIFSIGNALED(status) ? fmt::format("a worker was ended by signal {}", WTERMSIG(status))
                                          : "a worker did not come to its end");
}

} // namespace

int processors()
{
    cpu_set_t allowed;
    return sched_getaffinity(0, sizeof allowed, &allowed) == 0 ? CPU_COUNT(&allowed) : 1;
}

void run_nights(counts &to, const profile &given, span routers, int workers,
                const std::function<void(double)> &progress)
{
    shared_number done;
    const uint64_t count = uint64_t{routers.last} - routers.first + 1;
    const uint64_t parts = std::min<uint64_t>(static_cast<uint64_t>(workers), count);
    std::vector<worker> started;
    for (uint64_t i = 0; i < parts; i++)
        started.push_back(start(to, given,
                                {.first = static_cast<uint32_t>(routers.first + count * i / parts),
                                 .last = static_cast<uint32_t>(routers.first + count * (i + 1) / parts - 1)},
                                *done));
    for (const worker &each : started) {
        wait_for(each, [&] { progress(static_cast<double>(*done) / static_cast<double>(count)); });
        add(to, counts_of(read_all(each.output), "a worker"));
        close(each.output);
    }
}

} // namespace fleet
