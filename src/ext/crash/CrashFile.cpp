// SPDX-License-Identifier: MIT
#include "CrashFile.h"

#include <cerrno>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <unistd.h>

#include <qz/qzDirUtils.h>

#include "ReportLayout.h"
#include "base/LocalText.h"
#include "base/Restart.h"

namespace qz::ext::crash {

namespace {

constexpr off_t kRingOffset = kReportOffset + kReportBytes;

// Absolute, because the process may change its working folder.
bool findFolder(const std::string& folder, std::string& localPath, SystemFailure* failure)
{
    const std::string localFolder = toLocal(folder);
    if (localFolder.empty())
        return fail(failure, "conversion of the path '" + folder + "'", EILSEQ);
    qzDirUtils::MkpathUtf8(folder);
    const auto release = [](char* text) { std::free(text); };
    const std::unique_ptr<char, decltype(release)> path(::realpath(localFolder.c_str(), nullptr),
                                                        release);
    if (path == nullptr) return fail(failure, "realpath " + folder, errno);
    localPath = path.get();
    return true;
}

int createLocked(const std::string& path)
{
    const int descriptor = restart([&] {
        return ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    });
    // Nobody else knows the file, so nobody else has locked it.
    if (descriptor >= 0) ::flock(descriptor, LOCK_EX | LOCK_NB);
    return descriptor;
}

}  // namespace

CrashFile::~CrashFile()
{
    if (mRing != nullptr) ::munmap(mRing, mRingBytes);
    removeUnkept();
}

void CrashFile::removeUnkept()
{
    if (mDescriptor.isOpen() && !mIsKept) ::unlink(mPath.c_str());
    mIsKept = true;
}

bool CrashFile::make(const std::string& folder, const std::string& program, long startMs,
                     std::size_t ringBytes, SystemFailure* failure)
{
    std::string localFolder;
    if (!findFolder(folder, localFolder, failure)) return false;
    const std::string name = program.substr(program.rfind('/') + 1);
    static int count = 0;  // two installations may come within a millisecond
    mPath = localFolder + "/" + name + "-" + std::to_string(::getpid()) + "-" +
            std::to_string(startMs) + "-" + std::to_string(++count) + kFileExtension;
    mRingBytes = ringBytes;
    mDescriptor = OwnDescriptor::Open([this] { return createLocked(mPath); });
    if (!mDescriptor.isOpen()) return fail(failure, "open " + toUtf8(mPath), errno);
    return fill(failure);
}

bool CrashFile::fill(SystemFailure* failure)
{
    const int descriptor = mDescriptor.get();
    int refused = EINTR;
    while (refused == EINTR)
        refused = ::posix_fallocate(descriptor, 0, kRingOffset + static_cast<off_t>(mRingBytes));
    if (refused != 0) return fail(failure, "posix_fallocate " + toUtf8(mPath), refused);
    const std::string head =
        kMagic + std::to_string(kReportBytes) + " " + std::to_string(mRingBytes) + "\n";
    if (::pwrite(descriptor, head.data(), head.size(), 0) != static_cast<ssize_t>(head.size()))
        return fail(failure, "write " + toUtf8(mPath), errno);
    void* const ring =
        ::mmap(nullptr, mRingBytes, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, kRingOffset);
    if (ring == MAP_FAILED) return fail(failure, "mmap", errno);
    mRing = ring;
    return true;
}

}  // namespace qz::ext::crash
