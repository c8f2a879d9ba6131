#include "tests/contract/two_libcs.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace fs = std::filesystem;

static void call_the_real_ones(Libc &c)
{
    c.open = ::open;
    c.read = ::read;
    c.write = ::write;
    c.fsync = ::fsync;
    c.ftruncate = ::ftruncate;
    c.fstat = ::fstat;
    c.fchmod = ::fchmod;
    c.fchown = ::fchown;
    c.close = ::close;
    c.rename = ::rename;
    c.unlink = ::unlink;
    c.readlink = ::readlink;
    c.popen = ::popen;
    c.pclose = ::pclose;
    c.opendir = ::opendir;
    c.readdir = ::readdir;
    c.closedir = ::closedir;
    c.select = ::select;
    c.gethostbyname = ::gethostbyname;
    c.time = ::time;
    c.localtime_r = ::localtime_r;
    c.sleep = ::sleep;
    c.pthread_create = ::pthread_create;
    c.setvbuf = ::setvbuf;
    c.printf = ::printf;
    c.vfprintf = ::vfprintf;
    c.puts = ::puts;
    c.putchar = ::putchar;
}

static char real_kind(const std::string &path)
{
    struct stat found = {};
    if (lstat(path.c_str(), &found) != 0)
        return '-';
    return S_ISLNK(found.st_mode) ? 'l' : S_ISDIR(found.st_mode) ? 'd' : 'f';
}

Libc real_libc(const std::string &folder)
{
    Libc c;
    c.root = folder;
    call_the_real_ones(c);
    c.make_folder = [](const std::string &path) { fs::create_directory(path); };
    c.make_link = [](const std::string &path, const std::string &target) { fs::create_symlink(target, path); };
    c.set_file = [](const std::string &path, const std::string &text) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    };
    c.take_away = [](const std::string &path) { fs::remove(path); };
    c.kind_of = real_kind;
    c.teach_command = [](const std::string &, int, const std::string &) {};
    c.set_zone = [](const std::string &zone) { setenv("TZ", zone.c_str(), 1); };
    return c;
}
