#include "support/ScratchFolder.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "support/Files.h"

namespace qz::support {

ScratchFolder::ScratchFolder() : mPath(std::filesystem::temp_directory_path() / "qzTestXXXXXX")
{
    if (::mkdtemp(mPath.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), mPath);
    }
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
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
