// The replacements of the libc calls in wrap.list, under the names that the daemon's objects are given.
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

FILE *sim_popen(const char *command, const char *mode);
int sim_pclose(FILE *stream);
DIR *sim_opendir(const char *path);
struct dirent *sim_readdir(DIR *directory);
int sim_closedir(DIR *directory);

int sim_setvbuf(FILE *stream, char *buffer, int mode, size_t size);
int sim_vfprintf(FILE *stream, const char *format, va_list arguments) __attribute__((format(printf, 2, 0)));
int sim_vfprintf_chk(FILE *stream, int flag, const char *format, va_list arguments)
    __attribute__((format(printf, 3, 0)));
int sim_printf(const char *format, ...) __attribute__((format(printf, 1, 2)));
int sim_printf_chk(int flag, const char *format, ...) __attribute__((format(printf, 2, 3)));
int sim_puts(const char *text);
int sim_putchar(int character);

time_t sim_time(time_t *out);
struct tm *sim_localtime_r(const time_t *time, struct tm *out);
unsigned sim_sleep(unsigned seconds);
int sim_select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, struct timeval *timeout);

int sim_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument);

struct hostent *sim_gethostbyname(const char *host_name);

} // extern "C"

#endif
