// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <dirent.h>

#include "text/ThreadContent.h"

namespace qz::filesystem {

/// Whether an entry is "." or "..".
inline bool isSelfOrParent(const dirent64& entry)
{
    const char* const name = entry.d_name;
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

/// What the entry alone shows of its object.
enum class EntryKind {
    Folder,
    NoFolder,  ///< Nor a link to one.
    Unknown,   ///< The object has to be checked by its path.
};

/// The name of an entry.
struct EntryName {
    std::string text;       ///< In UTF-8; empty if it can't be converted.
    bool isOnDisk = false;  ///< Whether it is the same on the disk, and one component of a path.
};

/// Reads the entries of one folder, for all that walks through a tree.
///
/// A level keeps its folder open while the levels below it are read. If the system has no
/// descriptor left for one of those, the outermost open level reads its remaining entries into
/// memory and closes its folder. So a tree may be deeper than there are descriptors.
///
/// Whether an entry is a folder is a question to the disk: is there a folder at its simplified
/// path? The entry's type has the same answer without a call of the system, except if the folder
/// may not be searched, or the path is too long for the system, or simplifying the path leads to
/// another object, or the name differs between the disk and UTF-8, or the entry is a link.
class FolderLevel {
public:
    /// Opens a folder. A failure leaves the reason in `errno`.
    /// @param path in UTF-8; what follows a zero byte doesn't count.
    /// @param parent the level above, or null at the root; it must exist as long as this level.
    FolderLevel(const std::string& path, FolderLevel* parent);
    FolderLevel(const FolderLevel&) = delete;
    FolderLevel& operator=(const FolderLevel&) = delete;

    bool isOpen() const { return mIsOpen; }
    const std::string& getPath() const { return mPath; }
    const std::string& getLocalPath() const { return mLocalPath; }

    /// Returns the next entry, or null at the end. It is valid until the next call, and until a
    /// level below is opened.
    const dirent64* readEntry();
    /// Ends the reading and closes the folder.
    void close();
    /// Converts an entry's name. The buffer of the text is reused.
    void readName(const dirent64& entry, EntryName& name) const;
    /// @param name that of the entry.
    EntryKind getKind(const dirent64& entry, const EntryName& name) const;
    /// Unlinks an entry. @return false with the reason in `errno`.
    bool unlinkEntry(const dirent64& entry) const;

private:
    struct CloseFolder {
        void operator()(DIR* folder) const;
    };
    using OpenFolder = std::unique_ptr<DIR, CloseFolder>;

    static const text::ByteConverter* findConverter();
    void open();
    OpenFolder openFolder(const std::string& localPath) const;
    bool freeDescriptor();
    void readAhead();

    std::string mPath;
    std::string mLocalPath;
    FolderLevel* mParent;
    OpenFolder mFolder;        // null after `readAhead`
    std::vector<char> mAhead;  // the entries that were read ahead, each with its `d_reclen` bytes
    std::size_t mAheadPosition = 0;
    const text::ByteConverter* mToUtf8;
    bool mKeepsAscii;
    bool mIsOpen = false;
    bool mHasTypes = false;  // whether the types of the entries have the answer
};

}  // namespace qz::filesystem
