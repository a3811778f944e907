#include <qz/qzXRefResolverSearchPath.h>

#include <algorithm>

#include "PathText.h"

namespace qz {

qzXRefResolverSearchPath::tMatchResult::tMatchResult(MatchResultType resultType) : type(resultType)
{
}

void qzXRefResolverSearchPath::tMatchResult::clearResult()
{
    type = MatchNotInitialized;
    matchLength = 0;
    path.clear();
}

qzXRefResolverSearchPath::IndexEntry::IndexEntry(std::string name, std::string folder)
    : fileName(std::move(name)), reversedFolder(std::move(folder))
{
}

bool qzXRefResolverSearchPath::IndexEntry::operator==(const IndexEntry& other) const
{
    return fileName == other.fileName && reversedFolder == other.reversedFolder;
}

qzXRefResolverSearchPath::qzXRefResolverSearchPath() = default;

qzXRefResolverSearchPath::~qzXRefResolverSearchPath() = default;

qzXRefResolverSearchPath::qzXRefResolverSearchPath(const qzXRefResolverSearchPath&) = default;

qzXRefResolverSearchPath& qzXRefResolverSearchPath::operator=(const qzXRefResolverSearchPath&) =
    default;

// The path may be one of the fields.
void qzXRefResolverSearchPath::setPath(const std::string& path)
{
    std::string original = path;
    std::string cleaned = CleanFilePath(original);
    mRootWithSlash = original.empty() ? "" : cleaned + '/';
    mCleanedRootPath = std::move(cleaned);
    mOriginalRootPath = std::move(original);
}

void qzXRefResolverSearchPath::clearSearchPath()
{
    mIndex.clear();
    setPath("");
    mInitialized = false;
}

const std::string& qzXRefResolverSearchPath::getOriginalRootPath() const
{
    return mOriginalRootPath;
}

const std::string& qzXRefResolverSearchPath::getCleanedRootPath() const
{
    return mCleanedRootPath;
}

bool qzXRefResolverSearchPath::isInitialized() const
{
    return mInitialized;
}

bool qzXRefResolverSearchPath::operator==(const qzXRefResolverSearchPath& other) const
{
    return mRootWithSlash == other.mRootWithSlash && mIndex == other.mIndex;
}

std::string qzXRefResolverSearchPath::CleanFilePath(const std::string& path)
{
    std::string cleaned = path;
    filesystem::makeSlashes(cleaned);
    return cleaned;
}

// The outputs may be the path itself.
void qzXRefResolverSearchPath::SplitFullFilePath(const std::string& full, std::string& folder,
                                                 std::string& name)
{
    const std::size_t slash = full.rfind('/');
    const bool hasFolder = slash != std::string::npos;
    std::string folderPart = hasFolder ? full.substr(0, slash) : std::string();
    std::string namePart = hasFolder ? full.substr(slash + 1) : full;
    folder = std::move(folderPart);
    name = std::move(namePart);
}

std::string qzXRefResolverSearchPath::ComputeFileIndex(const std::string& fileName)
{
    std::string key = CleanFilePath(fileName);
    const std::size_t first = key.find('.');
    if (first == std::string::npos) return key;
    const std::size_t second = std::min(key.find('.', first + 1), key.size());
    // "a.b" becomes "b.a", and what follows stays.
    const auto at = [&key](std::size_t i) { return key.begin() + static_cast<std::ptrdiff_t>(i); };
    std::rotate(at(0), at(first), at(second));
    std::rotate(at(0), at(1), at(second - first));
    return key;
}

}  // namespace qz
