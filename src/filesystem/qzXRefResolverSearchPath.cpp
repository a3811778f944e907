// SPDX-License-Identifier: MIT
#include <qz/qzXRefResolverSearchPath.h>

#include <algorithm>
#include <string_view>

#include "PathText.h"
#include "XRefIndex.h"

namespace qz {

namespace {

using filesystem::XRefIndex;

// How many bytes of an entry's folder agree with a path's folder. Both have their bytes in reverse
// order, so this compares them from their ends.
//
// Only whole names count. Compatibility: if all of the path's folder agrees and ends within a name
// of the entry's, all of it counts.
std::size_t computeAgreement(std::string_view entry, std::string_view xref)
{
    std::size_t agree = 0;
    std::size_t i = 0;
    while (i != entry.size() && i != xref.size() && entry[i] == xref[i]) {
        if (entry[i] == '/') agree = i;
        ++i;
    }
    if (i == entry.size()) return i == xref.size() || xref[i] == '/' ? i : agree;
    return i == xref.size() ? i : agree;
}

std::string makePath(const std::string& root, std::string_view reversedFolder,
                     const std::string& name)
{
    std::string path;
    path.reserve(root.size() + reversedFolder.size() + 1 + name.size());
    path = root;
    path.append(reversedFolder.rbegin(), reversedFolder.rend());
    if (!reversedFolder.empty()) path += '/';
    return path += name;
}

// An exact name wins over those with a version.
XRefIndex::Id findKey(const XRefIndex& index, const std::string& key)
{
    const XRefIndex::Id exact = index.find(key);
    if (exact != XRefIndex::kNone || !XRefIndex::HasVersions(key)) return exact;
    return index.findLastVersion(key);
}

}  // namespace

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

qzXRefResolverSearchPath::qzXRefResolverSearchPath(const qzXRefResolverSearchPath& other)
    : mIndex(other.mIndex != nullptr ? std::make_unique<XRefIndex>(*other.mIndex) : nullptr),
      mRootWithSlash(other.mRootWithSlash),
      mCleanedRootPath(other.mCleanedRootPath),
      mOriginalRootPath(other.mOriginalRootPath),
      mInitialized(other.mInitialized)
{
}

qzXRefResolverSearchPath::qzXRefResolverSearchPath(qzXRefResolverSearchPath&& other) noexcept
{
    swap(other);
}

qzXRefResolverSearchPath& qzXRefResolverSearchPath::operator=(const qzXRefResolverSearchPath& other)
{
    qzXRefResolverSearchPath copy(other);
    swap(copy);
    return *this;
}

qzXRefResolverSearchPath& qzXRefResolverSearchPath::operator=(
    qzXRefResolverSearchPath&& other) noexcept
{
    qzXRefResolverSearchPath taken(std::move(other));
    swap(taken);
    return *this;
}

void qzXRefResolverSearchPath::swap(qzXRefResolverSearchPath& other) noexcept
{
    mIndex.swap(other.mIndex);
    mRootWithSlash.swap(other.mRootWithSlash);
    mCleanedRootPath.swap(other.mCleanedRootPath);
    mOriginalRootPath.swap(other.mOriginalRootPath);
    std::swap(mInitialized, other.mInitialized);
}

const XRefIndex& qzXRefResolverSearchPath::getIndex() const
{
    static const XRefIndex empty;
    return mIndex != nullptr ? *mIndex : empty;
}

XRefIndex& qzXRefResolverSearchPath::editIndex()
{
    if (mIndex == nullptr) mIndex = std::make_unique<XRefIndex>();
    return *mIndex;
}

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
    mIndex.reset();
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
    return mRootWithSlash == other.mRootWithSlash && getIndex() == other.getIndex();
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
    // "a.b" becomes "b.a"; what follows doesn't change.
    const auto at = [&key](std::size_t i) { return key.begin() + static_cast<std::ptrdiff_t>(i); };
    std::rotate(at(0), at(first), at(second));
    std::rotate(at(0), at(1), at(second - first));
    return key;
}

qzXRefResolverSearchPath::tMatchResult qzXRefResolverSearchPath::resolveXRef(
    const std::string& xref) const
{
    if (!mInitialized) return tMatchResult(MatchNotInitialized);
    std::string folder;
    std::string name;
    SplitFullFilePath(CleanFilePath(xref), folder, name);
    std::reverse(folder.begin(), folder.end());
    tMatchResult result(MatchNotFound);
    const XRefIndex& index = getIndex();
    const std::string key = ComputeFileIndex(name);
    const XRefIndex::Id found = findKey(index, key);
    if (found == XRefIndex::kNone) return result;

    std::string_view bestFolder;
    for (const XRefIndex::File* file = index.getFirst(found); file != nullptr;
         file = index.getNext(*file)) {
        const std::string_view entryFolder = index.getReversedFolder(file->folder);
        const std::size_t agree = computeAgreement(entryFolder, folder);
        if (result.type != MatchNotFound && agree <= result.matchLength) continue;
        bestFolder = entryFolder;
        result.matchLength = agree;
        result.type = agree == entryFolder.size() ? MatchFull : MatchPartial;
        if (result.type == MatchFull) break;
    }
    if (result.type == MatchNotFound) return result;
    // The name of a version is the key of its key: what changes places once, changes back.
    if (index.getKey(found) != key) name = ComputeFileIndex(std::string(index.getKey(found)));
    result.path = makePath(mRootWithSlash, bestFolder, name);
    return result;
}

}  // namespace qz
