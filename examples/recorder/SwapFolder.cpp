// SPDX-License-Identifier: MIT
#include "SwapFolder.h"

#include <filesystem>
#include <system_error>

#include <sys/stat.h>

#include <qz/ext/SafeFiles.h>
#include <qz/ext/SecureRandom.h>
#include <qz/qzStringUtils.h>

namespace recorder {

namespace {

namespace fs = std::filesystem;

fs::path findParent()
{
    std::error_code unknown;
    const fs::path folder = fs::temp_directory_path(unknown);
    return unknown ? "/tmp" : folder;
}

}  // namespace

SwapFolder::SwapFolder()
{
    const fs::path path = findParent() / ("recorder-" + qz::ext::SecureRandom::MakeName());
    mPath = qz::qzStringUtils::convertCharset(path.string(), qz::qzStringUtils::CharSetLocal,
                                              qz::qzStringUtils::CharSetUtf8);
    if (mPath.empty())
        mPath = path.string();  // for the message that no file can be made there
    else
        ::mkdir(path.c_str(), S_IRWXU);
}

void SwapFolder::remove() const
{
    qz::ext::removeTreeNoFollow(mPath);
}

}  // namespace recorder
