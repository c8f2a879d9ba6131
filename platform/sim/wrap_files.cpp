// The daemon's files, commands and folders: its libc calls, led to the virtual ones.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>

#include "platform/sim/virtual_router.h"
#include "platform/sim/wrap.h"

using sim::Call;
using sim::router;

extern "C" {

int sim_open(const char *path, int flags, ...)
{
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    return router().faults.hits(Call::open) ? -1 : router().files.open(path, flags, mode);
}

ssize_t sim_read(int fd, void *buffer, size_t size)
{
    return router().faults.hits(Call::read) ? -1 : router().files.read(fd, static_cast<char *>(buffer), size);
}

ssize_t sim_write(int fd, const void *data, size_t size)
{
    if (fd == 1 || fd == 2) {
        router().log.print({static_cast<const char *>(data), size});
        return static_cast<ssize_t>(size);
    }
    return router().faults.hits(Call::write) ? -1 : router().files.write(fd, static_cast<const char *>(data), size);
}

int sim_fsync(int fd)
{
    return router().faults.hits(Call::fsync) ? -1 : router().files.sync(fd);
}

int sim_ftruncate(int fd, off_t size)
{
    return router().faults.hits(Call::ftruncate) ? -1 : router().files.truncate(fd, size);
}

int sim_fstat(int fd, struct stat *out)
{
    return router().faults.hits(Call::fstat) ? -1 : router().files.status(fd, out);
}

int sim_fchown(int fd, uid_t user, gid_t group)
{
    return router().faults.hits(Call::fchown) ? -1 : router().files.change_owner(fd, user, group);
}

int sim_fchmod(int fd, mode_t mode)
{
    return router().faults.hits(Call::fchmod) ? -1 : router().files.change_mode(fd, mode);
}

int sim_close(int fd)
{
    if (!router().faults.hits(Call::close))
        return router().files.close(fd);
    const int error = errno;
    router().files.close(fd); // the descriptor is gone all the same
    errno = error;
    return -1;
}

int sim_rename(const char *from, const char *to)
{
    return router().faults.hits(Call::rename) ? -1 : router().files.rename(from, to);
}

int sim_unlink(const char *path)
{
    return router().faults.hits(Call::unlink) ? -1 : router().files.unlink(path);
}

ssize_t sim_readlink(const char *path, char *target, size_t size)
{
    return router().faults.hits(Call::readlink) ? -1 : router().files.read_link(path, target, size);
}

// To read from alone: the daemon writes into no command.
FILE *sim_popen(const char *command, const char *mode)
{
    if (router().faults.hits(Call::popen))
        return nullptr;
    if (mode[0] != 'r') {
        errno = EINVAL;
        return nullptr;
    }
    const std::string output = router().commands.output_of(command);
    return router().streams.open_text(std::string("popen ") + command, output, router().commands.status_told(command));
}

// A command's result is its exit status, or 128 + the signal that ended it; wait() gives the one eight bits higher.
static int wait_status_of(int result)
{
    return result > 128 ? result - 128 : result << 8;
}

int sim_pclose(FILE *stream)
{
    const int result = router().streams.exit_status_of(stream);
    return fclose(stream) == 0 ? wait_status_of(result) : -1;
}

DIR *sim_opendir(const char *path)
{
    return router().faults.hits(Call::opendir) ? nullptr : router().streams.open_directory(path);
}

struct dirent *sim_readdir(DIR *directory)
{
    return router().faults.hits(Call::readdir) ? nullptr : router().streams.next_entry(directory);
}

int sim_closedir(DIR *directory)
{
    return router().streams.close_directory(directory);
}

// ---- standard output ----

int sim_setvbuf(FILE *stream, char *buffer, int mode, size_t size)
{
    return stream == stdout ? 0 : setvbuf(stream, buffer, mode, size);
}

int sim_vfprintf(FILE *stream, const char *format, va_list arguments)
{
    if (stream != stdout)
        return vfprintf(stream, format, arguments);
    router().log.print_format(format, arguments);
    return 0;
}

int sim_vfprintf_chk(FILE *stream, int /*flag*/, const char *format, va_list arguments)
{
    return sim_vfprintf(stream, format, arguments);
}

int sim_printf(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    router().log.print_format(format, arguments);
    va_end(arguments);
    return 0;
}

int sim_printf_chk(int /*flag*/, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    router().log.print_format(format, arguments);
    va_end(arguments);
    return 0;
}

int sim_puts(const char *text)
{
    router().log.print(text);
    router().log.print("\n");
    return 0;
}

int sim_putchar(int character)
{
    const char text = static_cast<char>(character);
    router().log.print({&text, 1});
    return static_cast<unsigned char>(character);
}

} // extern "C"
