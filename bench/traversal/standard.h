// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tree.h"

namespace bench {

/// Tells it by what the iterator has read, as far as the library can.
template <typename Entry>
bool isFolder(const Entry& entry)
{
    if constexpr (requires { entry.is_directory(); })
        return entry.is_directory();
    else
        return is_directory(entry.status());
}

/// A contender with the interface of the standard's file system: the class of its recursive
/// iterator.
template <typename Iterator>
struct StandardWalk {
    static Tally walk(const std::string& root)
    {
        Tally tally;
        for (const auto& entry : Iterator(root))
            ++(isFolder(entry) ? tally.folders : tally.files);
        return tally;
    }
    static Paths collect(const std::string& root)
    {
        Paths paths;
        for (const auto& entry : Iterator(root))
            (isFolder(entry) ? paths.folders : paths.files).push_back(entry.path().native());
        return paths;
    }
    // By the text: a path of its own for the extension would cost more.
    static std::vector<std::string> collectExtension(const std::string& root)
    {
        std::vector<std::string> files;
        for (const auto& entry : Iterator(root)) {
            const std::string& path = entry.path().native();
            if (path.ends_with(kExtension) && !isFolder(entry)) files.push_back(path);
        }
        return files;
    }
};

}  // namespace bench
