// SPDX-License-Identifier: MIT
#include "Content.h"

#include <algorithm>
#include <cerrno>

#include <qz/qzIoDeviceFileStream.h>
#include <qz/qzStringUtils.h>

namespace inventory {

namespace {

constexpr std::size_t kBlockSize = 65536;
constexpr std::size_t kLongestCharacter = 4;

bool isContinuation(unsigned char byte)
{
    return (byte & 0xC0U) == 0x80U;
}

std::size_t getCharacterSize(unsigned char lead)
{
    if (lead >= 0xF0) return 4;
    if (lead >= 0xE0) return 3;
    return lead >= 0xC0 ? 2 : 1;
}

// Where a character begins that the end of the text cuts in two; the end itself without one.
std::size_t findCutCharacter(const std::string& text)
{
    const std::size_t last = std::min(text.size(), kLongestCharacter - 1);
    for (std::size_t back = 1; back <= last; ++back) {
        const auto byte = static_cast<unsigned char>(text[text.size() - back]);
        if (isContinuation(byte)) continue;
        return text.size() - (getCharacterSize(byte) > back ? back : 0);
    }
    return text.size();
}

}  // namespace

Content readContent(const std::string& path, const qz::qzCancelInterface& cancel)
{
    errno = 0;
    qz::qzIoDeviceFileStream file(path, qz::qzIoDevice::DataWayRead, /*truncate=*/false);
    std::string text;
    std::string cutCharacter;
    while (file.good()) {
        if (cancel.shouldCancel()) return Content::Unknown;
        text = cutCharacter;
        text.resize(cutCharacter.size() + kBlockSize);
        const unsigned long size = file.readBytes(text.data() + cutCharacter.size(), kBlockSize);
        if (!file.good()) break;
        if (size == 0) return cutCharacter.empty() ? Content::Utf8 : Content::Other;
        text.resize(cutCharacter.size() + size);
        const std::size_t end = findCutCharacter(text);
        cutCharacter = text.substr(end);
        text.resize(end);
        if (!qz::qzStringUtils::IsUtf8String(text)) return Content::Other;
    }
    return Content::Unreadable;
}

}  // namespace inventory
