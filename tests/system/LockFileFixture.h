// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <qz/SystemError.h>
#include <qz/qzLockFile.h>

#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace qz {

inline constexpr auto kExclusive = qzLockFile::LockExclusive;
inline constexpr auto kShared = qzLockFile::LockShared;

/// The error of a lock that another one excludes.
inline const std::string kRefused =
    "Fail to acquire lock on existing file, " + SystemError(EWOULDBLOCK).toString();

/// A path for a lock file, and what was learnt from the last call.
class LockFileFixture : public ::testing::Test {
protected:
    bool take(qzLockFile& lock, qzLockFile::LockType type = kExclusive)
    {
        mWasThere = true;
        mError = "old";
        return lock.takeLockUtf8(mPath, &mWasThere, type, &mError);
    }
    bool release(qzLockFile& lock, bool removeFile)
    {
        mError = "old";
        return lock.releaseLock(removeFile, &mError);
    }
    bool hasFile() const { return std::filesystem::exists(mPath); }
    std::string read() const { return support::readFile(mPath); }

    support::LibraryStart mStart;
    support::ScratchFolder mFolder;
    std::string mPath = mFolder.getPath("lock");
    bool mWasThere = false;
    std::string mError;
};

}  // namespace qz
