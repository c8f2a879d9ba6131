// Where a file's name leads, through links, past folders or nowhere, and the calls that are about names alone.
#include <algorithm>
#include <cerrno>
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

bool has_long_name(std::string_view path)
{
    for (size_t begin = 0; begin < path.size();) {
        const size_t end = std::min(path.find('/', begin), path.size());
        if (end - begin > LONGEST_NAME)
            return true;
        begin = end + 1;
    }
    return false;
}

// Whether there is more in a path than names one after the other.
bool is_plain(std::string_view path)
{
    return path.find("//") == std::string_view::npos && path.find("/.") == std::string_view::npos &&
           !path.ends_with('/') && !path.starts_with('.') && !has_long_name(path);
}

// A path on its way through folders and links.
struct Way {
    std::string at;   // the folder reached; "" is the root, and where a relative path begins
    std::string rest; // what is left
    std::string name; // the next one
    bool is_absolute;
    bool is_last = false;    // nothing but slashes behind the name
    bool is_slashed = false; // and there are some

    explicit Way(std::string_view path) : rest(path), is_absolute(path.starts_with('/'))
    {
    }
    // False: there is no further name.
    bool next()
    {
        const size_t begin = rest.find_first_not_of('/');
        if (begin == std::string::npos)
            return false;
        const size_t end = std::min(rest.find('/', begin), rest.size());
        name = rest.substr(begin, end - begin);
        rest.erase(0, end);
        is_last = rest.find_first_not_of('/') == std::string::npos;
        is_slashed = is_last && !rest.empty();
        return true;
    }
    std::string path() const
    {
        return at.empty() && !is_absolute ? name : at + "/" + name;
    }
    void follow(const std::string &target)
    {
        rest = target + rest;
        if (target.starts_with('/')) {
            at.clear();
            is_absolute = true;
        }
    }
    void go_up()
    {
        const size_t end = at.rfind('/');
        at.erase(end == std::string::npos ? 0 : end);
    }
};

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

// Most names are those of files, or of nothing; only what is neither is gone through name by name.
Files::Place Files::place_of(std::string_view name, int last) const
{
    Place place;
    place.path = name;
    if (name.empty() || name.size() > LONGEST_PATH) {
        place.error = name.empty() ? ENOENT : ENAMETOOLONG;
        place.is_on_way = true;
        return place;
    }
    const NodeRef *const node = links_.value_of(name) != nullptr ? nullptr : nodes_.value_of(name);
    if (node != nullptr)
        place.node = *node;
    else if (!links_.empty() || !is_plain(name))
        return place_on_way(name, last);
    else if (!(place.is_folder = directories_.contains(name)))
        place.error = error_of_parents(name);
    place.is_on_way = place.error != 0;
    return place;
}

Files::Place Files::place_on_way(std::string_view name, int last) const
{
    Place place;
    Way way(name);
    for (int links = 0; way.next();) {
        place.path = way.path();
        place.is_slashed = way.is_slashed;
        place.is_dots = way.name == "." || way.name == "..";
        if (way.name.size() > LONGEST_NAME)
            place.error = ENAMETOOLONG;
        if (way.name == "..")
            way.go_up();
        if (place.is_dots)
            continue;
        const std::string *const target = links_.value_of(place.path);
        if (way.is_last && (place.error != 0 || ends_way(place, last)))
            return place;
        if (target != nullptr && ++links > MOST_LINKS)
            place.error = ELOOP;
        else if (target == nullptr && nodes_.value_of(place.path) != nullptr)
            place.error = ENOTDIR;
        place.is_on_way = true;
        if (place.error != 0 || (target == nullptr && !directories_.contains(place.path))) {
            place.path += way.rest;
            return place;
        }
        place.is_on_way = false;
        if (target != nullptr)
            way.follow(*target);
        else
            way.at = place.path;
    }
    place.is_folder = true;
    place.path = way.at.empty() ? "/" : way.at;
    return place;
}

// Whether the last name is where the way ends: everything but a folder, and a link that is followed.
bool Files::ends_way(Place &place, int last) const
{
    const NodeRef *const node = nodes_.value_of(place.path);
    if (place.is_slashed && (last & MADE) != 0) {
        place.error = EISDIR;
    } else if (links_.value_of(place.path) != nullptr) {
        place.is_link = (last & AS_IT_IS) != 0 || ((last & KEPT) != 0 && !place.is_slashed);
        place.error = place.is_link ? ELOOP : 0;
        return place.is_link;
    } else if (node != nullptr) {
        place.node = *node;
        place.error = place.is_slashed ? ENOTDIR : 0;
    } else {
        return !directories_.contains(place.path);
    }
    return true;
}

// Of the folders that lead to the last name.
int Files::error_of_way(const Place &place) const
{
    if (place.is_on_way && place.error != 0)
        return place.error;
    return place.path.empty() || (!place.is_dots && !has_parent(place.path)) ? ENOENT : 0;
}

int Files::fail_at(const Place &place)
{
    return place.error != 0 ? fail(place.error) : absent(place.path);
}

// ---- the daemon's side ----

// The kernel's order of looks, which is what errno hangs on.
int Files::rename(const char *from, const char *to)
{
    const Place old = place_of(from, AS_IT_IS);
    const Place fresh = place_of(to, AS_IT_IS);
    const bool is_there = old.node != nullptr || old.is_link || old.is_folder;
    if (const int error = error_of_way(old) != 0 ? error_of_way(old) : error_of_way(fresh); error != 0)
        return fail(error);
    if (old.is_dots || fresh.is_dots)
        return fail(EBUSY);
    if (!is_there)
        return fail(old.error != 0 ? old.error : ENOENT);
    if (fresh.error == ENAMETOOLONG)
        return fail(ENAMETOOLONG);
    if (old.is_folder)
        throw std::logic_error("a folder is renamed, which the virtual router cannot");
    if (old.is_slashed || fresh.is_slashed)
        return fail(ENOTDIR);
    if (fresh.is_folder)
        return fail(old.path.starts_with(fresh.path + "/") ? ENOTEMPTY : EISDIR);
    if (old.path != fresh.path) {
        const std::string target = old.is_link ? *links_.value_of(old.path) : "";
        remove(old.path);
        remove(fresh.path);
        if (old.is_link)
            set_link(fresh.path, target);
        else
            nodes_.at_key(fresh.path) = old.node;
    }
    router().journal.file_act(std::string("rename ") + from + " " + to);
    return 0;
}

int Files::unlink(const char *path)
{
    const Place place = place_of(path, AS_IT_IS);
    if (const int error = error_of_way(place); error != 0)
        return fail(error);
    if (place.is_dots || place.is_folder)
        return fail(EISDIR);
    if (place.node == nullptr && !place.is_link)
        return fail(place.error != 0 ? place.error : ENOENT);
    if (place.is_slashed)
        return fail(ENOTDIR);
    remove(place.path);
    router().journal.file_act(std::string("unlink ") + path);
    return 0;
}

ssize_t Files::read_link(const char *path, char *target, size_t size)
{
    if (size == 0)
        return fail(EINVAL);
    const Place place = place_of(path, KEPT);
    if (!place.is_link)
        return place.error == 0 && (place.node != nullptr || place.is_folder) ? fail(EINVAL) : fail_at(place);
    return static_cast<ssize_t>(links_.value_of(place.path)->copy(target, size)); // not terminated, as the system call
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
    const Place place = place_of(path, FOLLOWED);
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
