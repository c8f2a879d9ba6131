// The virtual files, and what the daemon has open of them.
//
// All of it is memory of the test program; no file of the host is ever opened. What is not simulated: a full or broken
// medium (Faults has its errors), short reads and writes, times of change, inode numbers, hard links, locks, and access
// rights, for the daemon is root. A restart keeps every file, those of folders that a router holds in memory too.
#ifndef PLATFORM_SIM_FILES_H
#define PLATFORM_SIM_FILES_H

#include <cerrno>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/types.h>
#include <vector>

#include "platform/sim/text_map.h"

namespace sim
{

class Files
{
public:
    // Writes the present text of a file such as /proc/stat into an empty string. It may ask the router and its clock;
    // it runs inside the daemon's call, and must not wait.
    using Generator = std::function<void(std::string &text)>;

    // ---- for the test ----
    // Paths are /proc, /sys and /etc too; a relative one is a name of its own. A path with files under it is a folder.
    // Here a path is taken to the letter: no link is followed, so that the text of a link is "". Folders on the way are
    // made. The daemon sees a change at its next call, also in what it has open already.

    // Makes or changes a file. A new one is 644 0:0; one that was there keeps its permissions, and loses its generator
    // and its error.
    void set(std::string_view path, std::string_view text);
    // A file whose text is made each time when it is opened or text_of() asks. Once the daemon writes to it, it is an
    // ordinary file.
    void generate(std::string_view path, Generator generator);
    // Opening it fails with this errno, until set() or generate() makes it anew. Renaming and unlinking go on.
    void set_unreadable(std::string_view path, int error = EACCES);
    // Declares a path absent on purpose. Opening a path that is neither there nor declared fails like any absent file
    // and is remembered; but /proc/PID/stat and what lies in /sys/class/net come and go without a word. A file that is
    // there is taken away, and one made later is there.
    void set_missing(std::string_view path);
    // An empty folder, or one that has files already, which stay.
    void set_directory(std::string_view path);
    // A symbolic link, which hides a file of its name. `target` may be a link itself, or relative to the link's folder,
    // or lead nowhere; after 40 links the daemon gets ELOOP.
    void set_link(std::string_view path, std::string_view target);
    // Takes a file, a link or an empty folder away, if it is there; of a folder, not what lies in it. The path is then
    // absent on purpose. Who has the file open reads on.
    void remove(std::string_view path);
    void set_permissions(std::string_view path, mode_t mode, uid_t user, gid_t group);
    std::string permissions_of(std::string_view path) const; // "640 0:4"; "" when there is no such file
    // Of files alone: false for folders and links.
    bool exists(std::string_view path) const
    {
        return nodes_.value_of(path) != nullptr;
    }
    std::string text_of(std::string_view path) const; // "" when there is none
    // What the daemon tried to open without anybody having said that it is absent, in order, each
    // path once.
    const std::vector<std::string> &unknown_paths() const
    {
        return unknown_;
    }
    // Paths of what the daemon has open now; not those of folders that it lists (Streams).
    std::vector<std::string> open_paths() const;
    // What is open is closed, without the journal's line for what was written.
    void machine_restarted();

    // ---- the daemon's side: as the system calls, -1 and errno ----
    //
    // Sizes and positions are in bytes, modes as in chmod(2). No call takes time, and none is cut short. What cannot be
    // modelled throws std::logic_error, which ends the program when a thread of the daemon asks: renaming a folder, the
    // mode or owner of a folder or pipe.

    // Knows access mode, O_CREAT, O_EXCL, O_TRUNC, O_APPEND, O_NOFOLLOW and O_DIRECTORY; other flags change nothing.
    // The umask is 022. Gives the lowest number from 3 that is free; there is always one.
    int open(const char *name, int flags, mode_t mode = 0666);
    // A pipe to read `text` from, to its end and never waiting for more; `name` is what open_paths() tells.
    int open_text(std::string_view name, std::string_view text);
    ssize_t read(int fd, char *buffer, size_t size);
    ssize_t write(int fd, const char *data, size_t size);
    int sync(int fd);
    int truncate(int fd, off_t size);
    // Type, mode, owner and size; the rest is 0.
    int status(int fd, struct stat *out);
    int change_owner(int fd, uid_t user, gid_t group);
    int change_mode(int fd, mode_t mode);
    // The moment when the journal gets "write PATH", if anything was written, cut off or emptied through this
    // descriptor.
    int close(int fd);
    int rename(const char *from, const char *to);
    int unlink(const char *path);
    ssize_t read_link(const char *path, char *target, size_t size);
    // The names in a directory, sorted after "." and ".."; false and errno: there is no such directory.
    bool list(const char *path, std::vector<std::string> &names);

private:
    // A file apart from its names: links lead to a name, and a file that was renamed or taken away lives on while it is
    // open. With a generator, `text` is what it was before.
    struct Node {
        std::string text;
        Generator generator;
        int error = 0;
        mode_t mode = 0644;
        uid_t user = 0;
        gid_t group = 0;
    };
    using NodeRef = std::shared_ptr<Node>; // who has a file open keeps it when its name is gone
    enum DescriptorKind : uint8_t { OF_FILE, OF_FOLDER, OF_PIPE };
    // Its number is its place in descriptors_, which is used again after the close.
    struct Descriptor {
        bool in_use = false;
        bool writable = false;
        bool readable = false;
        bool append = false;
        bool written = false;
        DescriptorKind kind = OF_FILE;
        size_t position = 0;
        std::string path;
        NodeRef node;
        std::string text; // of a pipe; of a generated file, as it was when it was opened
        std::string &content()
        {
            return node == nullptr || node->generator ? text : node->text;
        }
    };
    // Where a name leads: `path` is that of a file (with a node), of a folder, of a link that is not followed, or of
    // what is not there.
    struct Place {
        std::string path;
        NodeRef node;
        bool is_folder = false;
        bool is_link = false;    // the error is then that of who wants to open it
        bool is_slashed = false; // there are slashes behind the last name
        bool is_dots = false;    // the last name is "." or ".."
        bool is_on_way = false;  // the error is one of the folders on the way
        int error = 0;           // why it can be none of them
    };
    // What becomes of the last name: a link is followed; it is kept, but for one with slashes behind it; it is made,
    // and must be none with slashes; it is taken as it is.
    enum LastName : uint8_t { FOLLOWED = 0, KEPT = 1, MADE = 2, AS_IT_IS = 4 };
    static constexpr int FIRST_FD = 3;

    int fail(int error) const;
    int absent(std::string_view path);
    int fail_at(const Place &place);
    int open_place(const Place &place, int flags);
    Place place_of(std::string_view name, int last) const;
    Place place_on_way(std::string_view name, int last) const;
    bool ends_way(Place &place, int last) const;
    int error_of_way(const Place &place) const;
    int error_of_parents(std::string_view path) const;
    bool has_parent(std::string_view path) const;
    Node &node_at(std::string_view path);
    void make_parents(std::string_view path);
    int new_descriptor();
    Descriptor *descriptor(int fd);
    Node *node_of(int fd);
    void load(const Node &node, std::string &text) const;

    // By full path. One path may be in several of them: a link counts before a file, a file before a folder, and being
    // declared missing only when it is nothing of these.
    TextMap<NodeRef> nodes_;
    TextMap<std::string> links_;
    std::set<std::string, std::less<>> directories_;
    std::set<std::string, std::less<>> missing_;
    std::vector<std::string> unknown_;
    std::vector<Descriptor> descriptors_;
};

} // namespace sim

#endif
