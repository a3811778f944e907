// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <qz/qzCancelInterface.h>

#include "Problems.h"

namespace inventory {

/// One row of the list, about one file. Times are in seconds since the epoch.
struct FileEntry {
    std::string path;
    unsigned long size = 0;
    long modified = 0;
    long changed = 0;
    long accessed = 0;
    std::string type;     // its MIME type, or "unknown"
    std::string content;  // "UTF-8", "other", "unreadable", "missing" or "special"
};

/// The columns of the list. No cell is ever empty, as the empty text would read back as 0.
enum Column {
    ColumnPath,
    ColumnSize,
    ColumnModified,
    ColumnChanged,
    ColumnAccessed,
    ColumnType,
    ColumnContent
};
extern const std::vector<std::string> kColumnNames;

/// Gets the data of a file, and reads it if it is a regular one. Failures are reported.
/// @param path of something that no walk has taken for a folder.
/// @return false when there is nothing to list: it is a folder, or the work was cancelled.
bool lookAtFile(const std::string& path, const qz::qzCancelInterface& cancel, Problems& problems,
                FileEntry& entry);

/// The cells of a file's row.
std::vector<std::string> toCells(const FileEntry& entry);

}  // namespace inventory
