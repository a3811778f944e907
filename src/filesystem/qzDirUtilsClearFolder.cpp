#include <unistd.h>

#include <qz/SystemError.h>
#include <qz/qzCancelInterface.h>
#include <qz/qzDirUtils.h>

#include "KeptErrno.h"
#include "LocalPath.h"
#include "OpenFolder.h"

namespace qz {

namespace {

using filesystem::EntryKind;
using filesystem::KeptErrno;
using filesystem::OpenFolder;

// One run over a folder and those below it.
class FolderClearing {
public:
    FolderClearing(std::string* errorMsg, const qzCancelInterfaceReadOnly* cancel)
        : mErrorMsg(errorMsg), mCancel(cancel)
    {
    }

    bool clear(const std::string& folder, bool removeFolder) const;

private:
    // A folder whose entries are looked at.
    struct Level {
        std::string localFolder;  // with a slash behind it
        bool isSimple;            // whether the paths of its entries are what SimplifyPath gives
    };

    bool isCancelled() const { return mCancel != nullptr && mCancel->shouldCancel(); }
    bool clearEntries(const Level& level, DIR* folder) const;
    bool removeEntry(const std::string& localPath, bool isSurelyFile) const;
    void tell(const char* what, const KeptErrno& error, const std::string& path) const;

    std::string* mErrorMsg;
    const qzCancelInterfaceReadOnly* mCancel;
};

bool FolderClearing::clear(const std::string& folder, bool removeFolder) const
{
    const std::string localFolder = filesystem::toLocal(folder);
    OpenFolder open(::opendir(localFolder.c_str()));
    if (open == nullptr) {
        const KeptErrno error;
        tell("opendir error ", error, "");  // no entry has been named yet
        return false;
    }
    const bool isSimple = qzDirUtils::SimplifyPath(folder) == folder;
    const bool isEmpty = clearEntries({localFolder + '/', isSimple}, open.get());
    open.reset();
    if (isCancelled()) {
        if (mErrorMsg != nullptr) *mErrorMsg = "Canceled";
        return false;
    }
    if (removeFolder && ::rmdir(localFolder.c_str()) != 0) {
        const KeptErrno error;
        tell("rmdir error ", error, folder);
        return false;
    }
    return isEmpty;
}

// Gives up at the first entry that fails, behind one more look into the folder.
bool FolderClearing::clearEntries(const Level& level, DIR* folder) const
{
    std::string localPath = level.localFolder;
    bool isFailed = false;
    while (const dirent64* const entry = ::readdir64(folder)) {
        if (isFailed || isCancelled()) break;
        if (filesystem::isSelfOrParent(*entry)) continue;
        localPath.resize(level.localFolder.size());
        localPath += entry->d_name;
        const bool isSurelyFile =
            level.isSimple && filesystem::getKind(*entry) == EntryKind::NoFolder;
        isFailed = !removeEntry(localPath, isSurelyFile);
    }
    return !isFailed;
}

bool FolderClearing::removeEntry(const std::string& localPath, bool isSurelyFile) const
{
    if (!isSurelyFile) {
        const std::string path = filesystem::fromLocal(localPath);
        if (qzDirUtils::DirExistsUtf8(path)) return clear(path, /*removeFolder=*/true);
    }
    if (::unlink(localPath.c_str()) == 0) return true;
    const KeptErrno error;
    tell("unlink error ", error, filesystem::fromLocal(localPath));
    return false;
}

// The first failure is the one that is told.
void FolderClearing::tell(const char* what, const KeptErrno& error, const std::string& path) const
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
    return FolderClearing(errorMsg, cancel).clear(folder, removeFolder);
}

}  // namespace qz
