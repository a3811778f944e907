#include <qz/qzMutex.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include <sys/file.h>

#include <qz/SystemError.h>
#include <qz/UUID.h>
#include <qz/qzRandomUtils.h>

#include "EarlyConstruction.h"
#include "frame/base/StandardFile.h"
#include "text/LocalPath.h"

namespace qz {

struct qzMutexSystem::Impl {
    StandardFile file;
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

}  // namespace

qzMutexSystem::qzMutexSystem(const char* name) : mImpl(std::make_unique<Impl>())
{
    mImpl->path = text::toLocal(makePath(name));
    mImpl->file.reset(std::fopen(mImpl->path.c_str(), "w+"));
    if (mImpl->file == nullptr) {
        const SystemError error(errno);
        logCritical(nullptr, "qzSystem")
            << "Fail to create lock for file '" << name << "' error " << error;
    }
    warnAheadOfFullStart(kEarlyMutex);
}

qzMutexSystem::~qzMutexSystem()
{
    CheckIfProcessForkAfterThreadSafeInit();
    if (mImpl->file == nullptr) return;
    mImpl->file.reset();
    std::remove(mImpl->path.c_str());
}

void qzMutexSystem::lock()
{
    if (mImpl->file != nullptr) ::flock(::fileno(mImpl->file.get()), LOCK_EX);
}

void qzMutexSystem::unlock()
{
    if (mImpl->file != nullptr) ::flock(::fileno(mImpl->file.get()), LOCK_UN);
}

}  // namespace qz
