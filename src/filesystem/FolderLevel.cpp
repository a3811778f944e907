#include "FolderLevel.h"

#include <cerrno>
#include <climits>

#include <qz/qzDirUtils.h>

#include "text/LocalPath.h"
#include "text/ThreadContentKey.h"

namespace qz::filesystem {

namespace {

bool hasParentComponent(const std::string& path)
{
    for (std::size_t i = path.find(".."); i != std::string::npos; i = path.find("..", i + 1)) {
        const bool isStart = i == 0 || path[i - 1] == '/';
        const bool isEnd = i + 2 == path.size() || path[i + 2] == '/';
        if (isStart && isEnd) return true;
    }
    return false;
}

// Whether the path of an entry leads to the same object simplified as it does before that. Doubled
// slashes and "." mean nothing to the system either, while ".." behind a link does.
bool keepsItsMeaning(const std::string& path)
{
    return !hasParentComponent(path) || qzDirUtils::SimplifyPath(path) == path;
}

}  // namespace

FolderLevel::FolderLevel(const std::string& path) : mPath(path), mToUtf8(findConverter())
{
    const std::string localPath = text::toLocal(path);
    mLocalSize = localPath.size();
    if (!localPath.empty()) open(localPath);
}

const text::ByteConverter* FolderLevel::findConverter()
{
    const text::ThreadContent* const content = text::getThreadContent();
    if (content == nullptr) return nullptr;
    return content->getBetween(qzStringUtils::CharSetLocal, qzStringUtils::CharSetUtf8);
}

// The system opens "folder/." only if the folder may be searched, which is what looking at one of
// its entries takes. So one call answers for all of them.
void FolderLevel::open(const std::string& localPath)
{
    mStream.reset(::opendir((localPath + "/.").c_str()));
    mHasTypes = mStream != nullptr && keepsItsMeaning(mPath);
    if (mStream != nullptr || (errno != EACCES && errno != ENAMETOOLONG)) return;
    mStream.reset(::opendir(localPath.c_str()));
}

// Nearly all names are the same in UTF-8 and need no copy besides.
void FolderLevel::readName(const dirent64& entry, std::string& name) const
{
    name = entry.d_name;
    if (mToUtf8 == nullptr || !mToUtf8->keeps(name)) name = text::fromLocal(name);
}

bool FolderLevel::isFolder(const dirent64& entry, const std::string& name) const
{
    const EntryKind kind = hasTypeOf(entry, name) ? getKind(entry) : EntryKind::Untold;
    if (kind != EntryKind::Untold) return kind == EntryKind::Folder;
    return qzDirUtils::DirExistsUtf8(mPath + '/' + name);
}

bool FolderLevel::hasTypeOf(const dirent64& entry, const std::string& name) const
{
    return mHasTypes && mLocalSize + 1 + name.size() < PATH_MAX && name == entry.d_name;
}

}  // namespace qz::filesystem
