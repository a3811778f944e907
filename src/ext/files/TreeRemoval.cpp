// SPDX-License-Identifier: MIT
// The removal of a tree. Each object is named by an open folder and a name in it, and no link is
// followed to a folder, so whatever takes the place of something meanwhile, only objects of the
// tree are removed. The way back to a folder that was closed is checked.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <qz/ext/SafeFiles.h>
#include <qz/qzCancelInterface.h>

#include "Target.h"
#include "base/FileDescriptor.h"
#include "base/LocalText.h"
#include "base/Restart.h"

namespace qz::ext {

namespace {

constexpr std::size_t kBufferSize = 32768;
constexpr std::size_t kMostOpenFolders = 8;
constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// Which folder it is, on which disk and mount.
struct Identity {
    unsigned int deviceMajor = 0;
    unsigned int deviceMinor = 0;
    unsigned long long mount = 0;  // 0 before Linux 5.8
    unsigned long long number = 0;

    bool isOnSameMount(const Identity& other) const
    {
        return deviceMajor == other.deviceMajor && deviceMinor == other.deviceMinor &&
               mount == other.mount;
    }
    bool isSame(const Identity& other) const
    {
        return isOnSameMount(other) && number == other.number;
    }
};

bool readIdentity(const FileDescriptor& folder, Identity& identity)
{
    struct statx status = {};
    constexpr unsigned int kMask = STATX_INO | STATX_MNT_ID;
    if (::statx(folder.get(), "", AT_EMPTY_PATH, kMask, &status) != 0) return false;
    identity = {status.stx_dev_major, status.stx_dev_minor, 0, status.stx_ino};
    if ((status.stx_mask & STATX_MNT_ID) != 0) identity.mount = status.stx_mnt_id;
    return true;
}

struct Level {
    std::string name;  // in the level before
    FileDescriptor folder;
    Identity identity;
    std::vector<std::string> folders;  // still to be removed
};

// The first level is the folder of the root; of that only the root is removed. It stays open. Of
// the others the innermost are open, from mFirstOpen on.
class TreeRemoval {
public:
    TreeRemoval(std::string path, const qzCancelInterfaceReadOnly* cancel)
        : mPath(std::move(path)), mCancel(cancel), mBuffer(kBufferSize)
    {
    }

    RemovedTree run(Level top)
    {
        mLevels.push_back(std::move(top));
        while (!isCancelled()) {
            Level& level = mLevels.back();
            if (!level.folders.empty()) {
                const std::string name = std::move(level.folders.back());
                level.folders.pop_back();
                enter(level, name);
            } else if (mLevels.size() > 1) {
                leave();
            } else {
                break;
            }
        }
        return std::move(mResult);
    }

private:
    bool isCancelled()
    {
        if (mIsCancelled || mCancel == nullptr || !mCancel->shouldCancel()) return mIsCancelled;
        mIsCancelled = true;
        if (mResult.failureCount++ == 0) mResult.failure = {"removal of " + mPath, ECANCELED};
        return true;
    }

    void enter(Level& parent, const std::string& name)
    {
        FileDescriptor folder = openFolder(parent.folder, name.c_str());
        if (!folder.isOpen()) return removeUnopened(parent, name, errno);
        Identity identity;
        if (!readIdentity(folder, identity)) return note("statx ", name.c_str(), errno);
        if (!identity.isOnSameMount(parent.identity)) return note("enter ", name.c_str(), EXDEV);
        mLevels.push_back({name, std::move(folder), identity, {}});
        if (mLevels.size() - mFirstOpen > kMostOpenFolders) closeOutermost();
        removeContent();
    }

    // A link or a file, which may have taken the place of a folder; or a folder that can't be
    // opened, and may be empty.
    void removeUnopened(const Level& parent, const std::string& name, int error)
    {
        const bool isRoot = mLevels.size() == 1;
        if (error == ENOENT && !isRoot) return;
        const bool isFolder = error != ENOTDIR && error != ELOOP;
        if (::unlinkat(parent.folder.get(), name.c_str(), isFolder ? AT_REMOVEDIR : 0) == 0)
            ++mResult.removedCount;
        else if (isFolder)
            note("open ", name.c_str(), error);
        else if (errno != ENOENT)
            note("unlink ", name.c_str(), errno);
    }

    // Removes all but the folders of the innermost level, which are collected.
    void removeContent()
    {
        Level& level = mLevels.back();
        while (true) {
            const ssize_t size = ::getdents64(level.folder.get(), mBuffer.data(), mBuffer.size());
            if (size < 0 && errno != ENOENT) note("read ", "", errno);
            if (size <= 0) return;
            for (ssize_t at = 0; at < size && !isCancelled();) {
                const auto* const entry = reinterpret_cast<const dirent64*>(mBuffer.data() + at);
                removeEntry(level, entry->d_name, entry->d_type == DT_DIR);
                at += entry->d_reclen;
            }
            if (mIsCancelled) return;
        }
    }

    void removeEntry(Level& level, const char* name, bool isFolder)
    {
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) return;
        if (!isFolder && ::unlinkat(level.folder.get(), name, 0) == 0)
            ++mResult.removedCount;
        else if (isFolder || errno == EISDIR)
            level.folders.emplace_back(name);
        else if (errno != ENOENT)
            note("unlink ", name, errno);
    }

    // Goes back to the level before, and removes the folder, which should be empty.
    void leave()
    {
        const Level child = std::move(mLevels.back());
        mLevels.pop_back();
        Level& level = mLevels.back();
        const char* const name = child.name.c_str();
        if (!level.folder.isOpen() && !openAsBefore(child.folder, "..", level)) {
            note("return from ", name, errno);
            return resume();
        }
        mFirstOpen = std::min(mFirstOpen, std::max<std::size_t>(mLevels.size() - 1, 1));
        const int parent = level.folder.get();
        // A link in the place of the folder belongs to the tree too.
        if (::unlinkat(parent, name, AT_REMOVEDIR) == 0 ||
            (errno == ENOTDIR && ::unlinkat(parent, name, 0) == 0))
            ++mResult.removedCount;
        else if (errno != ENOENT)
            note("rmdir ", name, errno);
    }

    // @return false after a failure; its error is ESTALE for another folder than the one that was
    // entered.
    bool openAsBefore(const FileDescriptor& start, const char* name, Level& level)
    {
        FileDescriptor folder = openFolder(start, name);
        Identity identity;
        if (!folder.isOpen() || !readIdentity(folder, identity)) return false;
        if (!identity.isSame(level.identity)) {
            errno = ESTALE;
            return false;
        }
        level.folder = std::move(folder);
        return true;
    }

    // Somebody has moved a folder elsewhere. Goes on with what can still be reached by the names.
    void resume()
    {
        std::size_t count = 1;
        for (; count < mLevels.size(); ++count) {
            Level& level = mLevels[count];
            if (!openAsBefore(mLevels[count - 1].folder, level.name.c_str(), level)) break;
            if (count > 1) mLevels[count - 1].folder.close();
        }
        mLevels.erase(mLevels.begin() + static_cast<std::ptrdiff_t>(count), mLevels.end());
        mFirstOpen = std::max<std::size_t>(count - 1, 1);
    }

    FileDescriptor openFolder(const FileDescriptor& start, const char* name)
    {
        while (true) {
            FileDescriptor folder(
                restart([&] { return ::openat(start.get(), name, kFolderFlags); }));
            const bool isShort = errno == EMFILE || errno == ENFILE;
            if (folder.isOpen() || !isShort || !closeOutermost()) return folder;
        }
    }

    // Keeps the innermost open.
    bool closeOutermost()
    {
        if (mFirstOpen + 1 >= mLevels.size()) return false;
        mLevels[mFirstOpen++].folder.close();
        return true;
    }

    // The path of an object of the innermost level, or of that itself without a name.
    std::string getPath(const std::string& name) const
    {
        std::string path = mPath;
        for (std::size_t i = 2; i < mLevels.size(); ++i)
            path += "/" + toUtf8(mLevels[i].name);
        if (mLevels.size() == 1 || name.empty()) return path;
        return path + "/" + toUtf8(name);
    }

    void note(const char* step, const char* name, int error)
    {
        if (mResult.failureCount++ == 0) mResult.failure = {step + getPath(name), error};
    }

    const std::string mPath;
    const qzCancelInterfaceReadOnly* const mCancel;
    std::vector<char> mBuffer;
    std::vector<Level> mLevels;
    std::size_t mFirstOpen = 1;
    RemovedTree mResult;
    bool mIsCancelled = false;
};

RemovedTree refuse(const std::string& step, int error)
{
    return {0, 1, {step, error}};
}

}  // namespace

RemovedTree removeTreeNoFollow(const std::string& path, const qzCancelInterfaceReadOnly* cancel)
{
    std::string localPath = toLocal(path);
    if (localPath.empty()) return refuse("conversion of the path '" + path + "'", EILSEQ);
    // A slash at the end of a link would lead to its folder.
    while (localPath.size() > 1 && localPath.back() == '/')
        localPath.pop_back();
    const auto [folderPath, name] = splitPath(localPath);
    if (name.empty() || name == "." || name == "..") return refuse("removal of " + path, EINVAL);
    Level top;
    top.folder = FileDescriptor(restart([&, &from = folderPath] {
        return ::open(from.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    }));
    if (!top.folder.isOpen() || !readIdentity(top.folder, top.identity))
        return refuse("open the folder of " + path, errno);
    top.folders.push_back(name);
    return TreeRemoval(toUtf8(localPath), cancel).run(std::move(top));
}

}  // namespace qz::ext
