// SPDX-License-Identifier: MIT
#include <algorithm>
#include <string_view>

#include <unistd.h>

#include <qz/SystemError.h>
#include <qz/qzCancelInterface.h>
#include <qz/qzDirUtils.h>

#include "FolderLevel.h"
#include "PathText.h"
#include "frame/base/ErrnoPreserver.h"
#include "text/Characters.h"
#include "text/LocalPath.h"

namespace qz {

namespace {

using filesystem::EntryKind;
using filesystem::EntryName;
using filesystem::FolderLevel;
using text::makeLowerCase;

bool isCancelled(const qzCancelInterfaceReadOnly* cancel)
{
    return cancel != nullptr && cancel->shouldCancel();
}

// A name with backslashes is a path. One that leads to the folder itself or out of it, such as "\"
// or "..\a", would make the walk endless, or so long that nobody sees its end.
bool leadsBelow(const std::string& name)
{
    if (name.find('\\') == std::string::npos) return true;
    bool isBelow = false;
    std::size_t start = 0;
    for (std::size_t end = 0; end != name.size(); start = end + 1) {
        end = std::min(name.find('\\', start), name.size());
        const std::string_view component(&name[start], end - start);
        if (component == "..") return false;
        isBelow = isBelow || (!component.empty() && component != ".");
    }
    return isBelow;
}

bool isFolder(const FolderLevel& level, const dirent64& entry, const EntryName& name)
{
    const EntryKind kind = level.getKind(entry, name);
    if (kind != EntryKind::Unknown) return kind == EntryKind::Folder;
    return qzDirUtils::DirExistsUtf8(level.getPath() + '/' + name.text);
}

}  // namespace

// --- The visitor

qzDirUtils::FileSystemVisitor::FileSystemVisitor() = default;

qzDirUtils::FileSystemVisitor::~FileSystemVisitor() = default;

bool qzDirUtils::FileSystemVisitor::visit(const std::string& root, bool recursive,
                                          const std::vector<std::string>* extensions,
                                          bool ignoreCase, const qzCancelInterfaceReadOnly* cancel)
{
    struct FilterEnd {
        ~FilterEnd()
        {
            visitor.mExtensions.clear();
            visitor.mActiveFilter = nullptr;
        }
        FileSystemVisitor& visitor;
    };
    mRecursive = recursive;
    mIgnoreCase = ignoreCase;
    if (extensions != nullptr && !addExtensions(*extensions, cancel)) return false;
    const FilterEnd end{*this};
    if (!mExtensions.empty()) mActiveFilter = &mExtensions;
    return visitImpl(root, cancel);
}

// Compatibility: the extensions that were added before a cancellation stay.
bool qzDirUtils::FileSystemVisitor::addExtensions(const std::vector<std::string>& extensions,
                                                  const qzCancelInterfaceReadOnly* cancel)
{
    mExtensions.reserve(extensions.size());
    for (const std::string& extension : extensions) {
        if (isCancelled(cancel)) return false;
        if (extension.empty()) continue;
        std::string withDot = extension.front() == '.' ? extension : '.' + extension;
        if (mIgnoreCase) makeLowerCase(withDot);
        mExtensions.push_back(std::move(withDot));
    }
    return true;
}

bool qzDirUtils::FileSystemVisitor::visitImpl(const std::string& folder,
                                              const qzCancelInterfaceReadOnly* cancel)
{
    FolderLevel root(filesystem::withSlashes(folder), /*parent=*/nullptr);
    return visitLevel(root, cancel);
}

bool qzDirUtils::FileSystemVisitor::visitLevel(FolderLevel& level,
                                               const qzCancelInterfaceReadOnly* cancel)
{
    if (!level.isOpen()) return true;
    if (!enterFolder(level.getPath())) return false;
    EntryName name;
    while (const dirent64* const entry = level.readEntry()) {
        if (isCancelled(cancel)) return false;
        if (filesystem::isSelfOrParent(*entry)) continue;
        level.readName(*entry, name);
        if (name.text.empty()) continue;
        if (isFolder(level, *entry, name)) {
            if (!visitSubfolder(level, name.text, cancel)) return false;
        } else if (passesFilter(name.text)) {
            if (!visitFile(level.getPath(), name.text)) return false;
        }
    }
    return leaveFolder(level.getPath());
}

bool qzDirUtils::FileSystemVisitor::visitSubfolder(FolderLevel& level, const std::string& name,
                                                   const qzCancelInterfaceReadOnly* cancel)
{
    if (!visitFolder(level.getPath(), name)) return false;
    if (!mRecursive || !leadsBelow(name)) return true;
    FolderLevel below(filesystem::withSlashes(JoinPath(level.getPath(), name)), &level);
    return visitLevel(below, cancel);
}

bool qzDirUtils::FileSystemVisitor::passesFilter(const std::string& name)
{
    if (mActiveFilter == nullptr) return true;
    const std::string* compared = &name;
    if (mIgnoreCase) {
        mWorkName = name;
        makeLowerCase(mWorkName);
        compared = &mWorkName;
    }
    return std::any_of(mActiveFilter->begin(), mActiveFilter->end(),
                       [compared](const std::string& end) { return compared->ends_with(end); });
}

// --- The glob

namespace {

// Collects names, each kind only if there is a vector for it.
class GlobFileAndFolderFunctor : public qzDirUtils::FileSystemVisitor {
public:
    GlobFileAndFolderFunctor(std::vector<std::string>* folders, std::vector<std::string>* files,
                             bool fullPath)
        : mFolders(folders), mFiles(files), mFullPath(fullPath)
    {
    }

    bool enterFolder(const std::string& /*folder*/) override { return true; }
    bool visitFile(const std::string& folder, const std::string& name) override
    {
        return add(mFiles, folder, name);
    }
    bool visitFolder(const std::string& folder, const std::string& name) override
    {
        return add(mFolders, folder, name);
    }
    bool leaveFolder(const std::string& /*folder*/) override { return true; }

private:
    bool add(std::vector<std::string>* names, const std::string& folder,
             const std::string& name) const
    {
        if (names == nullptr) return true;
        if (!mFullPath) {
            names->push_back(name);
            return true;
        }
        const filesystem::PathJoint joint(folder, name);
        joint.write(names->emplace_back(joint.size(), '/'));
        return true;
    }

    std::vector<std::string>* mFolders;
    std::vector<std::string>* mFiles;
    bool mFullPath;
};

}  // namespace

void qzDirUtils::GlobFileAndFolderUtf8(const std::string& root, std::vector<std::string>* folders,
                                       std::vector<std::string>* files,
                                       const std::vector<std::string>* extensions, int flags)
{
    if ((flags & GlobAppend) == 0) {
        if (folders != nullptr) folders->clear();
        if (files != nullptr) files->clear();
    }
    GlobFileAndFolderFunctor functor(folders, files, (flags & GlobBareNames) == 0);
    functor.visit(root, (flags & GlobRecursive) != 0, extensions, (flags & GlobIgnoreCase) != 0,
                  nullptr);
}

// --- Clearing a folder

namespace {

// The clearing of one folder with those below it.
class FolderClearing {
public:
    FolderClearing(std::string* errorMsg, const qzCancelInterfaceReadOnly* cancel)
        : mErrorMsg(errorMsg), mCancel(cancel)
    {
    }

    bool clear(const std::string& folder, bool removeFolder, FolderLevel* parent) const;

private:
    bool clearEntries(FolderLevel& level) const;
    bool removeEntry(FolderLevel& level, const dirent64& entry, EntryName& name) const;
    void setFirstError(const char* what, const ErrnoPreserver& error,
                       const std::string& path) const;

    std::string* mErrorMsg;
    const qzCancelInterfaceReadOnly* mCancel;
};

bool FolderClearing::clear(const std::string& folder, bool removeFolder, FolderLevel* parent) const
{
    FolderLevel level(folder, parent);
    if (!level.isOpen()) {
        const ErrnoPreserver error;
        setFirstError("opendir error ", error, "");  // no entry has been named yet
        return false;
    }
    const bool isEmpty = clearEntries(level);
    level.close();
    if (isCancelled(mCancel)) {
        if (mErrorMsg != nullptr) *mErrorMsg = "Canceled";
        return false;
    }
    if (removeFolder && ::rmdir(level.getLocalPath().c_str()) != 0) {
        const ErrnoPreserver error;
        setFirstError("rmdir error ", error, folder);
        return false;
    }
    return isEmpty;
}

// Ends at the first entry that fails, after one more read from the folder.
bool FolderClearing::clearEntries(FolderLevel& level) const
{
    EntryName name;
    bool isFailed = false;
    while (const dirent64* const entry = level.readEntry()) {
        if (isFailed || isCancelled(mCancel)) break;
        if (filesystem::isSelfOrParent(*entry)) continue;
        isFailed = !removeEntry(level, *entry, name);
    }
    return !isFailed;
}

bool FolderClearing::removeEntry(FolderLevel& level, const dirent64& entry, EntryName& name) const
{
    const auto makePath = [&] {
        return text::fromLocal(level.getLocalPath() + '/' + entry.d_name);
    };
    level.readName(entry, name);
    if (level.getKind(entry, name) != EntryKind::NoFolder) {
        const std::string path = makePath();
        if (qzDirUtils::DirExistsUtf8(path)) return clear(path, /*removeFolder=*/true, &level);
    }
    if (level.unlinkEntry(entry)) return true;
    const ErrnoPreserver error;
    setFirstError("unlink error ", error, makePath());
    return false;
}

void FolderClearing::setFirstError(const char* what, const ErrnoPreserver& error,
                                   const std::string& path) const
{
    if (mErrorMsg != nullptr && mErrorMsg->empty())
        *mErrorMsg = what + SystemError(error.get()).toString() + " for " + path;
}

}  // namespace

bool qzDirUtils::ClearFolderUtf8(const std::string& folder, bool removeFolder,
                                 std::string* errorMsg, const qzCancelInterfaceReadOnly* cancel)
{
    if (errorMsg != nullptr) errorMsg->clear();
    if (!DirExistsUtf8(folder)) return true;
    return FolderClearing(errorMsg, cancel).clear(folder, removeFolder, /*parent=*/nullptr);
}

}  // namespace qz
