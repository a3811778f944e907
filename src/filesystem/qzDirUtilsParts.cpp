#include <algorithm>

#include <qz/qzDirUtils.h>

#include "PathText.h"
#include "text/Characters.h"
#include "text/NumberParse.h"

namespace qz {

namespace {

using filesystem::findLastSeparator;
using filesystem::getFileName;
using filesystem::PathJoint;

constexpr std::size_t kMostParts = 65535;
constexpr std::string_view kReservedInFileNames = "\"*/:<>?\\|";

std::string joinParts(const std::string& left, const std::string& right)
{
    const PathJoint joint(left, right);
    std::string joined(joint.size(), '/');
    joint.write(joined);
    return joined;
}

// The notation is that of C, so "0x1f" is a number; so is a part without a character.
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

// The last `count` parts of the name, without those ahead of its first dot, which for a hidden file
// is the second one. Empty ones at their start go with their dots.
std::string_view takeLastParts(std::string_view name, int count)
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
    // A numbered volume keeps its real extension.
    if (partCount < 2) partCount = isNumber(name.substr(lastDot + 1)) ? 2 : 1;
    std::string extension(takeLastParts(name, partCount));
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
    // Either result may be the path itself, which must not go before both are cut from it.
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
