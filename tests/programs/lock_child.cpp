// SPDX-License-Identifier: MIT
// Takes a lock, and lets a forked child release it, where something else than usual shows the child
// that it is one:
//   lock_child namespace PATH             both processes have the id 1, each in its own namespace
//   lock_child without-wiped-memory PATH  the system can't wipe memory in the child
// Exit code 77 stands for no right to make a namespace.
//
// Or takes a lock while each look at the path shows another file than the one that was opened:
//   lock_child never-in-place PATH
// Prints the error, and whether the number of attempts was reasonable.

#include <dlfcn.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <string>

#include <qz/qzLockFile.h>

#include "support/LibraryStart.h"

namespace {

std::string gMovingPath;  // leads elsewhere at each look
int gLooks = 0;

// The processes that this one starts have ids in a new namespace.
void makeNamespace()
{
    if (::unshare(CLONE_NEWPID) != 0) ::_exit(77);
}

int waitFor(pid_t child)
{
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

int useLock(const std::string& path, bool hasNamespaces)
{
    const qz::support::LibraryStart library;
    qz::qzLockFile lock;
    qz::qzLockFile other;
    if (!lock.takeLockUtf8(path, nullptr, qz::qzLockFile::LockExclusive, nullptr)) return 2;
    if (hasNamespaces) makeNamespace();
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child == 0) {
        if (hasNamespaces != (::getpid() == parent)) ::_exit(3);
        ::_exit(lock.releaseLock(true, nullptr) ? 0 : 4);
    }
    if (const int result = waitFor(child)) return result;
    if (other.takeLockUtf8(path, nullptr, qz::qzLockFile::LockExclusive, nullptr)) return 5;
    return lock.releaseLock(true, nullptr) ? 0 : 6;
}

int takeWhatIsNeverInPlace(const std::string& path)
{
    const qz::support::LibraryStart library;
    qz::qzLockFile lock;
    std::string error;
    gMovingPath = path;
    const bool isTaken =
        lock.takeLockUtf8(path, nullptr, qz::qzLockFile::LockExclusive, &error) || lock.isLocked();
    const bool isReasonable = gLooks >= 100 && gLooks <= 100'000;
    std::cout << error << (isReasonable ? "" : ", attempts: " + std::to_string(gLooks));
    return isTaken ? 1 : 0;
}

}  // namespace

extern "C" int stat(const char* path, struct stat* status) noexcept
{
    using Stat = int(const char*, struct stat*);
    static Stat* const real = reinterpret_cast<Stat*>(::dlsym(RTLD_NEXT, "stat"));
    const int result = real(path, status);
    if (result == 0 && gMovingPath == path) status->st_ino += static_cast<ino_t>(++gLooks);
    return result;
}

// Called when the library is loaded, before `main`.
extern "C" int madvise(void* address, std::size_t size, int advice) noexcept
{
    if (advice != MADV_WIPEONFORK || ::getenv("QZ_NO_WIPED_MEMORY") == nullptr)
        return static_cast<int>(::syscall(SYS_madvise, address, size, advice));
    errno = EINVAL;
    return -1;
}

int main(int /*argumentCount*/, char** arguments)
{
    const std::string way = arguments[1];
    const std::string path = arguments[2];
    // Each end is an `_exit`: a search for leaks is impossible where new threads would get ids of
    // another namespace.
    if (way == "never-in-place") return takeWhatIsNeverInPlace(path);
    if (way == "loaded-namespace") ::_exit(useLock(path, true));
    if (way == "loaded-without-wiped-memory") ::_exit(useLock(path, false));
    const bool hasNamespaces = way == "namespace";
    if (hasNamespaces) {
        makeNamespace();
    } else {
        ::setenv("QZ_NO_WIPED_MEMORY", "1", 1);
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::execl("/proc/self/exe", arguments[0], ("loaded-" + way).c_str(), path.c_str(), nullptr);
        ::_exit(1);
    }
    ::_exit(waitFor(child));
}
