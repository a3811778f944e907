// SPDX-License-Identifier: MIT
#include <algorithm>
#include <string_view>

#include <qz/qzDirUtils.h>
#include <qz/qzLogObject.h>
#include <qz/qzXRefResolverSearchPath.h>

#include "XRefIndex.h"

namespace qz {

using filesystem::XRefIndex;

// Adds each file of a tree to the index, and ends the walk at the file that reaches the limit.
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
    mOwner->editIndex().add(SearchPath::ComputeFileIndex(fileName), fileFolder);
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

// The rest of such a folder below `sub`.
std::string_view cutBelow(std::string_view reversedFolder, std::string_view sub)
{
    const std::size_t rest = reversedFolder.size() - sub.size();
    return reversedFolder.substr(0, rest == 0 ? 0 : rest - 1);
}

// Takes the files below one folder from one index over to another. Whether a folder is below that
// one is computed once, not for each of its files.
class IndexTransfer {
public:
    IndexTransfer(const XRefIndex& from, XRefIndex& to, std::string_view sub) : mFrom(from), mTo(to)
    {
        mFolders.reserve(from.getFolderCount());
        for (XRefIndex::Id id = 0; id != from.getFolderCount(); ++id) {
            const std::string_view folder = from.getReversedFolder(id);
            const bool isTaken = isBelow(folder, sub);
            mFolders.push_back(isTaken ? to.addFolder(cutBelow(folder, sub)) : XRefIndex::kNone);
        }
    }

    unsigned long countFiles(XRefIndex::Id key) const
    {
        unsigned long count = 0;
        for (const XRefIndex::File* file = mFrom.getFirst(key); file != nullptr;
             file = mFrom.getNext(*file)) {
            if (mFolders[file->folder] != XRefIndex::kNone) ++count;
        }
        return count;
    }

    // The files of a key replace those that the other index has of it.
    void takeKey(XRefIndex::Id key) const
    {
        if (countFiles(key) == 0) return;
        const std::string_view text = mFrom.getKey(key);
        mTo.removeFiles(text);
        for (const XRefIndex::File* file = mFrom.getFirst(key); file != nullptr;
             file = mFrom.getNext(*file)) {
            const XRefIndex::Id folder = mFolders[file->folder];
            if (folder != XRefIndex::kNone) mTo.add(text, folder);
        }
    }

private:
    const XRefIndex& mFrom;
    XRefIndex& mTo;
    std::vector<XRefIndex::Id> mFolders;  // of the other index, by those of this one
};

}  // namespace

bool qzXRefResolverSearchPath::initializeSearchPath(unsigned long maxFiles)
{
    XRefResolverFileSystemVisitor visitor(*this, maxFiles);
    const bool isWhole =
        visitor.visit(mRootWithSlash, /*recursive=*/true, nullptr, /*ignoreCase=*/false, nullptr);
    editIndex().finishBuild();
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
    // The path may be a field that is cleared.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
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
    // Compatibility: the files of an ancestor that failed stay, before those from the disk.
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
    editIndex().finishBuild();
    if (!isTaken) logTooManyFiles(maxFiles);
    return isTaken;
}

bool qzXRefResolverSearchPath::takeWholeIndex(const qzXRefResolverSearchPath& ancestor,
                                              unsigned long maxFiles)
{
    if (&ancestor != this) mIndex = std::make_unique<XRefIndex>(ancestor.getIndex());
    return getIndex().countFiles() <= maxFiles;
}

// All files of a key are taken or none, so those of the key at the limit aren't. The order of the
// keys decides which ones come before that; below the limit it makes no difference.
bool qzXRefResolverSearchPath::takeIndexBelow(const qzXRefResolverSearchPath& ancestor,
                                              unsigned long maxFiles)
{
    std::string sub = mRootWithSlash.substr(ancestor.mRootWithSlash.size());
    sub.pop_back();
    std::reverse(sub.begin(), sub.end());
    const XRefIndex& from = ancestor.getIndex();
    const IndexTransfer transfer(from, editIndex(), sub);
    unsigned long count = 0;
    for (XRefIndex::Id key = 0; key != from.getKeyCount(); ++key)
        count += transfer.countFiles(key);
    if (count <= maxFiles) {
        for (XRefIndex::Id key = 0; key != from.getKeyCount(); ++key)
            transfer.takeKey(key);
        return true;
    }
    count = 0;
    for (const XRefIndex::Id key : from.makeOrderOfKeys()) {
        count += transfer.countFiles(key);
        if (count > maxFiles) break;
        transfer.takeKey(key);
    }
    return false;
}

void qzXRefResolverSearchPath::logTooManyFiles(unsigned long maxFiles) const
{
    logCritical() << "qzXRefResolverSearchPath too many files (more than " << maxFiles << ") in '"
                  << mRootWithSlash << "'";
}

}  // namespace qz
