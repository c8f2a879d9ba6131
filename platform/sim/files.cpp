#include "platform/sim/files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

#include "platform/sim/virtual_router.h"

namespace sim
{

// ---- the world's side ----

void Files::set(std::string_view path, std::string_view text)
{
    Node &node = node_at(path);
    node.text = text;
    node.generator = nullptr;
    node.error = 0;
}

void Files::generate(std::string_view path, Generator generator)
{
    Node &node = node_at(path);
    node.generator = std::move(generator);
    node.error = 0;
}

void Files::set_unreadable(std::string_view path, int error)
{
    node_at(path).error = error;
}

void Files::set_missing(std::string_view path)
{
    remove(path);
    missing_.emplace(path);
}

void Files::set_directory(std::string_view path)
{
    make_parents(path);
    directories_.emplace(path);
}

void Files::set_link(std::string_view path, std::string_view target)
{
    make_parents(path);
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
    if (const NodeRef *const node = nodes_.value_of(path); node != nullptr)
        load(**node, text);
    return text;
}

void Files::set_permissions(std::string_view path, mode_t mode, uid_t user, gid_t group)
{
    Node &node = node_at(path);
    node.mode = mode;
    node.user = user;
    node.group = group;
}

std::string Files::permissions_of(std::string_view path) const
{
    const NodeRef *const node = nodes_.value_of(path);
    if (node == nullptr)
        return "";
    char text[64];
    snprintf(text, sizeof text, "%o %u:%u", (*node)->mode, (*node)->user, (*node)->group);
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
    fresh = {};
    fresh.in_use = fresh.readable = true;
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

int Files::open(const char *name, int flags, mode_t mode)
{
    constexpr mode_t UMASK = 022;
    const bool creates = (flags & O_CREAT) != 0;
    const bool creates_only = creates && (flags & O_EXCL) != 0;
    const bool writes = (flags & O_ACCMODE) != O_RDONLY;
    const int keeps = (flags & O_NOFOLLOW) != 0 || creates_only ? KEPT : FOLLOWED;
    Place place = place_of(name, keeps | (creates ? MADE : FOLLOWED));
    if (creates_only && (place.node != nullptr || place.is_folder || place.is_link))
        return fail(EEXIST);
    if (place.error == 0 && place.is_folder && (writes || creates || (flags & O_TRUNC) != 0))
        return fail(EISDIR);
    if ((place.node != nullptr || place.is_link) && (flags & O_DIRECTORY) != 0)
        return fail(ENOTDIR);
    if (place.error != 0 || (place.node == nullptr && !place.is_folder && !creates))
        return fail_at(place);
    if (place.node == nullptr && !place.is_folder) {
        if (!has_parent(place.path))
            return fail(ENOENT);
        node_at(place.path).mode = mode & ~UMASK;
        place.node = *nodes_.value_of(place.path);
    }
    if (place.node != nullptr && place.node->error != 0)
        return fail(place.node->error);
    return open_place(place, flags);
}

int Files::open_place(const Place &place, int flags)
{
    const int fd = new_descriptor();
    Descriptor &opened = *descriptor(fd);
    opened.kind = place.is_folder ? OF_FOLDER : OF_FILE;
    opened.readable = (flags & O_ACCMODE) != O_WRONLY;
    opened.writable = (flags & O_ACCMODE) != O_RDONLY;
    opened.append = (flags & O_APPEND) != 0;
    opened.written = place.node != nullptr && (flags & O_TRUNC) != 0; // also when it is opened to be read
    opened.path = place.path;
    opened.node = place.node;
    if (opened.written)
        set(opened.path, "");
    if (opened.node != nullptr && opened.node->generator)
        load(*opened.node, opened.text);
    return fd;
}

int Files::open_text(std::string_view name, std::string_view text)
{
    const int fd = new_descriptor();
    Descriptor &opened = *descriptor(fd);
    opened.kind = OF_PIPE;
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
    if (from->kind == OF_FOLDER)
        return fail(EISDIR);
    const std::string &text = from->content();
    const size_t left = from->position < text.size() ? text.size() - from->position : 0;
    const size_t got = std::min(size, left);
    memcpy(buffer, text.data() + std::min(from->position, text.size()), got);
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
    std::string &text = to->node->text;
    if (to->node->generator) {
        text = to->text;
        to->node->generator = nullptr;
    }
    if (to->append)
        to->position = text.size();
    if (size > 0 && text.size() < to->position + size)
        text.resize(to->position + size, '\0');
    text.replace(std::min(to->position, text.size()), size, data, size);
    to->position += size;
    to->written = true;
    return static_cast<ssize_t>(size);
}

int Files::sync(int fd)
{
    return descriptor(fd) == nullptr ? -1 : 0;
}

int Files::truncate(int fd, off_t size)
{
    if (size < 0)
        return fail(EINVAL);
    Descriptor *const of = descriptor(fd);
    if (of == nullptr)
        return -1;
    if (!of->writable)
        return fail(EINVAL);
    of->content().resize(static_cast<size_t>(size), '\0');
    of->written = true;
    return 0;
}

int Files::status(int fd, struct stat *out)
{
    Descriptor *const of = descriptor(fd);
    if (of == nullptr)
        return -1;
    *out = {};
    out->st_mode = of->kind == OF_FOLDER ? S_IFDIR | 0755 : S_IFIFO | 0600;
    if (of->node != nullptr) {
        out->st_mode = S_IFREG | of->node->mode;
        out->st_size = static_cast<off_t>(of->content().size());
        out->st_uid = of->node->user;
        out->st_gid = of->node->group;
    }
    return 0;
}

Files::Node *Files::node_of(int fd)
{
    const Descriptor *const of = descriptor(fd);
    if (of != nullptr && of->node == nullptr)
        throw std::logic_error("mode or owner of what is no file, which the virtual router does not know");
    return of == nullptr ? nullptr : of->node.get();
}

// As the kernel, it takes what a program would run under away with the old owner.
int Files::change_owner(int fd, uid_t user, gid_t group)
{
    Node *const node = node_of(fd);
    if (node == nullptr)
        return -1;
    if (user != static_cast<uid_t>(-1))
        node->user = user;
    if (group != static_cast<gid_t>(-1))
        node->group = group;
    node->mode &= ~static_cast<mode_t>((node->mode & S_IXGRP) != 0 ? S_ISUID | S_ISGID : S_ISUID);
    return 0;
}

int Files::change_mode(int fd, mode_t mode)
{
    Node *const node = node_of(fd);
    if (node == nullptr)
        return -1;
    node->mode = mode & 07777;
    return 0;
}

int Files::close(int fd)
{
    Descriptor *const closed = descriptor(fd);
    if (closed == nullptr)
        return -1;
    closed->in_use = false;
    closed->node = nullptr;
    if (closed->written)
        router().journal.file_act("write " + closed->path);
    return 0;
}

} // namespace sim
