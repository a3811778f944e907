// SPDX-License-Identifier: MIT
#include "LocalPath.h"

#include "TextServices.h"
#include "ThreadContent.h"

namespace qz::text {

namespace {

// The most bytes that a byte of any local set becomes in UTF-8. `fromLocal` has a smaller buffer,
// which would refuse some names that are converted without loss.
constexpr std::size_t kGrowth = 4;

bool convertsBack(const std::string& localPath, const std::string& path)
{
    const ThreadContent* const content = getThreadContent();
    if (content == nullptr) return false;
    const ByteConverter* const toUtf8 =
        content->getBetween(qzStringUtils::CharSetLocal, qzStringUtils::CharSetUtf8);
    if (toUtf8 == nullptr) return false;
    const std::size_t inputSize = localPath.size() + 1;
    std::string utf8(inputSize * kGrowth, '\0');
    std::size_t written = 0;
    if (!toUtf8->converter.convert(localPath.c_str(), inputSize, utf8.data(), utf8.size(), written))
        return false;
    return written == path.size() + 1 && utf8.compare(0, path.size(), path) == 0;
}

}  // namespace

std::string toLocal(const std::string& path)
{
    std::string localPath = qzStringUtils::convertCharset(path, qzStringUtils::CharSetUtf8,
                                                          qzStringUtils::CharSetLocal);
    // Bytes that didn't change are the same characters: ASCII, and all text if the set is UTF-8.
    if (localPath != path && !convertsBack(localPath, path)) localPath.clear();
    return localPath;
}

}  // namespace qz::text
