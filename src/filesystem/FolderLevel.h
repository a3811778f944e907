#pragma once

#include <string>

#include "OpenFolder.h"
#include "text/ThreadContent.h"

namespace qz::filesystem {

/// The name of an entry.
struct EntryName {
    std::string text;       ///< In UTF-8; empty when it can't be converted.
    bool isOnDisk = false;  ///< Whether it is the same on the disk, and one component of a path.
};

/// One folder of a walk, open, and the question what its entries are.
///
/// The question is one to the disk: is there a folder at the simplified path of the entry? The
/// entry's own type gives the same answer, and spares the call, unless the folder may not be
/// searched, or the path is too long for the system, or simplifying it leads elsewhere, or the name
/// is another one on the disk than in UTF-8. Links are always looked at.
class FolderLevel {
public:
    /// Opens a folder.
    /// @param path in UTF-8, with slashes alone.
    explicit FolderLevel(const std::string& path);

    bool isOpen() const { return mStream != nullptr; }
    const std::string& getPath() const { return mPath; }

    /// Gives the next entry, null at the end.
    const dirent64* readEntry() const { return ::readdir64(mStream.get()); }
    /// Gives an entry's name. The text's room is used again.
    void readName(const dirent64& entry, EntryName& name) const;
    /// Tells whether an entry is a folder.
    /// @param name that of the entry.
    bool isFolder(const dirent64& entry, const EntryName& name) const;

private:
    static const text::ByteConverter* findConverter();
    void open(const std::string& localPath);
    bool hasTypeOf(const EntryName& name) const;

    std::string mPath;
    OpenFolder mStream;
    const text::ByteConverter* mToUtf8;
    bool mKeepsAscii;
    std::size_t mLocalSize = 0;
    bool mHasTypes = false;  // whether the types of the entries answer the question
};

}  // namespace qz::filesystem
