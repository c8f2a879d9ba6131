// Both the plain and the large-file names are defined here, so the headers must not make one name of them.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include "tests/contract/faulty_calls.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/uio.h>
#include <unistd.h>

namespace
{

enum Kind : uint8_t {
    OPEN,
    OPENAT,
    CLOSE,
    READ,
    PREAD,
    WRITE,
    PWRITE,
    WRITEV,
    STAT,
    FSTAT,
    FSTATAT,
    STATFS,
    SEEK,
    TRUNCATE,
    ALLOCATE,
    SYNC,
    MKDIR,
    UNLINK,
    LINK,
    RENAME,
    MAP,
    UNMAP,
    LOCK_RECORD,
    LOCK_MUTEX,
    UNLOCK_MUTEX,
    NEW_KEY,
    SET_KEY,
    MEMORY,
};

struct Description {
    const char *name;
    std::array<int, 4> errors; // 0 ends them
};

constexpr Description KINDS[] = {
    {"open", {EMFILE, ENOSPC, EIO, ENOMEM}},
    {"openat", {EMFILE, ENOSPC, EIO, ENOMEM}},
    {"close", {}},
    {"read", {EIO}},
    {"pread", {EIO}},
    {"write", {ENOSPC, EIO}},
    {"pwrite", {ENOSPC, EIO}},
    {"writev", {ENOSPC, EIO}},
    {"stat", {EIO}},
    {"fstat", {EIO}},
    {"fstatat", {EIO}},
    {"statfs", {EIO}},
    {"lseek", {EIO}},
    {"ftruncate", {ENOSPC, EIO}},
    {"posix_fallocate", {ENOSPC, EIO}},
    {"fsync", {ENOSPC, EIO}},
    {"mkdir", {ENOSPC, EIO}},
    {"unlink", {EIO}},
    {"link", {ENOSPC, EIO, EPERM}},
    {"rename", {ENOSPC, EIO}},
    {"mmap", {ENOMEM}},
    {"munmap", {}},
    {"fcntl with a lock", {ENOLCK}},
    {"pthread_mutex_lock", {EAGAIN}},
    {"pthread_mutex_unlock", {}},
    {"pthread_key_create", {EAGAIN}},
    {"pthread_setspecific", {ENOMEM}},
    {"malloc", {ENOMEM}},
};

bool watching;
faulty::Fault fault;
faulty::Trace *trace;
bool dies_after;
int64_t slept_ns;

bool can_fail_by(Kind kind, int error)
{
    const auto &errors = KINDS[kind].errors;
    return error != 0 && std::find(errors.begin(), errors.end(), error) != errors.end();
}

// False: the call is to fail; errno says why.
bool enter(Kind kind)
{
    if (!watching)
        return true;
    const size_t number = trace->calls++;
    if (number < trace->kinds.size())
        trace->kinds[number] = kind;
    const bool is_here = number == fault.at;
    if (is_here && fault.how == faulty::How::DIE_BEFORE)
        raise(SIGKILL);
    dies_after = is_here && fault.how == faulty::How::DIE_AFTER;
    const bool fails =
        (is_here && fault.how == faulty::How::ONCE) || (number >= fault.at && fault.how == faulty::How::FOR_EVER);
    if (!fails || KINDS[kind].errors[0] == 0 || !(fault.is_any_error || can_fail_by(kind, fault.error)))
        return true;
    errno = fault.error;
    return false;
}

// `size`, or half of it in the call that enters next.
size_t shortened(size_t size)
{
    const bool is_next = watching && fault.how == faulty::How::HALF && trace->calls == fault.at;
    return is_next ? size / 2 : size;
}

void leave()
{
    if (dies_after)
        raise(SIGKILL);
}

// The library's own function behind the one that is defined here.
template <typename Function>
Function *library(Function *&known, const char *name)
{
    if (known == nullptr)
        known = reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
    return known;
}

template <typename Function, typename Result, typename... Arguments>
Result call(Kind kind, Function *function, Result failure, Arguments... arguments)
{
    if (!enter(kind))
        return failure;
    const Result result = function(arguments...);
    leave();
    return result;
}

// The same for functions that give their error back.
template <typename Function, typename... Arguments>
int call_giving_error(Kind kind, Function *function, Arguments... arguments)
{
    const int kept = errno;
    if (enter(kind)) {
        const int result = function(arguments...);
        leave();
        return result;
    }
    const int error = errno;
    errno = kept;
    return error;
}

} // namespace

void faulty::begin(const Fault &wanted, Trace *into)
{
    fault = wanted;
    trace = into;
    trace->calls = 0;
    watching = true;
}

void faulty::end()
{
    watching = false;
}

const char *faulty::name_of(uint8_t kind)
{
    return KINDS[kind].name;
}

std::vector<int> faulty::errors_of(uint8_t kind)
{
    std::vector<int> errors;
    for (const int one : KINDS[kind].errors)
        if (one != 0)
            errors.push_back(one);
    return errors;
}

bool faulty::moves_bytes(uint8_t kind)
{
    return kind == READ || kind == PREAD || kind == WRITE || kind == PWRITE || kind == WRITEV;
}

int64_t faulty::slept_ms()
{
    return slept_ns / 1000000;
}

// The function of this name that is behind the one here.
#define REAL(name)                                                                                                     \
    ([]() -> decltype(::name) * {                                                                                      \
        static decltype(::name) *known;                                                                                \
        return library(known, #name);                                                                                  \
    }())

extern "C" {

int open(const char *path, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return call(OPEN, REAL(open), -1, path, flags, mode);
}

int open64(const char *path, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return call(OPEN, REAL(open64), -1, path, flags, mode);
}

int openat64(int dir, const char *path, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return call(OPENAT, REAL(openat64), -1, dir, path, flags, mode);
}

int close(int fd)
{
    return call(CLOSE, REAL(close), -1, fd);
}

ssize_t read(int fd, void *data, size_t size)
{
    size = shortened(size);
    return call(READ, REAL(read), ssize_t(-1), fd, data, size);
}

ssize_t pread(int fd, void *data, size_t size, off_t place)
{
    size = shortened(size);
    return call(PREAD, REAL(pread), ssize_t(-1), fd, data, size, place);
}

ssize_t pread64(int fd, void *data, size_t size, off64_t place)
{
    size = shortened(size);
    return call(PREAD, REAL(pread64), ssize_t(-1), fd, data, size, place);
}

ssize_t write(int fd, const void *data, size_t size)
{
    if (fd == STDERR_FILENO) // the log
        return REAL(write)(fd, data, size);
    size = shortened(size);
    return call(WRITE, REAL(write), ssize_t(-1), fd, data, size);
}

ssize_t pwrite(int fd, const void *data, size_t size, off_t place)
{
    size = shortened(size);
    return call(PWRITE, REAL(pwrite), ssize_t(-1), fd, data, size, place);
}

ssize_t pwrite64(int fd, const void *data, size_t size, off64_t place)
{
    size = shortened(size);
    return call(PWRITE, REAL(pwrite64), ssize_t(-1), fd, data, size, place);
}

ssize_t writev(int fd, const struct iovec *pieces, int count)
{
    std::array<struct iovec, 64> shorter = {};
    if (count > 0 && static_cast<size_t>(count) <= shorter.size()) {
        std::copy(pieces, pieces + count, shorter.begin());
        struct iovec &last = shorter[static_cast<size_t>(count) - 1];
        last.iov_len = shortened(last.iov_len);
        pieces = shorter.data();
    }
    return call(WRITEV, REAL(writev), ssize_t(-1), fd, pieces, count);
}

int stat64(const char *path, struct stat64 *found) noexcept
{
    return call(STAT, REAL(stat64), -1, path, found);
}

int fstat64(int fd, struct stat64 *found) noexcept
{
    return call(FSTAT, REAL(fstat64), -1, fd, found);
}

int __fxstat(int version, int fd, struct stat *found) noexcept // LMDB was built when fstat was called so
{
    return call(FSTAT, REAL(__fxstat), -1, version, fd, found);
}

int fstatat64(int dir, const char *path, struct stat64 *found, int flags) noexcept
{
    return call(FSTATAT, REAL(fstatat64), -1, dir, path, found, flags);
}

int fstatfs(int fd, struct statfs *found) noexcept
{
    return call(STATFS, REAL(fstatfs), -1, fd, found);
}

int statvfs64(const char *path, struct statvfs64 *found) noexcept
{
    return call(STATFS, REAL(statvfs64), -1, path, found);
}

off_t lseek(int fd, off_t place, int from) noexcept
{
    return call(SEEK, REAL(lseek), off_t(-1), fd, place, from);
}

int ftruncate(int fd, off_t size) noexcept
{
    return call(TRUNCATE, REAL(ftruncate), -1, fd, size);
}

int posix_fallocate64(int fd, off64_t from, off64_t size)
{
    return call_giving_error(ALLOCATE, REAL(posix_fallocate64), fd, from, size);
}

// Nobody cuts the power of these tests, and a disk takes its time.
static int sync_nothing(int /*fd*/)
{
    return 0;
}

int fsync(int fd)
{
    return call(SYNC, sync_nothing, -1, fd);
}

int fdatasync(int fd)
{
    return call(SYNC, sync_nothing, -1, fd);
}

int mkdir(const char *path, mode_t mode) noexcept
{
    return call(MKDIR, REAL(mkdir), -1, path, mode);
}

int unlinkat(int dir, const char *name, int flags) noexcept
{
    return call(UNLINK, REAL(unlinkat), -1, dir, name, flags);
}

int unlink(const char *path) noexcept
{
    return call(UNLINK, REAL(unlink), -1, path);
}

int linkat(int from_dir, const char *from, int to_dir, const char *to, int flags) noexcept
{
    return call(LINK, REAL(linkat), -1, from_dir, from, to_dir, to, flags);
}

int renameat(int from_dir, const char *from, int to_dir, const char *to) noexcept
{
    return call(RENAME, REAL(renameat), -1, from_dir, from, to_dir, to);
}

int rename(const char *from, const char *to) noexcept
{
    return call(RENAME, REAL(rename), -1, from, to);
}

void *mmap(void *at, size_t size, int protection, int flags, int fd, off_t place) noexcept
{
    return call(MAP, REAL(mmap), MAP_FAILED, at, size, protection, flags, fd, place);
}

int munmap(void *at, size_t size) noexcept
{
    return call(UNMAP, REAL(munmap), -1, at, size);
}

static int watched_fcntl(decltype(fcntl) *function, int fd, int command, void *argument)
{
    const bool is_lock = command == F_SETLK || command == F_SETLKW || command == F_GETLK;
    return is_lock ? call(LOCK_RECORD, function, -1, fd, command, argument) : function(fd, command, argument);
}

int fcntl(int fd, int command, ...)
{
    va_list more;
    va_start(more, command);
    void *const argument = va_arg(more, void *);
    va_end(more);
    return watched_fcntl(REAL(fcntl), fd, command, argument);
}

int fcntl64(int fd, int command, ...)
{
    va_list more;
    va_start(more, command);
    void *const argument = va_arg(more, void *);
    va_end(more);
    return watched_fcntl(REAL(fcntl64), fd, command, argument);
}

// Only LMDB's own, which are shared between processes, can fail.
int pthread_mutex_lock(pthread_mutex_t *mutex) noexcept
{
    constexpr int ROBUST = 16;
    if ((mutex->__data.__kind & ROBUST) == 0)
        return REAL(pthread_mutex_lock)(mutex);
    return call_giving_error(LOCK_MUTEX, REAL(pthread_mutex_lock), mutex);
}

int pthread_mutex_unlock(pthread_mutex_t *mutex) noexcept
{
    constexpr int ROBUST = 16;
    if ((mutex->__data.__kind & ROBUST) == 0)
        return REAL(pthread_mutex_unlock)(mutex);
    return call_giving_error(UNLOCK_MUTEX, REAL(pthread_mutex_unlock), mutex);
}

int pthread_key_create(pthread_key_t *key, void (*end)(void *)) noexcept
{
    return call_giving_error(NEW_KEY, REAL(pthread_key_create), key, end);
}

int pthread_setspecific(pthread_key_t key, const void *value) noexcept
{
    return call_giving_error(SET_KEY, REAL(pthread_setspecific), key, value);
}

// dlsym allocates, so the library's memory is reached by its other names.
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *old, size_t size);

void *malloc(size_t size) noexcept
{
    return call(MEMORY, __libc_malloc, static_cast<void *>(nullptr), size);
}

void *calloc(size_t count, size_t size) noexcept
{
    return call(MEMORY, __libc_calloc, static_cast<void *>(nullptr), count, size);
}

void *realloc(void *old, size_t size) noexcept
{
    return call(MEMORY, __libc_realloc, static_cast<void *>(nullptr), old, size);
}

int clock_nanosleep(clockid_t /*clock*/, int /*flags*/, const struct timespec *pause, struct timespec * /*left*/)
{
    slept_ns += pause->tv_sec * 1000000000LL + pause->tv_nsec;
    return 0;
}

int clock_gettime(clockid_t clock, struct timespec *now) noexcept
{
    const int rc = REAL(clock_gettime)(clock, now);
    const int64_t ns = now->tv_nsec + slept_ns;
    now->tv_sec += ns / 1000000000;
    now->tv_nsec = ns % 1000000000;
    return rc;
}

} // extern "C"
