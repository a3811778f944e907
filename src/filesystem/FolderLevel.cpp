// SPDX-License-Identifier: MIT
#include "FolderLevel.h"

#include <cerrno>
#include <climits>

#include <unistd.h>

#include <qz/qzDirUtils.h>

#include "PathText.h"
#include "frame/base/ErrnoPreserver.h"
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

// Whether the path of an entry leads to the same object before and after it is simplified. Doubled
// slashes and "." mean nothing to the system either, but ".." after a link does, and a backslash is
// an ordinary character for it.
bool keepsItsMeaning(const std::string& path)
{
    if (path.find('\\') != std::string::npos) return false;
    return !hasParentComponent(path) || qzDirUtils::SimplifyPath(path) == path;
}

}  // namespace

void FolderLevel::CloseFolder::operator()(DIR* folder) const
{
    const ErrnoPreserver preserver;
    ::closedir(folder);
}

FolderLevel::FolderLevel(const std::string& path, FolderLevel* parent)
    : mPath(text::endAtZeroByte(path)),
      mLocalPath(text::toLocal(mPath)),
      mParent(parent),
      mToUtf8(findConverter()),
      mKeepsAscii(mToUtf8 != nullptr && mToUtf8->keepsAscii)
{
    open();
    mIsOpen = mFolder != nullptr;
}

const text::ByteConverter* FolderLevel::findConverter()
{
    const text::ThreadContent* const content = text::getThreadContent();
    if (content == nullptr) return nullptr;
    return content->getBetween(qzStringUtils::CharSetLocal, qzStringUtils::CharSetUtf8);
}

// The system opens "folder/." only if the folder may be searched, which a check of one of its
// entries requires. So one call answers for all of them.
void FolderLevel::open()
{
    if (mPath.empty()) return;  // without a call, so `errno` doesn't change
    if (!mLocalPath.empty()) mFolder = openFolder(mLocalPath + "/.");
    mHasTypes = mFolder != nullptr && keepsItsMeaning(mPath);
    if (mFolder != nullptr) return;
    // A path that the local set can't hold fails like one that doesn't exist.
    if (mLocalPath.empty() || errno == EACCES || errno == ENAMETOOLONG)
        mFolder = openFolder(mLocalPath);
}

FolderLevel::OpenFolder FolderLevel::openFolder(const std::string& localPath) const
{
    for (;;) {
        OpenFolder folder(::opendir(localPath.c_str()));
        if (folder != nullptr || (errno != EMFILE && errno != ENFILE)) return folder;
        const ErrnoPreserver preserver;
        if (mParent == nullptr || !mParent->freeDescriptor()) return nullptr;
    }
}

// The outermost level first: those close above are read to their ends sooner.
bool FolderLevel::freeDescriptor()
{
    if (mParent != nullptr && mParent->freeDescriptor()) return true;
    if (mFolder == nullptr) return false;
    readAhead();
    return true;
}

void FolderLevel::readAhead()
{
    while (const dirent64* const entry = ::readdir64(mFolder.get())) {
        const char* const bytes = reinterpret_cast<const char*>(entry);
        mAhead.insert(mAhead.end(), bytes, bytes + entry->d_reclen);
    }
    mFolder.reset();
}

const dirent64* FolderLevel::readEntry()
{
    if (mFolder != nullptr) return ::readdir64(mFolder.get());
    if (mAheadPosition == mAhead.size()) return nullptr;
    // The system pads each entry, so that the next one is aligned.
    const auto* const entry = reinterpret_cast<const dirent64*>(mAhead.data() + mAheadPosition);
    mAheadPosition += entry->d_reclen;
    return entry;
}

// Nearly all names are plain, and one pass over their bytes answers all questions.
void FolderLevel::readName(const dirent64& entry, EntryName& name) const
{
    name.text = entry.d_name;
    name.isOnDisk = mKeepsAscii && isPlainName(name.text);
    if (name.isOnDisk) return;
    if (mToUtf8 == nullptr || !mToUtf8->keeps(name.text)) name.text = text::fromLocal(name.text);
    // The path of a name with a backslash has several components.
    name.isOnDisk = name.text == entry.d_name && name.text.find('\\') == std::string::npos;
}

EntryKind FolderLevel::getKind(const dirent64& entry, const EntryName& name) const
{
    const std::size_t pathSize = mLocalPath.size() + 1 + name.text.size();
    if (!mHasTypes || !name.isOnDisk || pathSize >= PATH_MAX) return EntryKind::Unknown;
    switch (entry.d_type) {
        case DT_REG:
        case DT_FIFO:
        case DT_SOCK:
        case DT_CHR:
        case DT_BLK:
            return EntryKind::NoFolder;
        case DT_DIR:
            return EntryKind::Folder;
        default:
            return EntryKind::Unknown;
    }
}

bool FolderLevel::unlinkEntry(const dirent64& entry) const
{
    // By its name in the open folder: the system then doesn't walk the path for each file, which is
    // a tenth of the time.
    if (mFolder != nullptr) return ::unlinkat(::dirfd(mFolder.get()), entry.d_name, 0) == 0;
    return ::unlink((mLocalPath + '/' + entry.d_name).c_str()) == 0;
}

void FolderLevel::close()
{
    mFolder.reset();
    mAheadPosition = mAhead.size();
}

}  // namespace qz::filesystem
