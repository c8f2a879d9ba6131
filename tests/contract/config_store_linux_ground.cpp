// The store's contract test on the plain-Linux ground: other processes are children of the test.
#include <array>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/config_store.h"
#include "tests/contract/config_store_folders.h"
#include "tests/contract/config_store_ground.h"

namespace
{

std::unique_ptr<StoreFolders> folders;

} // namespace

void ground::begin()
{
    folders = std::make_unique<StoreFolders>();
}

void ground::restart()
{
    folders->restart();
}

void ground::end()
{
    folders.reset();
}

std::string ground::get_elsewhere(const std::string &key)
{
    std::array<int, 2> ends = {};
    if (pipe(ends.data()) != 0)
        throw std::runtime_error("no pipe");
    const pid_t child = fork();
    if (child == 0) {
        std::array<char, 512> value = {};
        GetValue(key.c_str(), value.data(), value.size());
        _exit(write(ends[1], value.data(), value.size()) > 0 ? 0 : 1);
    }
    close(ends[1]);
    std::array<char, 512> value = {};
    const ssize_t got = read(ends[0], value.data(), value.size());
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return got > 0 ? value.data() : "";
}
