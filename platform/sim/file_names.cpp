// Where a file's name leads, through links, past folders or nowhere, and the calls that are about names alone.
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>

#include "platform/sim/files.h"
#include "platform/sim/virtual_router.h"

namespace sim
{
namespace
{

constexpr size_t LONGEST_PATH = 4095;
constexpr size_t LONGEST_NAME = 255;
constexpr int MOST_LINKS = 40;

bool is_too_long(std::string_view path)
{
    if (path.size() > LONGEST_PATH)
        return true;
    for (size_t begin = 0; begin < path.size();) {
        const size_t end = std::min(path.find('/', begin), path.size());
        if (end - begin > LONGEST_NAME)
            return true;
        begin = end + 1;
    }
    return false;
}

std::string target_of(const std::string &link, const std::string &target)
{
    if (target.starts_with('/') || link.find('/') == std::string::npos)
        return target;
    return (std::filesystem::path(link).parent_path() / target).lexically_normal().string();
}

} // namespace

void Files::make_parents(std::string_view path)
{
    for (size_t end = path.rfind('/'); end != std::string_view::npos && end > 0; end = path.rfind('/', end - 1))
        if (!directories_.emplace(path.substr(0, end)).second)
            break;
}

Files::Node &Files::node_at(std::string_view path)
{
    NodeRef &node = nodes_.at_key(path);
    if (node == nullptr) {
        node = std::make_shared<Node>();
        make_parents(path);
    }
    return *node;
}

bool Files::has_parent(std::string_view path) const
{
    const size_t end = path.rfind('/');
    return end == std::string_view::npos || end == 0 || directories_.contains(path.substr(0, end));
}

// A file on the way is no folder. 0: none of them is.
int Files::error_of_parents(std::string_view path) const
{
    for (size_t end = path.rfind('/'); end != std::string_view::npos && end > 0; end = path.rfind('/', end - 1))
        if (nodes_.value_of(path.substr(0, end)) != nullptr)
            return ENOTDIR;
    return 0;
}

Files::Place Files::place_of(std::string_view name, bool follow_last) const
{
    Place place;
    place.path = name;
    if (is_too_long(name)) {
        place.error = ENAMETOOLONG;
        return place;
    }
    const bool is_slashed = place.path.size() > 1 && place.path.ends_with('/');
    while (place.path.size() > 1 && place.path.ends_with('/'))
        place.path.pop_back();
    int links = 0;
    for (const std::string *target = links_.value_of(place.path); target != nullptr;
         target = links_.value_of(place.path)) {
        if (!follow_last || ++links > MOST_LINKS) {
            place.error = ELOOP; // or it is a link, and that is what was asked for
            return place;
        }
        place.path = target_of(place.path, *target);
    }
    if (const NodeRef *const node = nodes_.value_of(place.path); node != nullptr) {
        place.node = *node;
        place.error = is_slashed ? ENOTDIR : 0;
        return place;
    }
    place.is_folder = place.path == "/" || directories_.contains(place.path);
    if (!place.is_folder)
        place.error = error_of_parents(place.path);
    return place;
}

int Files::fail_at(const Place &place)
{
    return place.error != 0 ? fail(place.error) : absent(place.path);
}

// ---- the daemon's side ----

int Files::rename(const char *from, const char *to)
{
    const Place old = place_of(from, false);
    const Place fresh = place_of(to, false);
    const std::string *const link = links_.value_of(old.path);
    if ((old.error != 0 && link == nullptr) || (fresh.error != 0 && !links_.contains(fresh.path)))
        return fail(old.error != 0 ? old.error : fresh.error);
    if (old.is_folder)
        throw std::logic_error("a folder is renamed, which the virtual router cannot");
    if ((old.node == nullptr && link == nullptr) || !has_parent(fresh.path))
        return fail(ENOENT);
    if (fresh.is_folder)
        return fail(EISDIR);
    if (old.path != fresh.path) {
        const std::string target = link == nullptr ? "" : *link;
        remove(old.path);
        remove(fresh.path);
        if (old.node == nullptr)
            set_link(fresh.path, target);
        else
            nodes_.at_key(fresh.path) = old.node;
    }
    router().journal.file_act(std::string("rename ") + from + " " + to);
    return 0;
}

int Files::unlink(const char *path)
{
    const Place place = place_of(path, false);
    const bool is_link = links_.contains(place.path);
    if (place.error != 0 && !is_link)
        return fail(place.error);
    if (place.is_folder)
        return fail(EISDIR);
    if (place.node == nullptr && !is_link)
        return fail(ENOENT);
    remove(place.path);
    router().journal.file_act(std::string("unlink ") + path);
    return 0;
}

ssize_t Files::read_link(const char *path, char *target, size_t size)
{
    if (size == 0)
        return fail(EINVAL);
    const Place place = place_of(path, false);
    const std::string *const link = links_.value_of(place.path);
    if (link == nullptr)
        return place.error == 0 && (place.node != nullptr || place.is_folder) ? fail(EINVAL) : fail_at(place);
    return static_cast<ssize_t>(link->copy(target, size)); // not terminated, as the system call
}

static void add_names_below(const std::string &folder, const auto &paths, std::set<std::string> &names)
{
    for (const auto &each : paths) {
        std::string_view path;
        if constexpr (requires { each.second; })
            path = each.first;
        else
            path = each;
        if (path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/')
            names.emplace(path.substr(folder.size() + 1, path.find('/', folder.size() + 1) - folder.size() - 1));
    }
}

bool Files::list(const char *path, std::vector<std::string> &names)
{
    const Place place = place_of(path, true);
    if (!place.is_folder) {
        fail_at(place);
        if (place.node != nullptr)
            errno = ENOTDIR;
        return false;
    }
    const std::string folder = place.path == "/" ? "" : place.path;
    std::set<std::string> found;
    add_names_below(folder, nodes_, found);
    add_names_below(folder, links_, found);
    add_names_below(folder, directories_, found);
    names = {".", ".."};
    names.insert(names.end(), found.begin(), found.end());
    return true;
}

} // namespace sim
