// SPDX-License-Identifier: MIT
#include <qz/qzMutex.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <sys/file.h>

#include <qz/SystemError.h>
#include <qz/UUID.h>
#include <qz/qzRandomUtils.h>

#include "EarlyConstruction.h"
#include "frame/base/FileDescriptor.h"
#include "text/LocalPath.h"

namespace qz {

struct qzMutexSystem::Impl {
    FileDescriptor file;
    std::string path;  // in the local character set
};

namespace {

// A random identifier of version 4.
std::string makeRandomName()
{
    char bytes[16] = {};
    qzRandomUtils::Rand(bytes, sizeof bytes);
    bytes[6] = static_cast<char>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<char>((bytes[8] & 0x3F) | 0x80);
    std::string name;
    UUID::BinaryToString<UUID::FormatHex>(reinterpret_cast<const unsigned char*>(bytes), name);
    return name;
}

std::string makePath(const char* name)
{
    std::string fileName = name != nullptr ? name : makeRandomName();
    std::replace(fileName.begin(), fileName.end(), '/', '_');
    std::replace(fileName.begin(), fileName.end(), '.', '_');
    return "/var/lock/" + fileName;
}

// Anybody may create files in this folder, so a link there is not followed, and a file keeps what
// it holds.
FileDescriptor openLockFile(const std::string& localPath)
{
    return FileDescriptor::Open(localPath.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW);
}

// A signal interrupts the wait, after its handler has run.
void lockFile(const FileDescriptor& file, int operation)
{
    while (::flock(file.get(), operation) != 0 && errno == EINTR) {
    }
}

}  // namespace

qzMutexSystem::qzMutexSystem(const char* name) : mImpl(std::make_unique<Impl>())
{
    mImpl->path = text::toLocal(makePath(name));
    mImpl->file = openLockFile(mImpl->path);
    if (!mImpl->file.isOpen()) {
        const SystemError error(errno);
        logCritical(nullptr, "qzSystem")
            << "Fail to create lock for file '" << name << "' error " << error;
    }
    warnBeforeFullStart(kEarlyMutex);
}

qzMutexSystem::~qzMutexSystem()
{
    CheckIfProcessForkAfterThreadSafeInit();
    if (!mImpl->file.isOpen()) return;
    mImpl->file.close();
    std::remove(mImpl->path.c_str());
}

void qzMutexSystem::lock()
{
    if (mImpl->file.isOpen()) lockFile(mImpl->file, LOCK_EX);
}

void qzMutexSystem::unlock()
{
    if (mImpl->file.isOpen()) lockFile(mImpl->file, LOCK_UN);
}

}  // namespace qz
