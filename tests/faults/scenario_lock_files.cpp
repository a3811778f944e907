// SPDX-License-Identifier: MIT
// A lock is taken on a new file, refused to another object, released, and shared on the file that
// was kept.

#include <unistd.h>

#include <string>

#include <qz/qzLockFile.h>

#include "faults/Scenario.h"
#include "support/LibraryStart.h"

namespace {

using qz::qzLockFile;

std::string useLocks(const std::string& path)
{
    const qz::faults::Watch watch;
    qzLockFile lock;
    qzLockFile other;
    std::string error;
    bool wasThere = false;
    if (!lock.takeLockUtf8(path, &wasThere, qzLockFile::LockShared, &error)) return "new: " + error;
    if (wasThere) return "the new file was there";
    if (other.takeLockUtf8(path, nullptr, qzLockFile::LockExclusive, &error)) return "two holders";
    const std::string refusal = error;
    if (!lock.releaseLock(false, &error)) return "release: " + error;
    if (!other.takeLockUtf8(path, &wasThere, qzLockFile::LockShared, &error))
        return "existing: " + error;
    const std::string start = wasThere ? "" : "as a new file, ";
    if (!other.releaseLock(true, &error)) return start + "removal: " + error;
    if (::access(path.c_str(), F_OK) == 0) return start + "the file is left";
    return start + "locked, refused: " + refusal;
}

std::string work(const std::string& folder)
{
    return useLocks(qz::faults::makeFreshPath(folder));
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    return qz::faults::runScenario(argumentCount, arguments, &work);
}
