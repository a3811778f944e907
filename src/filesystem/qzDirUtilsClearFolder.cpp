#include <unistd.h>

#include <qz/SystemError.h>
#include <qz/qzCancelInterface.h>
#include <qz/qzDirUtils.h>

#include "OpenFolder.h"
#include "frame/base/ErrnoPreserver.h"
#include "text/LocalPath.h"

namespace qz {

namespace {

using filesystem::EntryKind;
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
    bool isCancelled() const { return mCancel != nullptr && mCancel->shouldCancel(); }
    bool clearEntries(DIR* folder, const std::string& localFolder, bool isSimple) const;
    bool removeEntry(DIR* folder, const dirent64& entry, const std::string& localPath,
                     bool isSurelyFile) const;
    void tell(const char* what, const ErrnoPreserver& error, const std::string& path) const;

    std::string* mErrorMsg;
    const qzCancelInterfaceReadOnly* mCancel;
};

bool FolderClearing::clear(const std::string& folder, bool removeFolder) const
{
    // The paths of its entries go on behind it.
    const std::string localFolder = text::endAtZeroByte(text::toLocal(folder));
    OpenFolder open(::opendir(localFolder.c_str()));
    if (open == nullptr) {
        const ErrnoPreserver error;
        tell("opendir error ", error, "");  // no entry has been named yet
        return false;
    }
    const bool isSimple = qzDirUtils::SimplifyPath(folder) == folder;
    const bool isEmpty = clearEntries(open.get(), localFolder, isSimple);
    open.reset();
    if (isCancelled()) {
        if (mErrorMsg != nullptr) *mErrorMsg = "Canceled";
        return false;
    }
    if (removeFolder && ::rmdir(localFolder.c_str()) != 0) {
        const ErrnoPreserver error;
        tell("rmdir error ", error, folder);
        return false;
    }
    return isEmpty;
}

// Gives up at the first entry that fails, behind one more look into the folder.
// @param isSimple whether SimplifyPath leaves the folder's path as it is, and so those of its
// entries.
bool FolderClearing::clearEntries(DIR* folder, const std::string& localFolder, bool isSimple) const
{
    const std::size_t start = localFolder.size() + 1;
    std::string localPath = localFolder + '/';
    bool isFailed = false;
    while (const dirent64* const entry = ::readdir64(folder)) {
        if (isFailed || isCancelled()) break;
        if (filesystem::isSelfOrParent(*entry)) continue;
        localPath.resize(start);
        localPath += entry->d_name;
        const bool isSurelyFile = isSimple && filesystem::isOneComponent(entry->d_name) &&
                                  filesystem::getKind(*entry) == EntryKind::NoFolder;
        isFailed = !removeEntry(folder, *entry, localPath, isSurelyFile);
    }
    return !isFailed;
}

bool FolderClearing::removeEntry(DIR* folder, const dirent64& entry, const std::string& localPath,
                                 bool isSurelyFile) const
{
    if (!isSurelyFile) {
        const std::string path = text::fromLocal(localPath);
        if (qzDirUtils::DirExistsUtf8(path)) return clear(path, /*removeFolder=*/true);
    }
    // By its name in the open folder: the system need not walk the path for each file, which takes
    // a tenth of the time.
    if (::unlinkat(::dirfd(folder), entry.d_name, 0) == 0) return true;
    const ErrnoPreserver error;
    tell("unlink error ", error, text::fromLocal(localPath));
    return false;
}

// The first failure is the one that is told.
void FolderClearing::tell(const char* what, const ErrnoPreserver& error,
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
    return FolderClearing(errorMsg, cancel).clear(folder, removeFolder);
}

}  // namespace qz
