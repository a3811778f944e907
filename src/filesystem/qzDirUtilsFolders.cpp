// SPDX-License-Identifier: MIT
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <qz/qzDirUtils.h>

#include "frame/base/FreeMemory.h"
#include "text/LocalPath.h"

namespace qz {

namespace {

constexpr mode_t kModeBeforeUmask = 0777;

// As in linux/magic.h; FUSE's is in no header of the C library.
constexpr unsigned kNfs = 0x6969;
constexpr unsigned kFuse = 0x65735546;

// Compatibility: if another process makes the folder after the check, this fails with EEXIST.
bool makeFolderUnlessThere(const char* localPath)
{
    struct stat status = {};
    if (::stat(localPath, &status) != 0) return ::mkdir(localPath, kModeBeforeUmask) == 0;
    if (S_ISDIR(status.st_mode)) return true;
    errno = ENOTDIR;
    return false;
}

std::string getVariable(const char* name, const char* fallback)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? value : fallback;
}

std::string getHome()
{
    return getVariable("HOME", ".");
}

}  // namespace

bool qzDirUtils::DirExistsUtf8(const std::string& path)
{
    struct stat status = {};
    return ::stat(text::toLocal(SimplifyPath(path)).c_str(), &status) == 0 &&
           S_ISDIR(status.st_mode);
}

bool qzDirUtils::MkpathUtf8(const std::string& path)
{
    std::string localPath = text::toLocal(path);
    std::size_t start = 0;
    for (std::size_t slash = localPath.find('/'); slash != std::string::npos;
         slash = localPath.find('/', start)) {
        // The root and doubled slashes add no folder.
        if (slash != start) {
            localPath[slash] = '\0';
            if (!makeFolderUnlessThere(localPath.c_str())) return false;
            localPath[slash] = '/';
        }
        start = slash + 1;
    }
    return makeFolderUnlessThere(localPath.c_str());
}

// --- File systems

bool qzDirUtils::IsNetworkPath(const std::string& path)
{
    struct statfs64 status = {};
    if (::statfs64(path.c_str(), &status) != 0) return false;
    return status.f_type == kNfs || status.f_type == kFuse;
}

unsigned long qzDirUtils::GetAvailableDiskSizeUtf8(const std::string& path, std::string& errorMsg)
{
    // Cleared last: the path may be the same string.
    struct statvfs64 status = {};
    const bool isThere = ::statvfs64(text::toLocal(path).c_str(), &status) == 0;
    errorMsg.clear();
    return isThere ? status.f_bsize * status.f_bfree : 0;
}

// --- Well-known folders

std::string qzDirUtils::GetTempFolderUtf8()
{
    return text::fromLocal(getVariable("TMPDIR", "/tmp"));
}

std::string qzDirUtils::GetCurrentWorkingDirUtf8()
{
    const std::unique_ptr<char, FreeMemory> folder(::getcwd(nullptr, 0));
    return folder != nullptr ? text::fromLocal(folder.get()) : std::string();
}

bool qzDirUtils::SetCurrentWorkingDirUtf8(const std::string& path)
{
    return ::chdir(text::toLocal(path).c_str()) == 0;
}

bool qzDirUtils::GetProcessFolderUtf8(std::string& folder)
{
    folder.clear();
    char file[PATH_MAX];
    const ssize_t size = ::readlink("/proc/self/exe", file, sizeof file);
    if (size < 1) return false;
    const std::string path(file, static_cast<std::size_t>(size));
    folder = text::fromLocal(path.substr(0, path.rfind('/')));
    return true;
}

std::string qzDirUtils::GetDocumentsFolderUtf8()
{
    const std::string home = getHome();
    const std::string documents = home + "/Documents";
    return DirExistsUtf8(documents) ? documents : home;
}

std::string qzDirUtils::GetPicturesFolderUtf8()
{
    return getHome() + "/Pictures";
}

std::string qzDirUtils::GetDownloadFolderUtf8()
{
    return getHome() + "/Downloads";
}

std::string qzDirUtils::GetAppDataFolderUtf8(const std::string& applicationName)
{
    const char* const home = std::getenv("HOME");
    const std::string folder = home != nullptr ? std::string(home) + "/." : ".";
    return text::fromLocal(folder + applicationName);
}

}  // namespace qz
