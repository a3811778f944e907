// SPDX-License-Identifier: MIT
// No peer but the floor: the system calls without which no walk can do, and nothing around them.

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <string_view>

#include "tree.h"

namespace bench {

namespace {

constexpr std::size_t kBufferSize = 32 * 1024;

bool isSelfOrParent(std::string_view name)
{
    return name == "." || name == "..";
}

// `path` is that of the folder with a slash after it, and is the same at the end.
template <typename Visit>
void visitFolder(int parent, const char* folder, std::string& path, const Visit& visit)
{
    alignas(dirent64) char buffer[kBufferSize];
    const std::size_t size = path.size();
    const int fd = ::openat(parent, folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (ssize_t got = 0; (got = ::getdents64(fd, buffer, sizeof buffer)) > 0;) {
        for (ssize_t i = 0; i < got;) {
            const auto* const entry = reinterpret_cast<const dirent64*>(buffer + i);
            i += entry->d_reclen;
            const std::string_view name = entry->d_name;
            if (isSelfOrParent(name)) continue;
            const bool isFolder = entry->d_type == DT_DIR;
            path += name;
            visit(path, isFolder);
            if (isFolder) visitFolder(fd, entry->d_name, path += '/', visit);
            path.resize(size);
        }
    }
    ::close(fd);
}

template <typename Visit>
void visitAll(const std::string& root, const Visit& visit)
{
    std::string path = root + '/';
    visitFolder(AT_FDCWD, root.c_str(), path, visit);
}

struct SystemCalls {
    static Tally walk(const std::string& root)
    {
        Tally tally;
        visitAll(root, [&tally](const std::string& /*path*/, bool isFolder) {
            ++(isFolder ? tally.folders : tally.files);
        });
        return tally;
    }
    static Paths collect(const std::string& root)
    {
        Paths paths;
        visitAll(root, [&paths](const std::string& path, bool isFolder) {
            (isFolder ? paths.folders : paths.files).push_back(path);
        });
        return paths;
    }
    static std::vector<std::string> collectExtension(const std::string& root)
    {
        std::vector<std::string> files;
        visitAll(root, [&files](const std::string& path, bool isFolder) {
            if (!isFolder && path.ends_with(kExtension)) files.push_back(path);
        });
        return files;
    }
};

const TreeRows<SystemCalls> kRows("limit");

}  // namespace

}  // namespace bench
