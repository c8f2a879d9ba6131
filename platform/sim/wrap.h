// The replacements of the libc calls in wrap.list, under the names that the daemon's objects are given.
//
// Arguments, results and errno are libc's (README.md says where a promise ends). Each first asks Faults whether it is
// to fail, if it is in SIM_CALLS, and then hands over to the part of the router that it belongs to. For the daemon's
// objects alone: test and model call libc.
#ifndef PLATFORM_SIM_WRAP_H
#define PLATFORM_SIM_WRAP_H

#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <dirent.h>
#include <netdb.h>
#include <pthread.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

extern "C" {

// On Files; descriptors 1 and 2 can be written to, which is Log's.
int sim_open(const char *path, int flags, ...);
ssize_t sim_read(int fd, void *buffer, size_t size);
ssize_t sim_write(int fd, const void *data, size_t size);
int sim_fsync(int fd);
int sim_ftruncate(int fd, off_t size);
int sim_fstat(int fd, struct stat *out);
int sim_fchown(int fd, uid_t user, gid_t group);
int sim_fchmod(int fd, mode_t mode);
int sim_close(int fd);
int sim_rename(const char *from, const char *to);
int sim_unlink(const char *path);
ssize_t sim_readlink(const char *path, char *target, size_t size);

// On Commands, Streams and Files. popen knows mode "r" alone, else EINVAL; its streams are read by the real stdio.
FILE *sim_popen(const char *command, const char *mode);
int sim_pclose(FILE *stream);
DIR *sim_opendir(const char *path);
struct dirent *sim_readdir(DIR *directory);
int sim_closedir(DIR *directory);

// On Log, for standard output; other streams are libc's. There is no buffer to set, and what counts characters in libc
// gives 0 here: the daemon does not ask.
int sim_setvbuf(FILE *stream, char *buffer, int mode, size_t size);
int sim_vfprintf(FILE *stream, const char *format, va_list arguments) __attribute__((format(printf, 2, 0)));
int sim_vfprintf_chk(FILE *stream, int flag, const char *format, va_list arguments)
    __attribute__((format(printf, 3, 0)));
int sim_printf(const char *format, ...) __attribute__((format(printf, 1, 2)));
int sim_printf_chk(int flag, const char *format, ...) __attribute__((format(printf, 2, 3)));
int sim_puts(const char *text);
int sim_putchar(int character);

// On Machine and its clock. sleep lets messages in, and is never cut short. select is a pause alone: with descriptors
// to watch, or without a limit, it fails with EBADF.
time_t sim_time(time_t *out);
struct tm *sim_localtime_r(const time_t *time, struct tm *out);
unsigned sim_sleep(unsigned seconds);
int sim_select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, struct timeval *timeout);

// A thread with the model's stack; attributes are not looked at. It runs when its maker waits.
int sim_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument);

// On Network, at once.
struct hostent *sim_gethostbyname(const char *host_name);

} // extern "C"

#endif
