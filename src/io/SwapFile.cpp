// SPDX-License-Identifier: MIT
#include "SwapFile.h"

#include <cerrno>
#include <utility>

#include <unistd.h>

#include <qz/UUID.h>
#include <qz/qzDirUtils.h>
#include <qz/qzLogObject.h>
#include <qz/qzRandomUtils.h>
#include <qz/qzSystemUtils.h>

#include "text/LocalPath.h"

namespace qz {

namespace {

constexpr mode_t kOwnerOnly = 0600;

// Attempts to find a free name. They take some milliseconds, so that also a random generator that
// repeats itself gets a new name, by the time in it.
constexpr int kMostNames = 1000;

// 48 bits of time and 74 random ones, in the form of a version-7 UUID.
std::string makeName()
{
    constexpr int kTimeSize = 6;
    unsigned char bytes[16] = {};  // a generator may fail
    const auto now = static_cast<unsigned long>(qzSystemUtils::GetMSecElapsedSinceEpoch());
    for (int i = 0; i < kTimeSize; ++i) {
        bytes[i] = static_cast<unsigned char>(now >> (8 * (kTimeSize - 1 - i)));
    }
    qzRandomUtils::Rand(reinterpret_cast<char*>(bytes + kTimeSize), sizeof bytes - kTimeSize);
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0FU) | 0x70U);
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3FU) | 0x80U);
    std::string name;
    UUID::BinaryToString<UUID::FormatHex>(bytes, name);
    return name + ".swap";
}

// A relative path would name something else after a change of the current folder.
std::string makeAbsolute(const std::string& path)
{
    if (!qzDirUtils::IsPathRelativeUtf8(path)) return path;
    return qzDirUtils::JoinPath(qzDirUtils::GetCurrentWorkingDirUtf8(), path);
}

}  // namespace

SwapFile::SwapFile() : mMakersProcess(qzSystemUtils::GetCurrentProcessID()) {}

SwapFile::~SwapFile()
{
    if (!mFile.isOpen()) return;
    close();
    if (::unlink(mLocalPath.c_str()) != 0) logWarning() << "Fail to remove swap file " << mPath;
}

bool SwapFile::isOwn() const
{
    return mMakersProcess == qzSystemUtils::GetCurrentProcessID();
}

void SwapFile::make(const std::string& folder)
{
    create(folder);
    openFile();
}

void SwapFile::create(const std::string& folder)
{
    qzDirUtils::MkpathUtf8(folder);
    for (int i = 0; i < kMostNames; ++i) {
        mPath = makeAbsolute(qzDirUtils::JoinPath(folder, makeName()));
        mLocalPath = text::toLocal(mPath);
        mFile = FileDescriptor::Open(mLocalPath.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW,
                                     kOwnerOnly);
        if (mFile.isOpen() || errno != EEXIST) return;
    }
}

void SwapFile::reopen(const std::string& folder)
{
    if (mFile.isOpen()) {
        openFile();
    } else {
        make(folder);
    }
}

void SwapFile::openFile()
{
    setFilePath(mPath);  // closes, and so writes what is left, before the position is set
    // At the name there could be something else by now. And whatever mode the umask has left, a
    // second descriptor can be had.
    FileDescriptor second(::fcntl(mFile.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (second.isOpen() && ::lseek(second.get(), 0, SEEK_SET) != 0) second.close();
    open(std::move(second));
}

}  // namespace qz
