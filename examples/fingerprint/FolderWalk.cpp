#include "FolderWalk.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

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
};

void readFolder(const std::string& path, Folder& folder)
{
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
            if (folder.error) found.unreadFolders.push_back({folder.root, folder.path});
            for (const std::string& name : folder.files)
                found.entries.push_back({folder.root, joinPath(folder.path, name)});
            for (const std::string& name : folder.folders)
                nextLevel.push_back({folder.root, joinPath(folder.path, name)});
        }
        level = std::move(nextLevel);
    }
    return found;
}

}  // namespace fingerprint
