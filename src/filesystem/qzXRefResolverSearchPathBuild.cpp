#include <algorithm>
#include <string_view>

#include <qz/qzDirUtils.h>
#include <qz/qzLogObject.h>
#include <qz/qzXRefResolverSearchPath.h>

namespace qz {

// Adds each file of a tree to the index. It stops the walk with the file that reaches the limit.
class XRefResolverFileSystemVisitor : public qzDirUtils::FileSystemVisitor {
public:
    XRefResolverFileSystemVisitor(qzXRefResolverSearchPath& owner, unsigned long maxFiles)
        : mRootWithSlash(&owner.mRootWithSlash), mMaxFiles(maxFiles), mOwner(&owner)
    {
    }

    bool enterFolder(const std::string& /*folder*/) override { return isWithinLimit(); }
    bool visitFile(const std::string& folder, const std::string& name) override;
    bool visitFolder(const std::string& /*folder*/, const std::string& /*name*/) override
    {
        return isWithinLimit();
    }
    bool leaveFolder(const std::string& /*folder*/) override { return isWithinLimit(); }

    bool isWithinLimit() const { return mFileCount < mMaxFiles; }

private:
    const std::string* mRootWithSlash;
    unsigned long mMaxFiles;
    qzXRefResolverSearchPath* mOwner;
    unsigned long mFileCount = 0;
};

bool XRefResolverFileSystemVisitor::visitFile(const std::string& folder, const std::string& name)
{
    using SearchPath = qzXRefResolverSearchPath;
    const std::string path = SearchPath::CleanFilePath(qzDirUtils::JoinPath(folder, name));
    const std::string relative = path.substr(mRootWithSlash->size());
    if (relative.empty()) return true;
    std::string fileFolder;
    std::string fileName;
    SearchPath::SplitFullFilePath(relative, fileFolder, fileName);
    std::reverse(fileFolder.begin(), fileFolder.end());
    SearchPath::Entries& entries = mOwner->mIndex.edit(SearchPath::ComputeFileIndex(fileName));
    entries.emplace_back(std::move(fileName), std::move(fileFolder));
    ++mFileCount;
    return isWithinLimit();
}

namespace {

// Whether a folder, with its bytes in reverse order, is `sub` or below it.
bool isBelow(std::string_view reversedFolder, std::string_view sub)
{
    if (!reversedFolder.ends_with(sub)) return false;
    const std::size_t rest = reversedFolder.size() - sub.size();
    return rest == 0 || reversedFolder[rest - 1] == '/';
}

// What is left of such a folder below `sub`.
std::string cutBelow(const std::string& reversedFolder, const std::string& sub)
{
    const std::size_t rest = reversedFolder.size() - sub.size();
    return reversedFolder.substr(0, rest == 0 ? 0 : rest - 1);
}

template <typename Entries>
unsigned long countBelow(const Entries& entries, const std::string& sub)
{
    const auto count = std::count_if(entries.begin(), entries.end(), [&sub](const auto& entry) {
        return isBelow(entry.reversedFolder, sub);
    });
    return static_cast<unsigned long>(count);
}

}  // namespace

bool qzXRefResolverSearchPath::initializeSearchPath(unsigned long maxFiles)
{
    XRefResolverFileSystemVisitor visitor(*this, maxFiles);
    const bool isWhole =
        visitor.visit(mRootWithSlash, /*recursive=*/true, nullptr, /*ignoreCase=*/false, nullptr);
    mIndex.sortVersions();
    if (isWhole) {
        mInitialized = true;
        return true;
    }
    if (visitor.isWithinLimit())
        logCritical() << "Error while indexing content of '" << mRootWithSlash << "'";
    else
        logTooManyFiles(maxFiles);
    return false;
}

bool qzXRefResolverSearchPath::initializeSearchPath(
    const std::string& path, const std::list<const qzXRefResolverSearchPath*>& ancestors,
    unsigned long maxFiles)
{
    // May be a field that is cleared. NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const std::string root = path;
    clearSearchPath();
    if (root.empty()) return false;
    setPath(root);
    if (const qzXRefResolverSearchPath* const ancestor = findAncestor(ancestors)) {
        if (initializeSearchPathFromAnAncestor(*ancestor, maxFiles)) {
            mInitialized = true;
            return true;
        }
        logWarning() << "Fail to initialize search path '" << mOriginalRootPath << "' from '"
                     << ancestor->mOriginalRootPath << "', try the default method ";
    }
    // What a failed ancestor left stays ahead of the files from the disk.
    setPath(root);
    return initializeSearchPath(maxFiles);
}

const qzXRefResolverSearchPath* qzXRefResolverSearchPath::findAncestor(
    const std::list<const qzXRefResolverSearchPath*>& ancestors) const
{
    const qzXRefResolverSearchPath* longest = nullptr;
    for (const qzXRefResolverSearchPath* const ancestor : ancestors) {
        if (ancestor == nullptr || !ancestor->mInitialized) continue;
        if (!mRootWithSlash.starts_with(ancestor->mRootWithSlash)) continue;
        if (longest == nullptr ||
            ancestor->mRootWithSlash.size() > longest->mRootWithSlash.size()) {
            longest = ancestor;
        }
    }
    return longest;
}

bool qzXRefResolverSearchPath::initializeSearchPathFromAnAncestor(
    const qzXRefResolverSearchPath& ancestor, unsigned long maxFiles)
{
    if (!mRootWithSlash.starts_with(ancestor.mRootWithSlash)) return false;
    const bool isTaken = mRootWithSlash == ancestor.mRootWithSlash
                             ? takeWholeIndex(ancestor, maxFiles)
                             : takeIndexBelow(ancestor, maxFiles);
    mIndex.sortVersions();
    if (!isTaken) logTooManyFiles(maxFiles);
    return isTaken;
}

bool qzXRefResolverSearchPath::takeWholeIndex(const qzXRefResolverSearchPath& ancestor,
                                              unsigned long maxFiles)
{
    if (&ancestor != this) mIndex = ancestor.mIndex;
    return mIndex.countFiles() <= maxFiles;
}

// A name moves in whole, so that the one at the limit doesn't come at all. Which ones come before
// that is decided by the order of the keys; below the limit it makes no difference.
bool qzXRefResolverSearchPath::takeIndexBelow(const qzXRefResolverSearchPath& ancestor,
                                              unsigned long maxFiles)
{
    std::string sub = mRootWithSlash.substr(ancestor.mRootWithSlash.size());
    sub.pop_back();
    std::reverse(sub.begin(), sub.end());
    if (ancestor.countFilesBelow(sub) <= maxFiles) {
        for (const Index::Name& name : ancestor.mIndex.getNames())
            takeName(name, sub);
        return true;
    }
    unsigned long count = 0;
    for (const Index::Name* const name : ancestor.mIndex.getNamesByKey()) {
        count += countBelow(name->entries, sub);
        if (count > maxFiles) break;
        takeName(*name, sub);
    }
    return false;
}

unsigned long qzXRefResolverSearchPath::countFilesBelow(const std::string& sub) const
{
    unsigned long count = 0;
    for (const Index::Name& name : mIndex.getNames())
        count += countBelow(name.entries, sub);
    return count;
}

void qzXRefResolverSearchPath::takeName(const Index::Name& name, const std::string& sub)
{
    Entries taken;
    for (const IndexEntry& entry : name.entries) {
        if (isBelow(entry.reversedFolder, sub))
            taken.emplace_back(entry.fileName, cutBelow(entry.reversedFolder, sub));
    }
    if (!taken.empty()) mIndex.edit(name.key).swap(taken);
}

void qzXRefResolverSearchPath::logTooManyFiles(unsigned long maxFiles) const
{
    logCritical() << "qzXRefResolverSearchPath too many files (more than " << maxFiles << ") in '"
                  << mRootWithSlash << "'";
}

}  // namespace qz
