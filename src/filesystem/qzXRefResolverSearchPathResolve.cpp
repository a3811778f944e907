#include <algorithm>

#include <qz/qzXRefResolverSearchPath.h>

#include "XRefAgreement.h"
#include "XRefVersions.h"

namespace qz {

namespace {

std::string makePath(const std::string& root, const std::string& reversedFolder,
                     const std::string& name)
{
    std::string path;
    path.reserve(root.size() + reversedFolder.size() + 1 + name.size());
    path = root;
    path.append(reversedFolder.rbegin(), reversedFolder.rend());
    if (!reversedFolder.empty()) path += '/';
    return path += name;
}

}  // namespace

qzXRefResolverSearchPath::tMatchResult qzXRefResolverSearchPath::resolveXRef(
    const std::string& xref) const
{
    if (!mInitialized) return tMatchResult(MatchNotInitialized);
    std::string folder;
    std::string name;
    SplitFullFilePath(CleanFilePath(xref), folder, name);
    std::reverse(folder.begin(), folder.end());
    tMatchResult result(MatchNotFound);
    const Entries* const entries = findEntries(ComputeFileIndex(name));
    if (entries == nullptr) return result;

    const IndexEntry* best = nullptr;
    for (const IndexEntry& entry : *entries) {
        const std::size_t agree = filesystem::computeAgreement(entry.reversedFolder, folder);
        if (best != nullptr && agree <= result.matchLength) continue;
        best = &entry;
        result.matchLength = agree;
        result.type = agree == entry.reversedFolder.size() ? MatchFull : MatchPartial;
        if (result.type == MatchFull) break;
    }
    if (best != nullptr)
        result.path = makePath(mRootWithSlash, best->reversedFolder, best->fileName);
    return result;
}

const qzXRefResolverSearchPath::Entries* qzXRefResolverSearchPath::findEntries(
    const std::string& key) const
{
    const Entries* const entries = mIndex.find(key);
    if (entries != nullptr || !filesystem::hasVersions(key)) return entries;
    return mIndex.findLastVersion(key);
}

}  // namespace qz
