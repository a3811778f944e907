#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <qz/qzXRefResolverSearchPath.h>

#include "XRefAgreement.h"

namespace qz {

namespace {

// Only files of these kinds carry versions behind their names.
bool hasVersions(const std::string& key)
{
    for (const char* const kind : {"prt", "asm", "neu"})
        if (key.compare(0, 3, kind) == 0) return true;
    return false;
}

// The number behind the name and the byte that parts them; 0 where there is none.
long readVersion(const std::string& key, std::size_t nameSize)
{
    return key.size() > nameSize ? std::strtol(key.c_str() + nameSize + 1, nullptr, 10) : 0;
}

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
    const auto found = mIndex.find(key);
    if (found != mIndex.end()) return &found->second;
    return hasVersions(key) ? findLastVersion(key) : nullptr;
}

// Keys that begin with this one follow each other. A zero byte ends a key here.
const qzXRefResolverSearchPath::Entries* qzXRefResolverSearchPath::findLastVersion(
    const std::string& key) const
{
    const Entries* last = nullptr;
    long lastVersion = 0;
    for (auto it = mIndex.lower_bound(key.c_str()); it != mIndex.end(); ++it) {
        if (std::strncmp(key.c_str(), it->first.c_str(), key.size()) != 0) break;
        const long version = readVersion(it->first, key.size());
        if (last != nullptr && version <= lastVersion) continue;
        last = &it->second;
        lastVersion = version;
    }
    return last;
}

}  // namespace qz
