// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>
#include <qz/qzLockFile.h>

namespace qz {

namespace {

// Takes a lock on one path, and compares what happens with what is expected.
class LockCheck {
public:
    explicit LockCheck(const std::string& path) : mPath(path) {}

    bool takes(qzLockFile& lock, qzLockFile::LockType type, bool expectsFile) const
    {
        bool wasThere = false;
        return lock.takeLockUtf8(mPath, &wasThere, type, nullptr) && wasThere == expectsFile;
    }
    bool isRefused(qzLockFile& lock, qzLockFile::LockType type) const
    {
        return !lock.takeLockUtf8(mPath, nullptr, type, nullptr);
    }

private:
    std::string mPath;
};

constexpr auto kExclusive = qzLockFile::LockExclusive;
constexpr auto kShared = qzLockFile::LockShared;
constexpr bool kFileThere = true;
constexpr bool kNoFile = false;

bool removes(qzLockFile& lock)
{
    return lock.releaseLock(/*removeFile=*/true, nullptr);
}

bool checkExclusive(const std::string& path)
{
    qzDirUtils::RemoveFileUtf8(path, nullptr);
    const LockCheck check(path);
    qzLockFile x;
    qzLockFile y;
    return check.takes(x, kExclusive, kNoFile) &&           //
           check.isRefused(y, kExclusive) &&                //
           removes(x) &&                                    //
           check.takes(y, kExclusive, kNoFile) &&           //
           y.releaseLock(/*removeFile=*/false, nullptr) &&  //
           check.takes(x, kExclusive, kFileThere) &&        //
           removes(x);
}

bool checkShared(const std::string& path)
{
    const LockCheck check(path);
    qzLockFile x;
    qzLockFile y;
    qzLockFile z;
    return check.takes(x, kExclusive, kNoFile) &&  //
           check.isRefused(y, kShared) &&          //
           removes(x) &&                           //
           check.takes(y, kShared, kNoFile) &&     //
           check.isRefused(x, kExclusive) &&       //
           check.takes(z, kShared, kFileThere) &&  //
           check.isRefused(x, kExclusive) &&       //
           removes(y) &&                           //
           check.isRefused(x, kExclusive) &&       //
           check.takes(y, kShared, kFileThere) &&  //
           removes(y) &&                           //
           removes(z) &&                           //
           check.takes(x, kExclusive, kNoFile) &&  //
           removes(x);
}

}  // namespace

bool qzLockFile::UnitTestUtf8(const std::string& folder)
{
    return checkExclusive(folder + "/file_ex.lock") && checkShared(folder + "/file_shared.lock");
}

}  // namespace qz
