// SPDX-License-Identifier: MIT
#include "OutputFile.h"

#include <filesystem>
#include <system_error>

namespace shared {

namespace {

namespace fs = std::filesystem;

std::string chooseName(const std::string& path)
{
    if (!path.empty()) return path;
    std::error_code unknown;
    return (fs::temp_directory_path(unknown) / "recording").string();
}

}  // namespace

OutputFile::OutputFile(const std::string& path) : mPath(path), mFile(chooseName(path)) {}

bool OutputFile::make(std::string& error)
{
    std::error_code unknown;
    const fs::file_status status = fs::status(mPath, unknown);
    mIsDevice = fs::is_character_file(status) || fs::is_block_file(status);
    if (mIsDevice) return true;
    // A link such as /dev/stdout may lead to a regular file, but it is to be used and not replaced.
    const bool isOpenFile = fs::read_symlink(mPath, unknown).string().rfind("/proc/", 0) == 0;
    if (fs::exists(status) && (isOpenFile || !fs::is_regular_file(status))) {
        error = "it is no regular file";
        return false;
    }
    return mFile.make(error);
}

const std::string& OutputFile::getWorkPath() const
{
    return mIsDevice ? mPath : mFile.getWorkPath();
}

bool OutputFile::keep(std::string& error)
{
    return mPath.empty() || mIsDevice || mFile.moveIntoPlace(error);
}

}  // namespace shared
