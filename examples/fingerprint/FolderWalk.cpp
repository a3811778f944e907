#include "FolderWalk.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <system_error>
#include <utility>

namespace fingerprint {

namespace {

namespace fs = std::filesystem;

// What is in a folder.
struct Content {
    std::vector<std::string> files;    // by name
    std::vector<std::string> folders;  // by name, the first one at the end
};

Content readFolder(const std::string& folder, Problems& problems)
{
    Content content;
    std::error_code error;
    for (fs::directory_iterator entries(folder, error);
         !error && entries != fs::directory_iterator(); entries.increment(error)) {
        // These know from the folder itself what an entry is, if the file system says so there.
        std::error_code unknown;
        const bool isLink = entries->is_symlink(unknown);
        const bool isFolder = !isLink && entries->is_directory(unknown);
        if (isLink || (!isFolder && !entries->is_regular_file(unknown))) continue;
        std::string name = entries->path().filename().string();
        if (toUtf8(name).empty())
            problems.report("cannot list", joinPath(folder, name), "its name can't be converted");
        else
            (isFolder ? content.folders : content.files).push_back(std::move(name));
    }
    if (error) problems.report("cannot read the folder", folder, error.value());
    std::sort(content.files.begin(), content.files.end());
    std::sort(content.folders.begin(), content.folders.end(), std::greater<>());
    return content;
}

}  // namespace

std::vector<FileEntry> findFiles(const std::vector<std::string>& folders,
                                 const qz::qzCancelInterfaceReadOnly& cancel, Problems& problems)
{
    std::vector<FileEntry> entries;
    for (std::size_t i = 0; i < folders.size(); ++i) {
        std::vector<std::string> pending(1);  // below the folder, the next one at the end
        while (!pending.empty() && !cancel.shouldCancel()) {
            const std::string below = std::move(pending.back());
            pending.pop_back();
            const Content content = readFolder(joinPath(folders[i], below), problems);
            for (const std::string& name : content.files)
                entries.push_back({i, joinPath(below, name)});
            for (const std::string& name : content.folders)
                pending.push_back(joinPath(below, name));
        }
    }
    return entries;
}

}  // namespace fingerprint
