// SPDX-License-Identifier: MIT
#include "SampleTexts.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>

namespace recorder {

namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t kWantedBytes = 5UL * 1024 * 1024;
constexpr std::uintmax_t kLargestFile = 4UL * 1024 * 1024;
constexpr std::uintmax_t kSmallestFile = 1024;

using SizedPath = std::pair<std::uintmax_t, std::string>;

// A text has no NUL byte near its beginning.
bool looksLikeText(const std::string& path)
{
    char head[4096];
    std::ifstream file(path, std::ios_base::binary);
    file.read(head, sizeof head);
    return file.gcount() > 0 &&
           std::memchr(head, 0, static_cast<std::size_t>(file.gcount())) == nullptr;
}

std::vector<SizedPath> listFiles(const fs::path& folder)
{
    std::vector<SizedPath> files;
    std::error_code error;
    fs::recursive_directory_iterator it(folder, fs::directory_options::skip_permission_denied,
                                        error);
    for (; !error && it != fs::recursive_directory_iterator(); it.increment(error)) {
        std::error_code unknown;
        if (it->is_symlink(unknown) || !it->is_regular_file(unknown)) continue;
        const std::uintmax_t size = it->file_size(unknown);
        if (unknown || size < kSmallestFile || size > kLargestFile) continue;
        files.emplace_back(size, it->path().string());
    }
    std::sort(files.rbegin(), files.rend());
    return files;
}

}  // namespace

std::vector<std::string> findSampleTexts()
{
    std::vector<std::string> paths;
    std::uintmax_t total = 0;
    for (const char* folder : {"/usr/share/common-licenses", "/usr/share/doc", "/usr/share"}) {
        for (const auto& [size, path] : listFiles(folder)) {
            if (total >= kWantedBytes) return paths;
            const bool isKnown = std::find(paths.begin(), paths.end(), path) != paths.end();
            if (isKnown || path.ends_with(".gz") || !looksLikeText(path)) continue;
            paths.push_back(path);
            total += size;
        }
    }
    return paths;
}

}  // namespace recorder
