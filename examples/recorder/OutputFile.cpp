#include "OutputFile.h"

#include <filesystem>
#include <system_error>

#include <stdlib.h>
#include <unistd.h>

namespace recorder {

namespace {

namespace fs = std::filesystem;

// A name beside `stem` that nobody else has.
std::string makeUniqueFile(const std::string& stem)
{
    std::string name = stem + "-XXXXXX";
    const int descriptor = ::mkstemp(name.data());
    if (descriptor < 0) return stem;  // opening it will tell the reason
    ::close(descriptor);
    return name;
}

}  // namespace

OutputFile::OutputFile(const std::string& path) : mPath(path)
{
    std::error_code unknown;
    if (path.empty()) {
        mWorkPath = makeUniqueFile((fs::temp_directory_path(unknown) / "recording").string());
    } else if (fs::exists(path, unknown) && !fs::is_regular_file(path, unknown)) {
        mWorkPath = path;
        mIsRemovable = false;
    } else {
        mWorkPath = makeUniqueFile(path);
        mIsRemovable = mWorkPath != path;
    }
}

OutputFile::~OutputFile()
{
    std::error_code ignored;
    if (mIsRemovable) fs::remove(mWorkPath, ignored);
}

bool OutputFile::keep()
{
    if (mPath.empty() || mWorkPath == mPath) return true;
    std::error_code error;
    fs::permissions(mWorkPath,
                    fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                        fs::perms::others_read,
                    error);
    fs::rename(mWorkPath, mPath, error);
    if (error) return false;
    mIsRemovable = false;
    return true;
}

}  // namespace recorder
