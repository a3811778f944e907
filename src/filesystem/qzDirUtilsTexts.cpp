// SPDX-License-Identifier: MIT
#include <algorithm>
#include <string_view>

#include <qz/qzDirUtils.h>

#include "PathText.h"
#include "text/ByteVectors.h"
#include "text/Characters.h"
#include "text/NumberParse.h"

namespace qz {

namespace {

using filesystem::isSeparator;
using filesystem::PathJoint;
using text::Vector16;

constexpr std::size_t kMostParts = 65535;
constexpr std::string_view kReservedInFileNames = "\"*/:<>?\\|";

// The last slash or backslash of a block; negative if there is none.
int findLastSeparatorInBlock(const char* bytes)
{
    const Vector16 block = Vector16::load(bytes);
    const std::uint64_t found =
        ((block == Vector16::fill('/')) | (block == Vector16::fill('\\'))).highBits();
    return found == 0 ? -1 : 63 - __builtin_clzl(found);
}

// The last slash or backslash; npos if there is none.
std::size_t findLastSeparator(std::string_view path)
{
    std::size_t i = path.size();
    for (; i >= Vector16::kSize; i -= Vector16::kSize) {
        const std::size_t start = i - Vector16::kSize;
        const int found = findLastSeparatorInBlock(path.data() + start);
        if (found >= 0) return start + static_cast<std::size_t>(found);
    }
    while (i != 0 && !isSeparator(path[i - 1]))
        --i;
    return i - 1;  // npos for 0
}

std::string_view getFileName(std::string_view path)
{
    return path.substr(findLastSeparator(path) + 1);
}

std::string joinParts(const std::string& left, const std::string& right)
{
    const PathJoint joint(left, right);
    std::string joined(joint.size(), '/');
    joint.write(joined);
    return joined;
}

// In the notation of C, so "0x1f" is a number. An empty part is one too.
bool isNumber(std::string_view part)
{
    long value = 0;
    return text::parseInteger(std::string(part), value);
}

bool hasTooManyParts(std::string_view name)
{
    if (name.size() < kMostParts) return false;
    return static_cast<std::size_t>(std::count(name.begin(), name.end(), '.')) >= kMostParts;
}

// The last `count` parts of the name. Those before its first dot don't count, which for a hidden
// file is the second dot. Empty parts at the start are removed with their dots.
std::string_view getLastParts(std::string_view name, int count)
{
    std::size_t start = name.size();
    for (std::size_t i = name.size() - 1; i != 0 && count > 0; --i) {
        if (name[i] != '.') continue;
        start = i + 1;
        --count;
    }
    const std::string_view parts = name.substr(start);
    const std::size_t first = parts.find_first_not_of('.');
    return first == std::string_view::npos ? std::string_view() : parts.substr(first);
}

}  // namespace

std::string qzDirUtils::JoinPath(const std::string& left, const std::string& right)
{
    return joinParts(left, right);
}

std::string qzDirUtils::JoinPath(const std::string& first, const std::string& second,
                                 const std::string& third)
{
    return joinParts(joinParts(first, second), third);
}

std::string qzDirUtils::JoinPath(const std::string& first, const std::string& second,
                                 const std::string& third, const std::string& fourth)
{
    return joinParts(joinParts(first, second), joinParts(third, fourth));
}

std::string qzDirUtils::ExtractFileExtension(const std::string& path, bool lowerCase, int partCount)
{
    const std::string_view name = getFileName(path);
    const std::size_t lastDot = name.rfind('.');
    if (lastDot == std::string_view::npos || hasTooManyParts(name)) return {};
    // The number of a volume is not its real extension.
    if (partCount < 2) partCount = isNumber(name.substr(lastDot + 1)) ? 2 : 1;
    std::string extension(getLastParts(name, partCount));
    if (lowerCase) text::makeLowerCase(extension);
    return extension;
}

std::string qzDirUtils::ExtractFileBaseName(const std::string& path)
{
    const std::string_view name = getFileName(path);
    return std::string(name.substr(0, name.rfind('.')));
}

std::string qzDirUtils::ExtractFolder(const std::string& path)
{
    const std::size_t cut = findLastSeparator(path);
    if (cut == std::string::npos) return {};
    std::string folder = path.substr(0, cut);
    filesystem::makeSlashes(folder);
    return folder;
}

void qzDirUtils::SplitFolderFilename(const std::string& path, std::string& folder,
                                     std::string& fileName)
{
    const std::size_t cut = findLastSeparator(path);
    const std::size_t folderSize = cut == std::string::npos ? 0 : cut;
    // Either result may be the path itself, from which both are cut.
    if (&fileName == &path) {
        folder.assign(path, 0, folderSize);
        fileName.erase(0, cut + 1);
        return;
    }
    fileName.assign(path, cut + 1);
    folder.assign(path, 0, folderSize);
}

std::string qzDirUtils::GetParentPathUtf8(const std::string& path)
{
    const std::size_t cut = path.rfind('/');
    return cut == std::string::npos ? std::string() : path.substr(0, cut);
}

bool qzDirUtils::IsPathRelativeUtf8(const std::string& path)
{
    return path.empty() || path.front() != '/';
}

void qzDirUtils::GenerateValidFileName(std::string& text, char replacement)
{
    const auto isReserved = [](char byte) {
        return kReservedInFileNames.find(byte) != std::string_view::npos;
    };
    std::replace_if(text.begin(), text.end(), isReserved, replacement);
}

std::string qzDirUtils::GenerateValidFileName(const std::string& text, char replacement)
{
    std::string name = text;
    GenerateValidFileName(name, replacement);
    return name;
}

}  // namespace qz
