// SPDX-License-Identifier: MIT
#include "FolderWalk.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <utility>

#include <linux/magic.h>
#include <sys/vfs.h>

#include <qz/ext/Parallel.h>

namespace fingerprint {

namespace {

namespace fs = std::filesystem;

// A folder, and what is in it once it is read.
struct Folder {
    std::size_t root = 0;  // index into the folders of the user
    std::string path;      // below that
    std::vector<std::string> files = {};
    std::vector<std::string> folders = {};
    std::vector<std::string> unnamed = {};  // with names that can't be converted
    std::error_code error = {};
    bool isOfKernel = false;

    bool isUnread() const { return error || isOfKernel; }
};

// Whether the files of a folder are made by the kernel as they are read: some never end, and some
// wait for events.
bool showsKernel(const std::string& path)
{
    struct statfs system = {};
    if (::statfs(path.c_str(), &system) != 0) return false;
    constexpr long kKernelTypes[] = {PROC_SUPER_MAGIC, SYSFS_MAGIC, DEBUGFS_MAGIC, TRACEFS_MAGIC};
    return std::find(std::begin(kKernelTypes), std::end(kKernelTypes), system.f_type) !=
           std::end(kKernelTypes);
}

void readFolder(const std::string& path, Folder& folder)
{
    folder.isOfKernel = showsKernel(path);
    if (folder.isOfKernel) return;
    fs::directory_iterator entries(path, folder.error);
    while (!folder.error && entries != fs::directory_iterator()) {
        // These know from the folder itself what an entry is, if the file system says so there.
        std::error_code unknown;
        const bool isLink = entries->is_symlink(unknown);
        const bool isFolder = !isLink && entries->is_directory(unknown);
        if (isFolder || (!isLink && entries->is_regular_file(unknown))) {
            std::string name = entries->path().filename().string();
            auto& names = toUtf8(name).empty() ? folder.unnamed
                          : isFolder           ? folder.folders
                                               : folder.files;
            names.push_back(std::move(name));
        }
        entries.increment(folder.error);
    }
    // The order of the system differs from run to run.
    std::sort(folder.files.begin(), folder.files.end());
    std::sort(folder.folders.begin(), folder.folders.end());
}

void report(const std::string& name, const Folder& folder, Problems& problems)
{
    if (folder.error) problems.report("cannot read the folder", name, folder.error.value());
    if (folder.isOfKernel) problems.report("cannot read the folder", name, "it shows the kernel");
    for (const std::string& unnamed : folder.unnamed)
        problems.report("cannot list", joinPath(name, unnamed), "its name can't be converted");
}

}  // namespace

FoundFiles findFiles(const std::vector<std::string>& folders, qz::ConcurrentPool& pool,
                     const qz::qzCancelInterfaceReadOnly& cancel, Problems& problems)
{
    FoundFiles found;
    std::vector<Folder> level;
    for (std::size_t i = 0; i < folders.size(); ++i)
        level.push_back({i, ""});
    const auto getPath = [&](const Folder& folder) {
        return joinPath(folders[folder.root], folder.path);
    };
    qz::ext::ParallelOptions options;
    options.pool = &pool;
    options.cancel = &cancel;
    while (!level.empty()) {
        const auto read = [&](Folder& folder) { readFolder(getPath(folder), folder); };
        if (!qz::ext::parallelForEach(level, read, options)) break;
        std::vector<Folder> nextLevel;
        for (const Folder& folder : level) {
            report(getPath(folder), folder, problems);
            if (folder.isUnread()) found.unreadFolders.push_back({folder.root, folder.path});
            for (const std::string& name : folder.files)
                found.entries.push_back({folder.root, joinPath(folder.path, name)});
            for (const std::string& name : folder.folders)
                nextLevel.push_back({folder.root, joinPath(folder.path, name)});
        }
        level = std::move(nextLevel);
    }
    return found;
}

void leaveOut(const std::string& path, const std::vector<std::string>& folders,
              std::vector<FileEntry>& entries)
{
    const std::string name = fs::path(path).filename().string();
    const auto isIt = [&](const FileEntry& entry) {
        const std::size_t size = entry.path.size();
        // The names of most files differ, so that the system isn't asked.
        if (size < name.size() || entry.path.compare(size - name.size(), size, name) != 0)
            return false;
        std::error_code unknown;
        return fs::equivalent(joinPath(folders[entry.folder], entry.path), path, unknown);
    };
    entries.erase(std::remove_if(entries.begin(), entries.end(), isIt), entries.end());
}

}  // namespace fingerprint
