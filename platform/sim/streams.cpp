#include "platform/sim/streams.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/sim/virtual_router.h"

namespace sim
{

ssize_t Streams::read(void *cookie, char *buffer, size_t size)
{
    return router().faults.hits(Call::read) ? -1 : router().files.read(static_cast<Stream *>(cookie)->fd, buffer, size);
}

int Streams::seek(void * /*cookie*/, off64_t * /*offset*/, int /*whence*/)
{
    errno = ESPIPE;
    return -1;
}

int Streams::close(void *cookie)
{
    Stream *const stream = static_cast<Stream *>(cookie);
    const int result = stream->owner->abandoned_ ? 0 : router().files.close(stream->fd);
    std::erase_if(stream->owner->streams_, [stream](const auto &each) { return each.get() == stream; });
    return result;
}

FILE *Streams::open_text(std::string_view name, std::string_view text, int exit_status)
{
    const int fd = router().files.open_text(name, text);
    Stream &stream = *streams_.emplace_back(
        std::make_unique<Stream>(Stream{.fd = fd, .file = nullptr, .owner = this, .exit_status = exit_status}));
    stream.file = fopencookie(&stream, "r", {.read = read, .write = nullptr, .seek = seek, .close = close});
    return stream.file;
}

int Streams::exit_status_of(const FILE *stream) const
{
    const auto found = std::ranges::find_if(streams_, [stream](const auto &each) { return each->file == stream; });
    return found == streams_.end() ? 0 : (*found)->exit_status;
}

void Streams::machine_restarted()
{
    abandoned_ = true;
    while (!streams_.empty())
        fclose(streams_.back()->file);
    abandoned_ = false;
    directories_.clear();
}

// ---- directories ----

DIR *Streams::open_directory(const char *path)
{
    std::vector<std::string> names;
    if (!router().files.list(path, names))
        return nullptr;
    directories_.push_back(
        std::make_unique<Directory>(Directory{.path = path, .names = std::move(names), .next = 0, .entry = {}}));
    return reinterpret_cast<DIR *>(directories_.back().get());
}

struct dirent *Streams::next_entry(DIR *directory)
{
    Directory *const of = reinterpret_cast<Directory *>(directory);
    if (of->next == of->names.size())
        return nullptr;
    const std::string &name = of->names[of->next++];
    const size_t length = std::min(name.size(), sizeof of->entry.d_name - 1);
    memcpy(of->entry.d_name, name.c_str(), length);
    of->entry.d_name[length] = '\0';
    return &of->entry;
}

int Streams::close_directory(DIR *directory)
{
    std::erase_if(directories_,
                  [directory](const auto &each) { return reinterpret_cast<DIR *>(each.get()) == directory; });
    return 0;
}

std::vector<std::string> Streams::open_directories() const
{
    std::vector<std::string> paths;
    for (const auto &each : directories_)
        paths.push_back(each->path);
    return paths;
}

} // namespace sim
