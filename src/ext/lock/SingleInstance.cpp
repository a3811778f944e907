// SPDX-License-Identifier: MIT
#include <qz/ext/FileLock.h>

#include "base/PrivateFolder.h"

namespace qz::ext {

namespace {

constexpr const char* kSuffix = ".lock";

}  // namespace

bool SingleInstance::claim(const std::string& name, SystemFailure* failure)
{
    std::string localPath;
    return findPrivatePath(name, kSuffix, localPath, failure) &&
           mLock.tryLocal(localPath, FileLock::Exclusive, failure);
}

std::optional<LockHolder> SingleInstance::FindRunning(const std::string& name)
{
    std::string localPath;
    if (!findPrivatePath(name, kSuffix, localPath, nullptr)) return std::nullopt;
    return FileLock::FindHolderLocal(localPath);
}

}  // namespace qz::ext
