// libc and the virtual router's libc calls (platform/sim/wrap.h) under the same names, for tests that ask both.
#ifndef TESTS_CONTRACT_TWO_LIBCS_H
#define TESTS_CONTRACT_TWO_LIBCS_H

#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <dirent.h>
#include <functional>
#include <netdb.h>
#include <pthread.h>
#include <string>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/types.h>

// One of the two: the calls, and how their world is set up.
struct Libc {
    std::string root; // a folder for the test
    int (*open)(const char *, int, ...);
    ssize_t (*read)(int, void *, size_t);
    ssize_t (*write)(int, const void *, size_t);
    int (*fsync)(int);
    int (*ftruncate)(int, off_t);
    int (*fstat)(int, struct stat *);
    int (*fchmod)(int, mode_t);
    int (*fchown)(int, uid_t, gid_t);
    int (*close)(int);
    int (*rename)(const char *, const char *);
    int (*unlink)(const char *);
    ssize_t (*readlink)(const char *, char *, size_t);
    FILE *(*popen)(const char *, const char *);
    int (*pclose)(FILE *);
    DIR *(*opendir)(const char *);
    dirent *(*readdir)(DIR *);
    int (*closedir)(DIR *);
    int (*select)(int, fd_set *, fd_set *, fd_set *, timeval *);
    hostent *(*gethostbyname)(const char *);
    time_t (*time)(time_t *);
    tm *(*localtime_r)(const time_t *, tm *);
    unsigned (*sleep)(unsigned);
    int (*pthread_create)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
    int (*setvbuf)(FILE *, char *, int, size_t);
    int (*printf)(const char *, ...) __attribute__((format(printf, 1, 2)));
    int (*vfprintf)(FILE *, const char *, va_list);
    int (*puts)(const char *);
    int (*putchar)(int);

    // The world. Paths are whole ones, and folders on the way are there.
    std::function<void(const std::string &path)> make_folder;
    std::function<void(const std::string &path, const std::string &target)> make_link;
    std::function<void(const std::string &path, const std::string &text)> set_file;
    std::function<void(const std::string &path)> take_away;
    std::function<char(const std::string &path)> kind_of; // f, d, l (the link itself) or -
    std::function<void(const std::string &command, int status, const std::string &output)> teach_command;
    std::function<void(const std::string &zone)> set_zone; // the machine's; libc has not read it

    std::string in(const std::string &name) const
    {
        return root + "/" + name;
    }
};

Libc real_libc(const std::string &folder);
Libc model_libc(const std::string &folder);

#endif
