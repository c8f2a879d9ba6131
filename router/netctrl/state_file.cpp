#include "router/netctrl/state_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "router/netctrl/lines.h"

namespace
{

constexpr size_t LARGEST = 64UL * 1024; // many times what all verbs take

void complain(const std::string &path)
{
    say("netctrl: " + path + ": " + strerror(errno));
}

bool write_whole(int file, const std::string &text)
{
    return write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

} // namespace

std::string read_state(const std::string &path)
{
    std::string text(LARGEST, '\0');
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (file < 0) {
        if (errno != ENOENT)
            complain(path);
        return {};
    }
    const ssize_t length = read(file, text.data(), text.size());
    if (length < 0)
        complain(path);
    close(file);
    text.resize(length < 0 ? 0 : static_cast<size_t>(length));
    return text;
}

void write_state(const std::string &path, const std::string &text)
{
    const std::string fresh = path + ".new";
    const int file = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    const bool is_written = file >= 0 && write_whole(file, text) && rename(fresh.c_str(), path.c_str()) == 0;
    if (!is_written)
        complain(path);
    if (file >= 0)
        close(file);
}
