#include "tests/contract/two_libcs.h"

#include "platform/sim/virtual_router.h"
#include "platform/sim/wrap.h"

static void call_the_models(Libc &c)
{
    c.open = sim_open;
    c.read = sim_read;
    c.write = sim_write;
    c.fsync = sim_fsync;
    c.ftruncate = sim_ftruncate;
    c.fstat = sim_fstat;
    c.fchmod = sim_fchmod;
    c.fchown = sim_fchown;
    c.close = sim_close;
    c.rename = sim_rename;
    c.unlink = sim_unlink;
    c.readlink = sim_readlink;
    c.popen = sim_popen;
    c.pclose = sim_pclose;
    c.opendir = sim_opendir;
    c.readdir = sim_readdir;
    c.closedir = sim_closedir;
    c.select = sim_select;
    c.gethostbyname = sim_gethostbyname;
    c.time = sim_time;
    c.localtime_r = sim_localtime_r;
    c.sleep = sim_sleep;
    c.pthread_create = sim_pthread_create;
    c.setvbuf = sim_setvbuf;
    c.printf = sim_printf;
    c.vfprintf = sim_vfprintf;
    c.puts = sim_puts;
    c.putchar = sim_putchar;
}

static char model_kind(const std::string &path)
{
    sim::Files &files = sim::router().files;
    char target[8];
    std::vector<std::string> names;
    if (files.read_link(path.c_str(), target, sizeof target) >= 0)
        return 'l';
    if (files.exists(path))
        return 'f';
    return files.list(path.c_str(), names) ? 'd' : '-';
}

Libc model_libc(const std::string &folder)
{
    sim::VirtualRouter &box = sim::router();
    Libc c;
    c.root = folder;
    call_the_models(c);
    box.files.set_directory(folder);
    c.make_folder = [&box](const std::string &path) { box.files.set_directory(path); };
    c.make_link = [&box](const std::string &path, const std::string &target) { box.files.set_link(path, target); };
    c.set_file = [&box](const std::string &path, const std::string &text) { box.files.set(path, text); };
    c.take_away = [&box](const std::string &path) { box.files.remove(path); };
    c.kind_of = model_kind;
    c.teach_command = [&box](const std::string &command, int status, const std::string &output) {
        box.commands.set_output(command, output);
        box.commands.set_status(command, status);
    };
    c.set_zone = [&box](const std::string &zone) { box.local_time.set_zone(zone); };
    return c;
}
