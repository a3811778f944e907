// SPDX-License-Identifier: MIT
// A preload library that lets one system call of a program fail, for tests.
//
//   QZ_FAULT_CALL        name of the call that is to fail, as in the table at the end of this file
//   QZ_FAULT_OCCURRENCE  which of its calls fails, counted from 1
//   QZ_FAULT_ERRNO       the error number that it gives
//   QZ_FAULT_COUNTS      a file that receives a line "CALL COUNT" for each call seen
//
// Only calls while the program has the watch on are counted and fail; see Scenario.h. What is
// called inside the C library itself does not come by here.

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <iconv.h>
#include <locale.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>

namespace {

std::atomic<int> gWatches = 0;

struct Plan {
    const char* call = ::getenv("QZ_FAULT_CALL");
    long occurrence = readNumber("QZ_FAULT_OCCURRENCE");
    int error = static_cast<int>(readNumber("QZ_FAULT_ERRNO"));

    static long readNumber(const char* name)
    {
        const char* value = ::getenv(name);
        return value != nullptr ? ::atol(value) : 0;
    }
};

const Plan& getPlan()
{
    static const Plan plan;
    return plan;
}

// A call that may fail. All of them are constants of the image, so that they work from the first
// instruction of the process on.
class Call {
public:
    constexpr explicit Call(const char* name) : mName(name) {}

    // Counts the call, and sets errno when it is the one to fail.
    bool mustFail()
    {
        if (gWatches == 0) return false;
        const long occurrence = ++mSeen;
        if (occurrence == 1) enlist();
        const Plan& plan = getPlan();
        if (occurrence != plan.occurrence || plan.call == nullptr) return false;
        if (std::strcmp(plan.call, mName) != 0) return false;
        errno = plan.error;
        return true;
    }

    static void writeCounts(const char* path)
    {
        FILE* file = ::fopen(path, "w");
        if (file == nullptr) return;
        for (const Call* call = sFirst; call != nullptr; call = call->mNext) {
            ::fprintf(file, "%s %ld\n", call->mName, call->mSeen.load());
        }
        ::fclose(file);
    }

private:
    void enlist()
    {
        mNext = sFirst;
        while (!sFirst.compare_exchange_weak(mNext, this)) {
        }
    }

    static std::atomic<Call*> sFirst;

    const char* mName;
    std::atomic<long> mSeen = 0;
    Call* mNext = nullptr;
};

constinit std::atomic<Call*> Call::sFirst = nullptr;

// The function that stands behind one of this library's. A constant of the image too: sanitizers
// call before the guards of function-local statics work.
template <typename Function>
class Real {
public:
    constexpr explicit Real(const char* symbol) : mSymbol(symbol) {}

    Function* get()
    {
        Function* found = mFound;
        if (found != nullptr) return found;
        found = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, mSymbol));
        mFound = found;
        return found;
    }

private:
    const char* mSymbol;
    std::atomic<Function*> mFound = nullptr;
};

struct WriteCountsAtExit {
    ~WriteCountsAtExit()
    {
        gWatches = 0;
        if (const char* path = ::getenv("QZ_FAULT_COUNTS")) Call::writeCounts(path);
    }
} gWriteCountsAtExit;

}  // namespace

extern "C" __attribute__((visibility("default"))) void qzFaultsWatch(int change)
{
    gWatches += change;
}

static bool isFromSanitizer(const void* caller)
{
    Dl_info where = {};
    return ::dladdr(caller, &where) != 0 && where.dli_fname != nullptr &&
           (std::strstr(where.dli_fname, "/libasan.") != nullptr ||
            std::strstr(where.dli_fname, "/libtsan.") != nullptr);
}

// The definitions carry names of their own and the C library's name as their symbol, since its
// declarations differ in their exception specifications.

#define QZ_CALL(id, name) constinit Call call_##id(name)

#define QZ_DEFINE(id, symbol, Result, parameters, arguments, failure) \
    extern "C" __attribute__((visibility("default")))                 \
    Result fault_##symbol parameters __asm__(#symbol);                \
    Result fault_##symbol parameters                                  \
    {                                                                 \
        static constinit Real<Result parameters> real(#symbol);       \
        if (call_##id.mustFail()) return failure;                     \
        return real.get() arguments;                                  \
    }

// A close that fails has closed all the same.
#define QZ_DEFINE_CLOSE(id, symbol, Result, parameters, arguments, failure) \
    extern "C" __attribute__((visibility("default")))                       \
    Result fault_##symbol parameters __asm__(#symbol);                      \
    Result fault_##symbol parameters                                        \
    {                                                                       \
        static constinit Real<Result parameters> real(#symbol);             \
        if (!call_##id.mustFail()) return real.get() arguments;             \
        const int error = errno;                                            \
        real.get() arguments;                                               \
        errno = error;                                                      \
        return failure;                                                     \
    }

// A call that a sanitizer makes by itself as well, and takes its failure for its own end.
#define QZ_DEFINE_FOR_PROGRAM(id, symbol, Result, parameters, arguments, failure) \
    extern "C" __attribute__((visibility("default")))                             \
    Result fault_##symbol parameters __asm__(#symbol);                            \
    Result fault_##symbol parameters                                              \
    {                                                                             \
        static constinit Real<Result parameters> real(#symbol);                   \
        const bool isOwn = isFromSanitizer(__builtin_return_address(0));          \
        if (!isOwn && call_##id.mustFail()) return failure;                       \
        return real.get() arguments;                                              \
    }

#define QZ_DEFINE_OPEN(id, symbol, parameters, arguments, last)                                \
    extern "C"                                                                                 \
        __attribute__((visibility("default"))) int fault_##symbol parameters __asm__(#symbol); \
    int fault_##symbol parameters                                                              \
    {                                                                                          \
        static constinit Real<int parameters> real(#symbol);                                   \
        mode_t mode = 0;                                                                       \
        if ((last & (O_CREAT | O_TMPFILE)) != 0) {                                             \
            va_list rest;                                                                      \
            va_start(rest, last);                                                              \
            mode = va_arg(rest, mode_t);                                                       \
            va_end(rest);                                                                      \
        }                                                                                      \
        return call_##id.mustFail() ? -1 : real.get() arguments;                               \
    }

// All that its last argument can be is as wide as a pointer.
#define QZ_DEFINE_FCNTL(symbol)                                                                 \
    extern "C" __attribute__((visibility("default"))) int fault_##symbol(int fd, int order,     \
                                                                         ...) __asm__(#symbol); \
    int fault_##symbol(int fd, int order, ...)                                                  \
    {                                                                                           \
        static constinit Real<int(int, int, ...)> real(#symbol);                                \
        va_list rest;                                                                           \
        va_start(rest, order);                                                                  \
        void* const value = va_arg(rest, void*);                                                \
        va_end(rest);                                                                           \
        return call_fcntl.mustFail() ? -1 : real.get()(fd, order, value);                       \
    }

using stat_t = struct stat;
using stat64_t = struct stat64;
using statvfs_t = struct statvfs;
using statvfs64_t = struct statvfs64;
using statfs_t = struct statfs;
using statfs64_t = struct statfs64;
using statx_t = struct statx;
using dirent64_t = struct dirent64;
using pollfd_t = struct pollfd;
const auto kNoIconv = reinterpret_cast<iconv_t>(-1);
const auto kIconvFailed = static_cast<size_t>(-1);
using Body = void*(void*);
using CleanUp = void(void*);

// --- Descriptors

QZ_CALL(open, "open");
QZ_DEFINE_OPEN(open, open, (const char* path, int flags, ...), (path, flags, mode), flags)
QZ_DEFINE_OPEN(open, open64, (const char* path, int flags, ...), (path, flags, mode), flags)
QZ_DEFINE_OPEN(open, openat, (int at, const char* path, int flags, ...), (at, path, flags, mode),
               flags)
QZ_CALL(close, "close");
QZ_DEFINE_CLOSE(close, close, int, (int fd), (fd), -1)
QZ_CALL(read, "read");
QZ_DEFINE(read, read, ssize_t, (int fd, void* to, size_t size), (fd, to, size), -1)
QZ_CALL(write, "write");
QZ_DEFINE(write, write, ssize_t, (int fd, const void* from, size_t size), (fd, from, size), -1)
QZ_CALL(getrandom, "getrandom");
QZ_DEFINE(getrandom, getrandom, ssize_t, (void* to, size_t size, unsigned int flags),
          (to, size, flags), -1)
QZ_CALL(writev, "writev");
QZ_DEFINE(writev, writev, ssize_t, (int fd, const iovec* parts, int count), (fd, parts, count), -1)
QZ_CALL(pread, "pread");
QZ_DEFINE(pread, pread, ssize_t, (int fd, void* to, size_t size, off_t offset),
          (fd, to, size, offset), -1)
QZ_DEFINE(pread, pread64, ssize_t, (int fd, void* to, size_t size, off64_t offset),
          (fd, to, size, offset), -1)
QZ_CALL(pwrite, "pwrite");
QZ_DEFINE(pwrite, pwrite, ssize_t, (int fd, const void* from, size_t size, off_t offset),
          (fd, from, size, offset), -1)
QZ_DEFINE(pwrite, pwrite64, ssize_t, (int fd, const void* from, size_t size, off64_t offset),
          (fd, from, size, offset), -1)
QZ_CALL(ftruncate, "ftruncate");
QZ_DEFINE(ftruncate, ftruncate, int, (int fd, off_t size), (fd, size), -1)
QZ_DEFINE(ftruncate, ftruncate64, int, (int fd, off64_t size), (fd, size), -1)
QZ_CALL(lseek, "lseek");
QZ_DEFINE(lseek, lseek, off_t, (int fd, off_t offset, int start), (fd, offset, start), -1)
QZ_DEFINE(lseek, lseek64, off64_t, (int fd, off64_t offset, int start), (fd, offset, start), -1)
QZ_CALL(fstat, "fstat");
QZ_DEFINE(fstat, fstat, int, (int fd, stat_t* status), (fd, status), -1)
QZ_DEFINE(fstat, fstat64, int, (int fd, stat64_t* status), (fd, status), -1)
QZ_DEFINE(fstat, statx, int,
          (int at, const char* path, int flags, unsigned int mask, statx_t* status),
          (at, path, flags, mask, status), -1)
QZ_DEFINE(fstat, fstatat, int, (int at, const char* path, stat_t* status, int flags),
          (at, path, status, flags), -1)
QZ_CALL(fstatfs, "fstatfs");
QZ_DEFINE(fstatfs, fstatfs, int, (int fd, statfs_t* status), (fd, status), -1)
QZ_CALL(fchmod, "fchmod");
QZ_DEFINE(fchmod, fchmod, int, (int fd, mode_t mode), (fd, mode), -1)
QZ_CALL(fchown, "fchown");
QZ_DEFINE(fchown, fchown, int, (int fd, uid_t owner, gid_t group), (fd, owner, group), -1)
QZ_CALL(fsync, "fsync");
QZ_DEFINE(fsync, fsync, int, (int fd), (fd), -1)
QZ_CALL(flock, "flock");
QZ_DEFINE(flock, flock, int, (int fd, int operation), (fd, operation), -1)
QZ_CALL(fcntl, "fcntl");
QZ_DEFINE_FCNTL(fcntl)
QZ_DEFINE_FCNTL(fcntl64)
QZ_CALL(pipe2, "pipe2");
QZ_DEFINE(pipe2, pipe2, int, (int* fds, int flags), (fds, flags), -1)
QZ_CALL(poll, "poll");
QZ_DEFINE(poll, poll, int, (pollfd_t * fds, nfds_t count, int timeoutMs), (fds, count, timeoutMs),
          -1)
QZ_CALL(select, "select");
QZ_DEFINE(select, select, int,
          (int count, fd_set* reads, fd_set* writes, fd_set* others, timeval* timeout),
          (count, reads, writes, others, timeout), -1)

// --- Streams of C

QZ_CALL(fopen, "fopen");
QZ_DEFINE(fopen, fopen, FILE*, (const char* path, const char* mode), (path, mode), nullptr)
QZ_DEFINE(fopen, fopen64, FILE*, (const char* path, const char* mode), (path, mode), nullptr)
QZ_CALL(fdopen, "fdopen");
QZ_DEFINE(fdopen, fdopen, FILE*, (int fd, const char* mode), (fd, mode), nullptr)
QZ_CALL(fclose, "fclose");
QZ_DEFINE_CLOSE(fclose, fclose, int, (FILE * file), (file), EOF)
QZ_CALL(fflush, "fflush");
QZ_DEFINE(fflush, fflush, int, (FILE * file), (file), EOF)
QZ_CALL(fread, "fread");
QZ_DEFINE(fread, fread, size_t, (void* to, size_t size, size_t count, FILE* file),
          (to, size, count, file), 0)
QZ_CALL(fwrite, "fwrite");
QZ_DEFINE(fwrite, fwrite, size_t, (const void* from, size_t size, size_t count, FILE* file),
          (from, size, count, file), 0)

// --- Files by name

QZ_CALL(stat, "stat");
QZ_DEFINE(stat, stat, int, (const char* path, stat_t* status), (path, status), -1)
QZ_DEFINE(stat, stat64, int, (const char* path, stat64_t* status), (path, status), -1)
QZ_CALL(lstat, "lstat");
QZ_DEFINE(lstat, lstat, int, (const char* path, stat_t* status), (path, status), -1)
QZ_CALL(statvfs, "statvfs");
QZ_DEFINE(statvfs, statvfs, int, (const char* path, statvfs_t* status), (path, status), -1)
QZ_DEFINE(statvfs, statvfs64, int, (const char* path, statvfs64_t* status), (path, status), -1)
QZ_CALL(statfs, "statfs");
QZ_DEFINE(statfs, statfs64, int, (const char* path, statfs64_t* status), (path, status), -1)
QZ_CALL(rename, "rename");
QZ_DEFINE(rename, rename, int, (const char* from, const char* to), (from, to), -1)
QZ_DEFINE(rename, renameat, int, (int fromAt, const char* from, int toAt, const char* to),
          (fromAt, from, toAt, to), -1)
QZ_CALL(unlink, "unlink");
QZ_DEFINE(unlink, unlink, int, (const char* path), (path), -1)
QZ_DEFINE(unlink, unlinkat, int, (int at, const char* path, int flags), (at, path, flags), -1)
QZ_CALL(rmdir, "rmdir");
QZ_DEFINE(rmdir, rmdir, int, (const char* path), (path), -1)
QZ_CALL(mkdir, "mkdir");
QZ_DEFINE(mkdir, mkdir, int, (const char* path, mode_t mode), (path, mode), -1)
QZ_CALL(remove, "remove");
QZ_DEFINE(remove, remove, int, (const char* path), (path), -1)
QZ_CALL(chmod, "chmod");
QZ_DEFINE(chmod, chmod, int, (const char* path, mode_t mode), (path, mode), -1)
QZ_CALL(chdir, "chdir");
QZ_DEFINE(chdir, chdir, int, (const char* path), (path), -1)
QZ_CALL(getcwd, "getcwd");
QZ_DEFINE(getcwd, getcwd, char*, (char* to, size_t size), (to, size), nullptr)
QZ_CALL(readlink, "readlink");
QZ_DEFINE(readlink, readlink, ssize_t, (const char* path, char* to, size_t size), (path, to, size),
          -1)
QZ_DEFINE(readlink, readlinkat, ssize_t, (int at, const char* path, char* to, size_t size),
          (at, path, to, size), -1)
QZ_CALL(faccessat, "faccessat");
QZ_DEFINE(faccessat, faccessat, int, (int at, const char* path, int rights, int flags),
          (at, path, rights, flags), -1)
QZ_CALL(realpath, "realpath");
QZ_DEFINE(realpath, realpath, char*, (const char* path, char* to), (path, to), nullptr)
// Where the size of the buffer is known and calls are fortified
QZ_DEFINE(realpath, __realpath_chk, char*, (const char* path, char* to, size_t size),
          (path, to, size), nullptr)
QZ_CALL(opendir, "opendir");
QZ_DEFINE(opendir, opendir, DIR*, (const char* path), (path), nullptr)
QZ_CALL(readdir, "readdir");
QZ_DEFINE(readdir, readdir, dirent*, (DIR * folder), (folder), nullptr)
QZ_DEFINE(readdir, readdir64, dirent64_t*, (DIR * folder), (folder), nullptr)
QZ_CALL(closedir, "closedir");
QZ_DEFINE_CLOSE(closedir, closedir, int, (DIR * folder), (folder), -1)
QZ_CALL(getdents64, "getdents64");
QZ_DEFINE(getdents64, getdents64, ssize_t, (int fd, void* to, size_t size), (fd, to, size), -1)
QZ_CALL(mkostemp, "mkostemp");
QZ_DEFINE(mkostemp, mkostemp, int, (char* path, int flags), (path, flags), -1)

// --- Sockets

QZ_CALL(socket, "socket");
QZ_DEFINE(socket, socket, int, (int domain, int type, int protocol), (domain, type, protocol), -1)
QZ_CALL(accept, "accept");
QZ_DEFINE(accept, accept, int, (int fd, sockaddr* address, socklen_t* size), (fd, address, size),
          -1)
QZ_DEFINE(accept, accept4, int, (int fd, sockaddr* address, socklen_t* size, int flags),
          (fd, address, size, flags), -1)
QZ_CALL(bind, "bind");
QZ_DEFINE(bind, bind, int, (int fd, const sockaddr* address, socklen_t size), (fd, address, size),
          -1)
QZ_CALL(listen, "listen");
QZ_DEFINE(listen, listen, int, (int fd, int backlog), (fd, backlog), -1)
QZ_CALL(connect, "connect");
QZ_DEFINE(connect, connect, int, (int fd, const sockaddr* address, socklen_t size),
          (fd, address, size), -1)
QZ_CALL(getsockopt, "getsockopt");
QZ_DEFINE(getsockopt, getsockopt, int, (int fd, int level, int name, void* value, socklen_t* size),
          (fd, level, name, value, size), -1)
QZ_CALL(shutdown, "shutdown");
QZ_DEFINE(shutdown, shutdown, int, (int fd, int way), (fd, way), -1)
QZ_CALL(send, "send");
QZ_DEFINE(send, send, ssize_t, (int fd, const void* from, size_t size, int flags),
          (fd, from, size, flags), -1)
QZ_CALL(recv, "recv");
QZ_DEFINE(recv, recv, ssize_t, (int fd, void* to, size_t size, int flags), (fd, to, size, flags),
          -1)

// --- Processes, threads and memory

QZ_CALL(fork, "fork");
QZ_DEFINE(fork, fork, pid_t, (), (), -1)
QZ_CALL(posix_spawn, "posix_spawn");
QZ_DEFINE(posix_spawn, posix_spawnp, int,
          (pid_t * pid, const char* file, const posix_spawn_file_actions_t* actions,
           const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment),
          (pid, file, actions, attributes, arguments, environment), errno)
// Of the arguments after the four fixed ones, callers give those that the flags require.
QZ_CALL(clone, "clone");
extern "C" __attribute__((visibility("default"))) int fault_clone(int (*body)(void*), void* stack,
                                                                  int flags, void* data,
                                                                  ...) __asm__("__clone");
int fault_clone(int (*body)(void*), void* stack, int flags, void* data, ...)
{
    static constinit Real<int(int (*)(void*), void*, int, void*, ...)> real("__clone");
    va_list rest;
    va_start(rest, data);
    void* const first = va_arg(rest, void*);
    void* const second = va_arg(rest, void*);
    void* const third = va_arg(rest, void*);
    va_end(rest);
    if (call_clone.mustFail()) return -1;
    return real.get()(body, stack, flags, data, first, second, third);
}
// The calls that a child makes past the C library, by their numbers. All of their arguments are as
// wide as a pointer at most.
struct NumberedCall {
    long number;
    Call* call;
};
QZ_CALL(rt_sigaction, "rt_sigaction");
QZ_CALL(rt_sigprocmask, "rt_sigprocmask");
QZ_CALL(prctl, "prctl");
// The system always answers; another parent means that the first one has ended.
QZ_CALL(getppid, "getppid");
QZ_CALL(setpgid, "setpgid");
QZ_CALL(dup2, "dup2");
QZ_CALL(close_range, "close_range");
QZ_CALL(execve, "execve");
constexpr NumberedCall kNumberedCalls[] = {
    {SYS_rt_sigaction, &call_rt_sigaction},
    {SYS_rt_sigprocmask, &call_rt_sigprocmask},
    {SYS_prctl, &call_prctl},
    {SYS_getppid, &call_getppid},
    {SYS_setpgid, &call_setpgid},
    {SYS_dup2, &call_dup2},
    {SYS_close_range, &call_close_range},
    {SYS_execve, &call_execve},
    {SYS_chdir, &call_chdir},
};
extern "C" __attribute__((visibility("default"))) long fault_syscall(long number,
                                                                     ...) __asm__("syscall");
long fault_syscall(long number, ...)
{
    static constinit Real<long(long, ...)> real("syscall");
    va_list rest;
    va_start(rest, number);
    long values[6];
    for (long& value : values)
        value = va_arg(rest, long);
    va_end(rest);
    for (const NumberedCall& numbered : kNumberedCalls) {
        if (numbered.number == number && numbered.call->mustFail()) return -1;
    }
    return real.get()(number, values[0], values[1], values[2], values[3], values[4], values[5]);
}
QZ_CALL(wait4, "wait4");
QZ_DEFINE(wait4, wait4, pid_t, (pid_t pid, int* status, int options, rusage* usage),
          (pid, status, options, usage), -1)
QZ_CALL(getpriority, "getpriority");
QZ_DEFINE(getpriority, getpriority, int, (int which, id_t who), (which, who), -1)
QZ_CALL(kill, "kill");
QZ_DEFINE(kill, kill, int, (pid_t pid, int number), (pid, number), -1)
QZ_CALL(clock_nanosleep, "clock_nanosleep");
QZ_DEFINE(clock_nanosleep, clock_nanosleep, int,
          (clockid_t clock, int flags, const timespec* time, timespec* left),
          (clock, flags, time, left), errno)
QZ_CALL(waitid, "waitid");
QZ_DEFINE(waitid, waitid, int, (idtype_t what, id_t id, siginfo_t* end, int options),
          (what, id, end, options), -1)
QZ_CALL(pthread_create, "pthread_create");
QZ_DEFINE(pthread_create, pthread_create, int,
          (pthread_t * thread, const pthread_attr_t* how, Body* body, void* data),
          (thread, how, body, data), errno)
QZ_CALL(pthread_key_create, "pthread_key_create");
QZ_DEFINE(pthread_key_create, pthread_key_create, int, (pthread_key_t * key, CleanUp* cleanUp),
          (key, cleanUp), errno)
QZ_CALL(pthread_setspecific, "pthread_setspecific");
QZ_DEFINE_FOR_PROGRAM(pthread_setspecific, pthread_setspecific, int,
                      (pthread_key_t key, const void* value), (key, value), errno)
QZ_CALL(mmap, "mmap");
QZ_DEFINE(mmap, mmap, void*,
          (void* address, size_t size, int protection, int flags, int fd, off_t offset),
          (address, size, protection, flags, fd, offset), MAP_FAILED)
QZ_CALL(madvise, "madvise");
QZ_DEFINE(madvise, madvise, int, (void* address, size_t size, int advice), (address, size, advice),
          -1)

// --- Locales, character sets and clocks

QZ_CALL(newlocale, "newlocale");
QZ_DEFINE(newlocale, newlocale, locale_t, (int categories, const char* name, locale_t base),
          (categories, name, base), nullptr)
QZ_CALL(setlocale, "setlocale");
QZ_DEFINE(setlocale, setlocale, char*, (int category, const char* name), (category, name), nullptr)
QZ_CALL(iconv_open, "iconv_open");
QZ_DEFINE(iconv_open, iconv_open, iconv_t, (const char* to, const char* from), (to, from), kNoIconv)
QZ_CALL(iconv, "iconv");
QZ_DEFINE(iconv, iconv, size_t, (iconv_t way, char** in, size_t* left, char** out, size_t* room),
          (way, in, left, out, room), kIconvFailed)
QZ_CALL(iconv_close, "iconv_close");
QZ_DEFINE_CLOSE(iconv_close, iconv_close, int, (iconv_t way), (way), -1)
QZ_CALL(clock_gettime, "clock_gettime");
QZ_DEFINE(clock_gettime, clock_gettime, int, (clockid_t clock, timespec* now), (clock, now), -1)
QZ_CALL(gettimeofday, "gettimeofday");
QZ_DEFINE(gettimeofday, gettimeofday, int, (timeval * now, void* zone), (now, zone), -1)
QZ_CALL(localtime_r, "localtime_r");
QZ_DEFINE(localtime_r, localtime_r, tm*, (const time_t* time, tm* parts), (time, parts), nullptr)
QZ_CALL(gmtime_r, "gmtime_r");
QZ_DEFINE(gmtime_r, gmtime_r, tm*, (const time_t* time, tm* parts), (time, parts), nullptr)
QZ_CALL(strftime, "strftime");
QZ_DEFINE(strftime, strftime, size_t, (char* to, size_t size, const char* format, const tm* parts),
          (to, size, format, parts), 0)
