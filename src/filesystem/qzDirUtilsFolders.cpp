#include <climits>
#include <cstdlib>
#include <memory>

#include <unistd.h>

#include <qz/qzDirUtils.h>

#include "frame/base/FreeMemory.h"
#include "text/LocalPath.h"

namespace qz {

namespace {

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
    const std::string ahead = home != nullptr ? std::string(home) + "/." : ".";
    return text::fromLocal(ahead + applicationName);
}

}  // namespace qz
