// SPDX-License-Identifier: MIT
#include "support/ScratchFolder.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "support/Files.h"

namespace qz::support {

namespace {

// Only root may remove what is in a folder without rights.
void permitFolders(const std::string& path)
{
    namespace fs = std::filesystem;
    std::error_code ignored;
    fs::permissions(path, fs::perms::owner_all, fs::perm_options::add, ignored);
    // The rights of a folder are given before the iterator enters it.
    for (fs::recursive_directory_iterator it(path, ignored), end; it != end;
         it.increment(ignored)) {
        if (fs::is_directory(it->symlink_status(ignored)))
            fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
    }
}

}  // namespace

ScratchFolder::ScratchFolder() : mPath(std::filesystem::temp_directory_path() / "qzTestXXXXXX")
{
    if (::mkdtemp(mPath.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), mPath);
    }
}

ScratchFolder::~ScratchFolder()
{
    std::error_code error;
    std::filesystem::remove_all(mPath, error);
    if (error == std::errc::permission_denied) {
        permitFolders(mPath);
        std::filesystem::remove_all(mPath, error);
    }
}

std::string ScratchFolder::getPath(const std::string& name) const
{
    return mPath + '/' + name;
}

std::string ScratchFolder::write(const std::string& name, const std::string& content) const
{
    writeFile(getPath(name), content);
    return getPath(name);
}

std::string ScratchFolder::read(const std::string& name) const
{
    return readFile(getPath(name));
}

}  // namespace qz::support
