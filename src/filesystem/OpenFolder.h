#pragma once

#include <memory>
#include <string_view>

#include <dirent.h>

#include "frame/base/ErrnoPreserver.h"

namespace qz::filesystem {

struct CloseFolder {
    void operator()(DIR* folder) const
    {
        const ErrnoPreserver kept;
        ::closedir(folder);
    }
};

/// A folder whose entries are read; closes it.
using OpenFolder = std::unique_ptr<DIR, CloseFolder>;

/// Tells whether an entry is "." or "..".
inline bool isSelfOrParent(const dirent64& entry)
{
    const char* const name = entry.d_name;
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

/// What an entry alone tells of its object.
enum class EntryKind {
    Folder,
    NoFolder,  ///< Nor does it lead to one.
    Untold,    ///< The object has to be looked at.
};

/// Gives what an entry's type tells.
inline EntryKind getKind(const dirent64& entry)
{
    switch (entry.d_type) {
        case DT_REG:
        case DT_FIFO:
        case DT_SOCK:
        case DT_CHR:
        case DT_BLK:
            return EntryKind::NoFolder;
        case DT_DIR:
            return EntryKind::Folder;
        default:
            return EntryKind::Untold;
    }
}

/// Tells whether looking for an entry by its path leads to that entry: one whose name has a
/// backslash is looked for as several components, and may be anywhere.
inline bool isOneComponent(std::string_view name)
{
    return name.find('\\') == std::string_view::npos;
}

}  // namespace qz::filesystem
