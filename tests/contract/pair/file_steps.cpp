// Files, links and folders. The model keeps nobody out, so modes stay below 01000 and owners are root; folders are made
// by the world alone, and neither renamed nor given modes, which the model says it cannot.
#include <algorithm>
#include <cerrno>
#include <vector>

#include "tests/contract/pair/file_words.h"
#include "tests/contract/pair/libc_steps.h"

namespace pair
{
namespace
{

std::vector<int> slots; // descriptors, open or not any more

void begin_files()
{
    for (const int fd : slots)
        if (fd >= 0)
            libc.close(fd);
    slots.assign(SLOTS, -1);
    begin_libc();
    libc.make_folder(libc.in("d"));
    libc.make_folder(libc.in("d/e"));
}

// ---- runs ----

std::string path_of(const std::string &name)
{
    return name.empty() ? "" : libc.in(name);
}

int &fd_of(const std::string &word)
{
    return slots[static_cast<size_t>(number_of(word)) % SLOTS];
}

void run_open(const Words &words, Answer &answer)
{
    int &fd = fd_of(words[0]);
    if (fd >= 0)
        libc.close(fd);
    fd = libc.open(path_of(words[1]).c_str(), number_of(words[2]), static_cast<mode_t>(number_of(words[3])));
    answer.result(fd < 0 ? -1 : 0);
}

void run_read(const Words &words, Answer &answer)
{
    char buffer[64];
    const auto size = static_cast<size_t>(number_of(words[1])) % sizeof buffer;
    const ssize_t got = libc.read(fd_of(words[0]), buffer, size);
    answer.result(got);
    if (got > 0)
        answer.text({buffer, static_cast<size_t>(got)});
}

void run_write(const Words &words, Answer &answer)
{
    answer.result(libc.write(fd_of(words[0]), words[1].data(), words[1].size()));
}

void run_fsync(const Words &words, Answer &answer)
{
    answer.result(libc.fsync(fd_of(words[0])));
}

void run_ftruncate(const Words &words, Answer &answer)
{
    answer.result(libc.ftruncate(fd_of(words[0]), number_of(words[1])));
}

struct stat status_of(int fd, int *result)
{
    struct stat status = {};
    *result = libc.fstat(fd, &status);
    return status;
}

void run_fstat(const Words &words, Answer &answer)
{
    int result = 0;
    const struct stat status = status_of(fd_of(words[0]), &result);
    answer.result(result);
    answer.number(status.st_mode & S_IFMT);
    if (!S_ISREG(status.st_mode))
        return;
    answer.number(status.st_mode & 07777);
    answer.number(status.st_size);
    answer.number(status.st_uid);
    answer.number(status.st_gid);
}

bool is_folder(int fd)
{
    int result = 0;
    return S_ISDIR(status_of(fd, &result).st_mode);
}

void run_fchmod(const Words &words, Answer &answer)
{
    if (is_folder(fd_of(words[0])))
        return answer.word("a folder");
    answer.result(libc.fchmod(fd_of(words[0]), static_cast<mode_t>(number_of(words[1]))));
}

void run_fchown(const Words &words, Answer &answer)
{
    if (is_folder(fd_of(words[0])))
        return answer.word("a folder");
    answer.result(
        libc.fchown(fd_of(words[0]), static_cast<uid_t>(number_of(words[1])), static_cast<gid_t>(number_of(words[2]))));
}

// The slot keeps its number, so that a closed one is asked, too.
void run_close(const Words &words, Answer &answer)
{
    answer.result(libc.close(fd_of(words[0])));
    fd_of(words[0]) = -1;
}

void run_closed(const Words &words, Answer &answer)
{
    const int fd = fd_of(words[0]);
    fd_of(words[0]) = -1;
    libc.close(fd);
    answer.result(libc.close(fd));
    answer.result(libc.read(fd, nullptr, 0));
    answer.result(libc.write(fd, "", 0));
    answer.result(libc.fsync(fd));
    answer.result(libc.ftruncate(fd, 0));
    answer.result(libc.fchmod(fd, 0600));
    answer.result(libc.fchown(fd, 0, 0));
}

void run_rename(const Words &words, Answer &answer)
{
    const std::string from = path_of(words[0]);
    std::string bare = from;
    while (bare.size() > 1 && bare.ends_with('/'))
        bare.pop_back();
    if (libc.kind_of(bare) == 'd')
        return answer.word("a folder");
    answer.result(libc.rename(from.c_str(), path_of(words[1]).c_str()));
}

void run_unlink(const Words &words, Answer &answer)
{
    answer.result(libc.unlink(path_of(words[0]).c_str()));
}

void run_readlink(const Words &words, Answer &answer)
{
    char target[100];
    const size_t size = std::min(static_cast<size_t>(number_of(words[1])), sizeof target);
    const ssize_t length = libc.readlink(path_of(words[0]).c_str(), target, size);
    answer.result(length);
    if (length > 0)
        answer.text({target, static_cast<size_t>(length)});
}

// The order is the file system's.
void run_list(const Words &words, Answer &answer)
{
    DIR *const folder = libc.opendir(path_of(words[0]).c_str());
    answer.pointer(folder);
    if (folder == nullptr)
        return;
    std::vector<std::string> names;
    errno = 0;
    for (const dirent *entry = libc.readdir(folder); entry != nullptr; entry = libc.readdir(folder))
        names.emplace_back(entry->d_name);
    answer.number(errno);
    std::ranges::sort(names);
    for (const std::string &name : names)
        answer.text(name);
    answer.pointer((errno = 0, libc.readdir(folder)));
    answer.result(libc.closedir(folder));
}

// ---- what others do ----

void run_set(const Words &words, Answer &answer)
{
    const std::string path = path_of(words[0]);
    const char kind = libc.kind_of(path);
    answer.word({&kind, 1});
    if (kind == 'f' || kind == '-')
        libc.set_file(path, words[1]);
}

void run_link(const Words &words, Answer &answer)
{
    const std::string path = path_of(words[0]);
    const char kind = libc.kind_of(path);
    answer.word({&kind, 1});
    if (kind == '-')
        libc.make_link(path, words[1]);
}

void run_take(const Words &words, Answer &answer)
{
    const std::string path = path_of(words[0]);
    const char kind = libc.kind_of(path);
    answer.word({&kind, 1});
    if (kind != 'd' && kind != '-')
        libc.take_away(path);
}

} // namespace

const Family files = {.name = "files",
                      .steps = {{"open", "open", 24, open_words, run_open},
                                {"read", "read", 12, read_words, run_read},
                                {"write", "write", 16, text_words, run_write},
                                {"fsync", "fsync", 3, slot_words, run_fsync},
                                {"ftruncate", "ftruncate", 8, size_words, run_ftruncate},
                                {"fstat", "fstat", 10, slot_words, run_fstat},
                                {"fchmod", "fchmod", 5, mode_words, run_fchmod},
                                {"fchown", "fchown", 5, owner_words, run_fchown},
                                {"close", "close", 6, slot_words, run_close},
                                {"closed", "close read write fsync ftruncate fchmod fchown", 1, slot_words, run_closed},
                                {"rename", "rename", 14, two_names, run_rename},
                                {"unlink", "unlink", 8, name_words, run_unlink},
                                {"readlink", "readlink", 8, readlink_words, run_readlink},
                                {"list", "opendir readdir closedir", 5, name_words, run_list},
                                {"set", "", 8, set_words, run_set},
                                {"link", "", 12, link_words, run_link},
                                {"take", "", 3, plain_words, run_take}},
                      .longest = 25,
                      .in_own_process = false,
                      .begin = begin_files,
                      .end = nullptr};

} // namespace pair
