// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <qz/ConcurrentPool.h>
#include <qz/qzCancelInterface.h>

#include "FileEntry.h"
#include "Problems.h"

namespace fingerprint {

/// What is below the folders.
struct FoundFiles {
    std::vector<FileEntry> entries;
    std::vector<FolderEntry> unreadFolders;  ///< Those that can't be read, or not to the end.
};

/// Finds the regular files below the folders, on all workers of the pool: first those of the
/// folders themselves by name, then those of the folders in them, and so on. Links are not
/// followed. What can't be read or named is reported, and so are folders that show the kernel, such
/// as /proc.
FoundFiles findFiles(const std::vector<std::string>& folders, qz::ConcurrentPool& pool,
                     const qz::qzCancelInterfaceReadOnly& cancel, Problems& problems);

/// Removes the file at this path from the list, if it is there.
/// @param folders what the entries have as their folders.
void leaveOut(const std::string& path, const std::vector<std::string>& folders,
              std::vector<FileEntry>& entries);

}  // namespace fingerprint
