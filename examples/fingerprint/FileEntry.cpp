// SPDX-License-Identifier: MIT
#include "FileEntry.h"

#include <qz/qzStringUtils.h>

namespace fingerprint {

namespace {

void appendHex(std::string& text, std::uint64_t number)
{
    constexpr int kBits = 64;
    constexpr int kDigitBits = 4;
    for (int shift = kBits - kDigitBits; shift >= 0; shift -= kDigitBits)
        text += "0123456789abcdef"[(number >> shift) & 0xF];
}

}  // namespace

std::string joinPath(const std::string& folder, const std::string& path)
{
    if (folder.empty() || path.empty()) return folder + path;
    return folder.back() == '/' ? folder + path : folder + '/' + path;
}

std::string toText(const std::optional<Digest>& digest)
{
    std::string text;
    if (!digest) return text;
    appendHex(text, digest->high);
    appendHex(text, digest->low);
    return text;
}

std::string toUtf8(const std::string& localName)
{
    using qz::qzStringUtils;
    return qzStringUtils::convertCharset(localName, qzStringUtils::CharSetLocal,
                                         qzStringUtils::CharSetUtf8);
}

}  // namespace fingerprint
