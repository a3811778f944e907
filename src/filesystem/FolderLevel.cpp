#include "FolderLevel.h"

#include <cerrno>
#include <climits>

#include <qz/qzDirUtils.h>

#include "PathText.h"
#include "text/LocalPath.h"
#include "text/TextServices.h"

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

FolderLevel::FolderLevel(const std::string& path)
    : mPath(path), mToUtf8(findConverter()), mKeepsAscii(mToUtf8 != nullptr && mToUtf8->keepsAscii)
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

// Nearly all names are plain, and one look at their bytes answers all questions.
void FolderLevel::readName(const dirent64& entry, EntryName& name) const
{
    name.text = entry.d_name;
    name.isOnDisk = mKeepsAscii && isPlainName(name.text);
    if (name.isOnDisk) return;
    if (mToUtf8 == nullptr || !mToUtf8->keeps(name.text)) name.text = text::fromLocal(name.text);
    name.isOnDisk = isOneComponent(name.text) && name.text == entry.d_name;
}

bool FolderLevel::isFolder(const dirent64& entry, const EntryName& name) const
{
    const EntryKind kind = hasTypeOf(name) ? getKind(entry) : EntryKind::Untold;
    if (kind != EntryKind::Untold) return kind == EntryKind::Folder;
    return qzDirUtils::DirExistsUtf8(mPath + '/' + name.text);
}

bool FolderLevel::hasTypeOf(const EntryName& name) const
{
    return mHasTypes && name.isOnDisk && mLocalSize + 1 + name.text.size() < PATH_MAX;
}

}  // namespace qz::filesystem
