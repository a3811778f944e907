#include <algorithm>

#include <qz/qzCancelInterface.h>
#include <qz/qzDirUtils.h>

#include "FolderLevel.h"
#include "PathText.h"
#include "text/Characters.h"

namespace qz {

namespace {

using filesystem::EntryName;
using filesystem::FolderLevel;
using text::makeLowerCase;

bool isCancelled(const qzCancelInterfaceReadOnly* cancel)
{
    return cancel != nullptr && cancel->shouldCancel();
}

// A lone backslash leads from a folder to itself, like "."; to enter it would never end.
bool isMet(const std::string& name)
{
    return !name.empty() && name != "\\";
}

std::string withSlashes(std::string path)
{
    filesystem::makeSlashes(path);
    return path;
}

}  // namespace

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

// What was added ahead of a cancellation stays.
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
    const FolderLevel level(withSlashes(folder));
    if (!level.isOpen()) return true;
    if (!enterFolder(level.getPath())) return false;
    EntryName name;
    while (const dirent64* const entry = level.readEntry()) {
        if (isCancelled(cancel)) return false;
        if (filesystem::isSelfOrParent(*entry)) continue;
        level.readName(*entry, name);
        if (!isMet(name.text)) continue;
        if (level.isFolder(*entry, name)) {
            if (!visitSubfolder(level.getPath(), name.text, cancel)) return false;
        } else if (passesFilter(name.text)) {
            if (!visitFile(level.getPath(), name.text)) return false;
        }
    }
    return leaveFolder(level.getPath());
}

bool qzDirUtils::FileSystemVisitor::visitSubfolder(const std::string& folder,
                                                   const std::string& name,
                                                   const qzCancelInterfaceReadOnly* cancel)
{
    if (!visitFolder(folder, name)) return false;
    return !mRecursive || visitImpl(JoinPath(folder, name), cancel);
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

}  // namespace qz
