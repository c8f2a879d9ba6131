#include "platform/sim/files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "platform/sim/model.h"
#include "platform/sim/virtual_router.h"

namespace sim
{

// ---- the world's side ----

void Files::set(std::string_view path, std::string_view text)
{
    Node &node = nodes_.at_key(path);
    node.text = text;
    node.generator = nullptr;
    node.error = 0;
}

void Files::generate(std::string_view path, Generator generator)
{
    Node &node = nodes_.at_key(path);
    node.generator = std::move(generator);
    node.error = 0;
}

void Files::set_unreadable(std::string_view path, int error)
{
    nodes_.at_key(path).error = error;
}

void Files::set_missing(std::string_view path)
{
    remove(path);
    missing_.emplace(path);
}

void Files::set_directory(std::string_view path)
{
    directories_.emplace(path);
}

void Files::set_link(std::string_view path, std::string_view target)
{
    links_.at_key(path) = target;
}

void Files::remove(std::string_view path)
{
    links_.erase(std::string(path));
    nodes_.erase(std::string(path));
    directories_.erase(std::string(path));
    missing_.emplace(path); // whoever takes a file away knows that it is not there
}

void Files::load(const Node &node, std::string &text) const
{
    if (node.generator) {
        text.clear();
        node.generator(text);
    } else {
        text = node.text;
    }
}

std::string Files::text_of(std::string_view path) const
{
    std::string text;
    if (const Node *const node = nodes_.value_of(path); node != nullptr)
        load(*node, text);
    return text;
}

std::vector<std::string> Files::open_paths() const
{
    std::vector<std::string> paths;
    for (const Descriptor &each : descriptors_)
        if (each.in_use)
            paths.push_back(each.path);
    return paths;
}

void Files::machine_restarted()
{
    descriptors_.clear();
}

// ---- the daemon's side ----

int Files::fail(int error) const
{
    errno = error;
    return -1;
}

// Processes and interfaces come and go: that one is not there needs no declaration.
static bool comes_and_goes(std::string_view path)
{
    const bool process = path.starts_with("/proc/") && path.ends_with("/stat");
    return process || path.starts_with("/sys/class/net/");
}

int Files::absent(std::string_view path)
{
    if (!comes_and_goes(path) && !missing_.contains(path) && std::ranges::find(unknown_, path) == unknown_.end())
        unknown_.emplace_back(path);
    return fail(ENOENT);
}

int Files::new_descriptor()
{
    size_t index = 0;
    while (index < descriptors_.size() && descriptors_[index].in_use)
        index++;
    if (index == descriptors_.size())
        descriptors_.emplace_back();
    Descriptor &fresh = descriptors_[index];
    fresh.in_use = true;
    fresh.readable = true;
    fresh.writable = fresh.append = fresh.written = false;
    fresh.position = 0;
    return FIRST_FD + static_cast<int>(index);
}

Files::Descriptor *Files::descriptor(int fd)
{
    const size_t index = static_cast<size_t>(fd - FIRST_FD);
    if (fd < FIRST_FD || index >= descriptors_.size() || !descriptors_[index].in_use) {
        errno = EBADF;
        return nullptr;
    }
    return &descriptors_[index];
}

int Files::open(const char *path, int flags)
{
    if (const std::string *const target = links_.value_of(path); target != nullptr)
        path = target->c_str();
    Node *node = nodes_.value_of(path);
    if (node == nullptr && (flags & O_CREAT) == 0)
        return directories_.contains(std::string_view(path)) ? fail(EISDIR) : absent(path);
    if (node != nullptr && (flags & O_CREAT) != 0 && (flags & O_EXCL) != 0)
        return fail(EEXIST);
    if (node == nullptr)
        node = &nodes_.at_key(path);
    if (node->error != 0)
        return fail(node->error);

    const int fd = new_descriptor();
    Descriptor &opened = *descriptor(fd);
    opened.readable = (flags & O_ACCMODE) != O_WRONLY;
    opened.writable = (flags & O_ACCMODE) != O_RDONLY;
    opened.append = (flags & O_APPEND) != 0;
    opened.written = opened.writable && (flags & O_TRUNC) != 0;
    opened.path = path;
    if (opened.written)
        set(path, "");
    load(*node, opened.text);
    return fd;
}

int Files::open_text(std::string_view name, std::string_view text)
{
    const int fd = new_descriptor();
    Descriptor &opened = *descriptor(fd);
    opened.path = name;
    opened.text = text;
    return fd;
}

ssize_t Files::read(int fd, char *buffer, size_t size)
{
    Descriptor *const from = descriptor(fd);
    if (from == nullptr)
        return -1;
    if (!from->readable)
        return fail(EBADF);
    const size_t left = from->position < from->text.size() ? from->text.size() - from->position : 0;
    const size_t got = std::min(size, left);
    memcpy(buffer, from->text.data() + from->position, got);
    from->position += got;
    return static_cast<ssize_t>(got);
}

ssize_t Files::write(int fd, const char *data, size_t size)
{
    Descriptor *const to = descriptor(fd);
    if (to == nullptr)
        return -1;
    if (!to->writable)
        return fail(EBADF);
    if (to->append)
        to->position = to->text.size();
    if (to->text.size() < to->position + size)
        to->text.resize(to->position + size, '\0');
    memcpy(to->text.data() + to->position, data, size);
    to->position += size;
    to->written = true;
    set(to->path, to->text);
    return static_cast<ssize_t>(size);
}

off_t Files::seek(int fd, off_t offset, int whence)
{
    Descriptor *const of = descriptor(fd);
    if (of == nullptr)
        return -1;
    const off_t base = whence == SEEK_SET   ? 0
                       : whence == SEEK_CUR ? static_cast<off_t>(of->position)
                                            : static_cast<off_t>(of->text.size());
    if (base + offset < 0)
        return fail(EINVAL);
    of->position = static_cast<size_t>(base + offset);
    return base + offset;
}

int Files::sync(int fd)
{
    return descriptor(fd) == nullptr ? -1 : 0;
}

int Files::truncate(int fd, off_t size)
{
    Descriptor *const of = descriptor(fd);
    if (of == nullptr)
        return -1;
    if (!of->writable || size < 0)
        return fail(EINVAL);
    of->text.resize(static_cast<size_t>(size), '\0');
    of->written = true;
    set(of->path, of->text);
    return 0;
}

int Files::close(int fd)
{
    Descriptor *const closed = descriptor(fd);
    if (closed == nullptr)
        return -1;
    closed->in_use = false;
    if (closed->written)
        model().journal.act("write " + closed->path);
    return 0;
}

int Files::access(const char *path)
{
    if (const Node *const node = nodes_.value_of(path); node != nullptr)
        return node->error == 0 ? 0 : fail(node->error);
    return directories_.contains(std::string_view(path)) ? 0 : absent(path);
}

int Files::rename(const char *from, const char *to)
{
    const Node *const node = nodes_.value_of(from);
    if (node == nullptr)
        return fail(ENOENT);
    Node moved = *node;
    remove(from);
    links_.erase(to);
    nodes_.at_key(to) = std::move(moved);
    model().journal.act(std::string("rename ") + from + " " + to);
    return 0;
}

int Files::unlink(const char *path)
{
    if (!exists(path))
        return fail(ENOENT);
    remove(path);
    model().journal.act(std::string("unlink ") + path);
    return 0;
}

ssize_t Files::read_link(const char *path, char *target, size_t size)
{
    const std::string *const link = links_.value_of(path);
    if (link == nullptr)
        return exists(path) ? fail(EINVAL) : absent(path);
    return static_cast<ssize_t>(link->copy(target, size)); // not terminated, as the system call
}

bool Files::list(const char *path, std::vector<std::string> &names)
{
    const std::string prefix = std::string(path) + (std::string_view(path).ends_with('/') ? "" : "/");
    std::set<std::string> found;
    for (const auto &[file, node] : nodes_)
        if (file.starts_with(prefix))
            found.insert(file.substr(prefix.size(), file.find('/', prefix.size()) - prefix.size()));
    if (found.empty() && !directories_.contains(std::string_view(path))) {
        absent(path);
        return false;
    }
    names = {".", ".."};
    names.insert(names.end(), found.begin(), found.end());
    return true;
}

// ---- what tests ask for ----

void VirtualRouter::file(const std::string &path, std::string_view text)
{
    model().files.set(path, text);
}

std::string VirtualRouter::file(const std::string &path) const
{
    return model().files.text_of(path);
}

bool VirtualRouter::file_exists(const std::string &path) const
{
    return model().files.exists(path);
}

void VirtualRouter::link_file(const std::string &path, const std::string &target)
{
    model().files.set_link(path, target);
}

void VirtualRouter::remove_file(const std::string &path)
{
    model().files.remove(path);
}

void VirtualRouter::unreadable(const std::string &path, int error)
{
    model().files.set_unreadable(path, error);
}

void VirtualRouter::missing(const std::string &path)
{
    model().files.set_missing(path);
}

void VirtualRouter::directory(const std::string &path)
{
    model().files.set_directory(path);
}

const std::vector<std::string> &VirtualRouter::unknown_paths() const
{
    return model().files.unknown_paths();
}

std::vector<std::string> VirtualRouter::open_descriptors() const
{
    std::vector<std::string> paths = model().files.open_paths();
    const std::vector<std::string> directories = model().streams.open_directories();
    paths.insert(paths.end(), directories.begin(), directories.end());
    return paths;
}

} // namespace sim
