// SPDX-License-Identifier: MIT
#include "RandomDevice.h"

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "base/FileDescriptor.h"
#include "base/Restart.h"

namespace qz::ext {

namespace {

// The kernel's list of devices: 1 is memory, 8 random, 9 urandom.
constexpr unsigned int kMemoryDevices = 1;
constexpr unsigned int kRandom = 8;
constexpr unsigned int kUrandom = 9;

// Another file in its place, as in a folder made for `chroot`, would give the same bytes again.
bool isDevice(const FileDescriptor& file, unsigned int number)
{
    struct stat status = {};
    if (::fstat(file.get(), &status) != 0) return false;
    errno = ENODEV;
    return S_ISCHR(status.st_mode) && status.st_rdev == ::makedev(kMemoryDevices, number);
}

FileDescriptor openDevice(const char* path, unsigned int number, const char*& step)
{
    step = path;
    FileDescriptor file(restart([path] { return ::open(path, O_RDONLY | O_CLOEXEC); }));
    if (file.isOpen() && !isDevice(file, number)) file.close();
    return file;
}

// Unlike /dev/random, /dev/urandom also gives what can be guessed, early in the start of a machine.
bool waitUntilSeeded(const char*& step)
{
    const FileDescriptor file = openDevice("/dev/random", kRandom, step);
    if (!file.isOpen()) return false;
    pollfd readable = {file.get(), POLLIN, 0};
    return restart([&readable] { return ::poll(&readable, 1, -1); }) == 1;
}

}  // namespace

bool readRandomDevice(unsigned char* bytes, std::size_t size, const char*& step)
{
    if (!waitUntilSeeded(step)) return false;
    const FileDescriptor file = openDevice("/dev/urandom", kUrandom, step);
    if (!file.isOpen()) return false;
    for (std::size_t done = 0; done != size;) {
        const ssize_t count =
            restart([&] { return ::read(file.get(), bytes + done, size - done); });
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else {
            if (count == 0) errno = EIO;
            return false;
        }
    }
    return true;
}

}  // namespace qz::ext
