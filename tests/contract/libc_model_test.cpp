// The virtual router's libc calls give what libc and the kernel give: every sequence runs on both, in a scratch folder
// and in the model, and all results, errors and texts read must agree.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <netdb.h>
#include <ostream>
#include <string>
#include <string_view>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>
#include <vector>

#include "tests/contract/two_libcs.h"

namespace
{

// What came of the calls, a line each.
class Trace
{
public:
    // A result, and the error when it is negative. Descriptors are not told apart.
    int fd(const std::string &what, int fd)
    {
        add(what, fd < 0 ? -1 : 0, fd < 0);
        return fd;
    }
    void result(const std::string &what, long long value)
    {
        add(what, value, value < 0);
    }
    void pointer(const std::string &what, const void *pointer)
    {
        add(what, pointer == nullptr ? -1 : 0, pointer == nullptr);
    }
    void text(const std::string &what, std::string_view text)
    {
        lines.push_back(what + " \"" + std::string(text) + "\"");
    }
    std::vector<std::string> lines;

private:
    void add(const std::string &what, long long value, bool failed)
    {
        const int error = errno;
        lines.push_back(what + " " + std::to_string(value) + (failed ? std::string(" ") + strerrorname_np(error) : ""));
    }
};

// ---- words for sequences ----

void put(const Libc &c, const std::string &name, std::string_view text)
{
    const int fd = c.open(c.in(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ASSERT_GE(fd, 0) << name;
    ASSERT_EQ(c.write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    c.close(fd);
}

int open_of(const Libc &c, Trace &t, const std::string &name, int flags)
{
    return t.fd("open " + name + " " + std::to_string(flags), c.open(c.in(name).c_str(), flags, 0644));
}

void read_of(const Libc &c, Trace &t, int fd, size_t size)
{
    char buffer[128];
    errno = 0;
    const ssize_t got = c.read(fd, buffer, size);
    t.result("read", got);
    if (got > 0)
        t.text("got", {buffer, static_cast<size_t>(got)});
}

void write_of(const Libc &c, Trace &t, int fd, std::string_view text)
{
    t.result("write", c.write(fd, text.data(), text.size()));
}

// What a file holds for one who opens it now.
void text_of(const Libc &c, Trace &t, const std::string &name)
{
    const int fd = open_of(c, t, name, O_RDONLY);
    if (fd >= 0) {
        read_of(c, t, fd, 100);
        t.result("close", c.close(fd));
    }
}

// ---- sequences ----

void reading(const Libc &c, Trace &t)
{
    put(c, "file", "0123456789");
    const int fd = open_of(c, t, "file", O_RDONLY);
    for (const size_t size : {size_t{0}, size_t{3}, size_t{100}, size_t{100}, size_t{0}})
        read_of(c, t, fd, size);
    write_of(c, t, fd, "x");
    write_of(c, t, fd, "");
    t.result("ftruncate", c.ftruncate(fd, 3));
    t.result("fsync", c.fsync(fd));
    t.result("close", c.close(fd));
    t.result("close", c.close(fd));
    read_of(c, t, fd, 1);
    write_of(c, t, fd, "x");
    t.result("fsync", c.fsync(fd));
    t.result("ftruncate", c.ftruncate(fd, 0));
    t.result("close", c.close(-1));
    text_of(c, t, "file");
}

void cutting(const Libc &c, Trace &t)
{
    put(c, "file", "0123456789");
    const int fd = open_of(c, t, "file", O_RDWR);
    read_of(c, t, fd, 8);
    t.result("ftruncate", c.ftruncate(fd, -1));
    t.result("ftruncate", c.ftruncate(fd, 3));
    read_of(c, t, fd, 100); // behind the end
    text_of(c, t, "file");
    write_of(c, t, fd, "AB"); // and what lies between is zeros
    text_of(c, t, "file");
    t.result("ftruncate", c.ftruncate(fd, 5));
    t.result("ftruncate", c.ftruncate(fd, 12));
    read_of(c, t, fd, 100);
    t.result("close", c.close(fd));
    text_of(c, t, "file");
}

void writing(const Libc &c, Trace &t)
{
    const int fd = open_of(c, t, "file", O_WRONLY | O_CREAT);
    read_of(c, t, fd, 1);
    write_of(c, t, fd, "first\n");
    text_of(c, t, "file"); // at once
    const int second = open_of(c, t, "file", O_WRONLY | O_APPEND);
    write_of(c, t, second, "second\n");
    write_of(c, t, fd, "FIRST\n");
    write_of(c, t, second, "third\n");
    text_of(c, t, "file");
    const int third = open_of(c, t, "file", O_RDWR | O_TRUNC);
    read_of(c, t, third, 10);
    write_of(c, t, second, "fourth\n");
    read_of(c, t, third, 10);
    for (const int each : {fd, second, third})
        t.result("close", c.close(each));
    text_of(c, t, "file");
}

void opening(const Libc &c, Trace &t)
{
    c.make_folder(c.in("folder"));
    put(c, "file", "text");
    for (const int flags : {O_RDONLY, O_WRONLY, O_RDWR | O_CREAT, O_WRONLY | O_CREAT | O_EXCL, O_RDONLY | O_DIRECTORY})
        for (const char *name : {"file", "folder", "folder/missing/file", "file/below", "file/"}) {
            const int fd = open_of(c, t, name, flags);
            if (fd >= 0)
                read_of(c, t, fd, 10);
            if (fd >= 0)
                c.close(fd);
        }
    t.fd("absent", c.open(c.in("absent").c_str(), O_RDONLY));
    t.fd("empty", c.open("", O_RDONLY));
    open_of(c, t, std::string(256, 'n'), O_RDONLY);
    open_of(c, t, std::string(5000, 'n'), O_RDONLY);
}

void taking_away(const Libc &c, Trace &t)
{
    c.make_folder(c.in("folder"));
    put(c, "file", "text");
    const int fd = open_of(c, t, "file", O_RDWR);
    t.result("unlink", c.unlink(c.in("file").c_str()));
    t.result("unlink", c.unlink(c.in("file").c_str()));
    t.result("unlink folder", c.unlink(c.in("folder").c_str()));
    read_of(c, t, fd, 2); // who has it open keeps it
    write_of(c, t, fd, "A");
    read_of(c, t, fd, 10);
    t.result("close", c.close(fd));
    text_of(c, t, "file");
    t.result("unlink below a file", c.unlink(c.in("absent/file").c_str()));
}

void renaming(const Libc &c, Trace &t)
{
    const auto rename = [&](const std::string &from, const std::string &to) {
        t.result("rename " + from + " " + to, c.rename(c.in(from).c_str(), c.in(to).c_str()));
    };
    c.make_folder(c.in("folder"));
    put(c, "old", "old");
    put(c, "new", "new");
    const int of_old = open_of(c, t, "old", O_RDWR);
    const int of_new = open_of(c, t, "new", O_RDWR);
    rename("absent", "old");
    rename("new", "folder");
    rename("new", "nowhere/new");
    rename("new", "old/below");
    rename("new", "new");
    rename("new", "old");
    read_of(c, t, of_old, 10);
    write_of(c, t, of_new, "NEWER");
    write_of(c, t, of_old, "lost");
    t.result("close", c.close(of_old));
    t.result("close", c.close(of_new));
    text_of(c, t, "old");
    text_of(c, t, "new");
    rename("old", "folder/old");
    text_of(c, t, "folder/old");
}

void links(const Libc &c, Trace &t)
{
    put(c, "file", "text");
    c.make_folder(c.in("folder"));
    c.make_link(c.in("link"), c.in("file"));
    c.make_link(c.in("second"), c.in("link"));
    c.make_link(c.in("dangling"), c.in("absent"));
    c.make_link(c.in("to_folder"), c.in("folder"));
    c.make_link(c.in("round"), c.in("round"));
    for (const char *name : {"file", "folder", "absent", "file/below", "link", "second", "dangling", "round"}) {
        char target[64];
        errno = 0;
        const std::string path = c.in(name);
        t.result(std::string("readlink 0 ") + name, c.readlink(path.c_str(), target, 0));
        const ssize_t length = c.readlink(path.c_str(), target, 3);
        t.result(std::string("readlink 3 ") + name, length);
        if (length > 0)
            t.text("target", {target, 1});
        text_of(c, t, name);
    }
    const int fd = open_of(c, t, "second", O_WRONLY | O_TRUNC);
    write_of(c, t, fd, "by link");
    t.result("close", c.close(fd));
    text_of(c, t, "file");
    open_of(c, t, "to_folder", O_WRONLY);
}

void status_of(const Libc &c, Trace &t, int fd)
{
    struct stat status = {};
    t.result("fstat", c.fstat(fd, &status));
    t.result("kind", status.st_mode & S_IFMT);
    if (S_ISREG(status.st_mode)) {
        t.result("mode", status.st_mode & 07777);
        t.result("size", status.st_size);
    }
}

void modes(const Libc &c, Trace &t)
{
    umask(022);
    c.make_folder(c.in("folder"));
    put(c, "file", "text");
    const int fd = open_of(c, t, "file", O_RDWR);
    status_of(c, t, fd);
    t.result("fchmod", c.fchmod(fd, 0640));
    write_of(c, t, fd, "longer text");
    status_of(c, t, fd);
    t.result("unlink", c.unlink(c.in("file").c_str()));
    t.result("fchmod", c.fchmod(fd, 0600)); // it has no name, and a mode
    status_of(c, t, fd);
    t.result("close", c.close(fd));
    status_of(c, t, fd);
    t.result("fchmod", c.fchmod(fd, 0600));
    t.result("fchown", c.fchown(fd, getuid(), getgid()));
    const int folder = open_of(c, t, "folder", O_RDONLY);
    status_of(c, t, folder);
    t.result("close", c.close(folder));
    const int fresh = c.open(c.in("fresh").c_str(), O_WRONLY | O_CREAT, 0666);
    status_of(c, t, fresh);
    t.result("close", c.close(fresh));
}

// What is done to a link itself.
void links_themselves(const Libc &c, Trace &t)
{
    put(c, "file", "text");
    for (const char *name : {"a", "b", "c"})
        c.make_link(c.in(name), c.in("file"));
    c.make_link(c.in("dangling"), c.in("absent"));
    for (const char *name : {"a", "dangling"})
        for (const int flags : {O_RDONLY | O_NOFOLLOW, O_WRONLY | O_CREAT | O_EXCL, O_WRONLY | O_CREAT | O_NOFOLLOW})
            open_of(c, t, name, flags);
    t.result("unlink", c.unlink(c.in("a").c_str()));
    t.result("unlink", c.unlink(c.in("a").c_str()));
    t.result("rename", c.rename(c.in("b").c_str(), c.in("moved").c_str()));
    text_of(c, t, "moved");
    text_of(c, t, "b");
    put(c, "new", "new");
    t.result("rename", c.rename(c.in("new").c_str(), c.in("c").c_str())); // over the link, not its file
    text_of(c, t, "c");
    text_of(c, t, "file");
    t.result("rename", c.rename(c.in("moved").c_str(), c.in("c").c_str()));
    text_of(c, t, "c");
    const int made = open_of(c, t, "dangling", O_WRONLY | O_CREAT); // makes what it leads to
    write_of(c, t, made, "made");
    t.result("close", c.close(made));
    text_of(c, t, "absent");
}

void pipes(const Libc &c, Trace &t)
{
    const std::pair<const char *, int> commands[] = {{"echo one; echo two", 0}, {"echo three; exit 3", 3}};
    c.teach_command(commands[0].first, 0, "one\ntwo\n");
    c.teach_command(commands[1].first, 3, "three\n");
    for (const auto &[command, status] : commands) {
        FILE *const pipe = c.popen(command, "r");
        t.pointer("popen", pipe);
        char line[16];
        while (fgets(line, sizeof line, pipe) != nullptr)
            t.text("line", line);
        t.result("seek", fseek(pipe, 0, SEEK_SET));
        t.result("pclose", c.pclose(pipe));
    }
    t.pointer("popen ?", c.popen("true", "?"));
}

void folders(const Libc &c, Trace &t)
{
    c.make_folder(c.in("folder"));
    c.make_folder(c.in("empty"));
    c.make_link(c.in("to_folder"), c.in("folder"));
    put(c, "file", "");
    for (const char *name : {"b", "a", ".hidden"})
        put(c, std::string("folder/") + name, "");
    c.make_folder(c.in("folder/sub"));
    c.make_link(c.in("folder/link"), "nowhere");
    for (const char *name : {"absent", "file", "file/below", "empty", "folder", "folder/", "to_folder"}) {
        DIR *const directory = c.opendir(c.in(name).c_str());
        t.pointer(std::string("opendir ") + name, directory);
        if (directory == nullptr)
            continue;
        std::vector<std::string> names; // their order is the file system's
        errno = 0;
        for (const dirent *entry = c.readdir(directory); entry != nullptr; entry = c.readdir(directory))
            names.emplace_back(entry->d_name);
        t.result("errno at the end", errno);
        std::ranges::sort(names);
        for (const std::string &each : names)
            t.text("entry", each);
        t.pointer("readdir", (errno = 0, c.readdir(directory)));
        t.result("closedir", c.closedir(directory));
    }
}

void pausing(const Libc &c, Trace &t)
{
    timeval none = {};
    t.result("select", c.select(0, nullptr, nullptr, nullptr, &none));
    timeval little = {.tv_sec = 0, .tv_usec = 2000};
    t.result("select", c.select(0, nullptr, nullptr, nullptr, &little));
    t.result("left", little.tv_sec * 1000000 + little.tv_usec);
    timeval negative = {.tv_sec = -1, .tv_usec = 0};
    t.result("select", c.select(0, nullptr, nullptr, nullptr, &negative));
    t.result("select", c.select(-1, nullptr, nullptr, nullptr, &none));
}

// Names would need a name server; addresses do not.
void addresses(const Libc &c, Trace &t)
{
    const hostent *const first = c.gethostbyname("192.0.2.7");
    t.pointer("gethostbyname", first);
    for (const char *address : {"192.0.2.7", "10.0.0.1"}) {
        const hostent *const found = c.gethostbyname(address);
        t.result("the same memory", found == first);
        t.text("name", found->h_name);
        t.result("type", found->h_addrtype);
        t.result("alias", found->h_aliases[0] != nullptr);
        t.result("length", found->h_length);
        for (int i = 0; i < 4; i++)
            t.result("byte", static_cast<unsigned char>(found->h_addr_list[0][i]));
        t.result("second", found->h_addr_list[1] != nullptr);
    }
}

struct Sequence {
    const char *name;
    void (*run)(const Libc &, Trace &);
};

void PrintTo(const Sequence &sequence, std::ostream *out)
{
    *out << sequence.name;
}

class LibcModel : public testing::TestWithParam<Sequence>
{
};

TEST_P(LibcModel, DoesWhatLibcDoes)
{
    std::string folder = (std::filesystem::temp_directory_path() / "time_check.XXXXXX").string();
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    Trace real;
    Trace model;
    GetParam().run(real_libc(folder), real);
    std::filesystem::remove_all(folder);
    GetParam().run(model_libc("/scratch"), model);
    ASSERT_EQ(model.lines.size(), real.lines.size());
    for (size_t i = 0; i < real.lines.size(); i++)
        EXPECT_EQ(model.lines[i], real.lines[i]) << "line " << i;
}

INSTANTIATE_TEST_SUITE_P(Sequences, LibcModel,
                         testing::Values(Sequence{"reading", reading}, Sequence{"cutting", cutting},
                                         Sequence{"writing", writing}, Sequence{"opening", opening},
                                         Sequence{"taking_away", taking_away}, Sequence{"renaming", renaming},
                                         Sequence{"links", links}, Sequence{"modes", modes},
                                         Sequence{"links_themselves", links_themselves}, Sequence{"pipes", pipes},
                                         Sequence{"folders", folders}, Sequence{"pausing", pausing},
                                         Sequence{"addresses", addresses}),
                         [](const auto &each) { return std::string(each.param.name); });

} // namespace
