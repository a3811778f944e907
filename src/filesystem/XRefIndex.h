// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "StringPool.h"

namespace qz::filesystem {

/// The files of a search path by the keys of their names.
///
/// A name is found by its hash; the order of the keys matters for versions only, and is made for
/// these when a build ends. The name of a file is made from its key, and its folder is stored once
/// for all files there, so that a file takes few bytes.
class XRefIndex {
public:
    using Id = StringPool::Id;
    static constexpr Id kNone = StringPool::kNone;

    /// A file: its folder, and the next file of the same key.
    struct File {
        Id folder = kNone;
        Id next = kNone;
    };

    /// Whether files of a key's kind may have a version after their names. Compatibility: only the
    /// first three bytes count.
    static bool HasVersions(std::string_view key);

    std::size_t getKeyCount() const { return mKeys.size(); }
    std::string_view getKey(Id key) const { return mKeys.get(key); }
    std::size_t getFolderCount() const { return mFolders.size(); }
    /// The folder, relative to the root, with its bytes in reverse order.
    std::string_view getReversedFolder(Id folder) const { return mFolders.get(folder); }
    std::size_t countFiles() const;
    std::vector<Id> makeOrderOfKeys() const;

    /// The files of a key in the order in which they were added; null after the last one.
    const File* getFirst(Id key) const { return getFile(mLists[key].first); }
    const File* getNext(const File& file) const { return getFile(file.next); }

    /// @return kNone if there is no such key.
    Id find(std::string_view key) const { return mKeys.find(key); }
    /// Finds the highest version among the keys that begin with this one, which has none itself.
    /// @return kNone if there is no such key.
    Id findLastVersion(const std::string& key) const;

    /// An exception leaves the files as they were.
    void add(std::string_view key, std::string_view reversedFolder);
    void add(std::string_view key, Id folder);
    Id addFolder(std::string_view reversedFolder) { return mFolders.add(reversedFolder); }
    /// Removes the files of a key, if there is such a key.
    void removeFiles(std::string_view key);
    /// Sorts the versions and frees memory. Must be called at the end of a build, else each search
    /// for a version sorts them.
    void finishBuild();

    /// Whether both have the same keys, and for each the same folders in the same order.
    bool operator==(const XRefIndex& other) const;

private:
    struct List {
        Id first = kNone;
        Id last = kNone;
    };

    const File* getFile(Id file) const { return file == kNone ? nullptr : &mFiles[file]; }
    Id makeFile();
    bool hasEqualFiles(Id key, const XRefIndex& other, Id otherKey) const;
    std::vector<Id> makeOrderOfVersions() const;
    void sortByKey(std::vector<Id>& keys) const;

    StringPool mKeys;
    StringPool mFolders;
    std::vector<List> mLists;  // of `mFiles`, by key; may have one more
    std::vector<File> mFiles;
    Id mFree = kNone;                 // the list of the files that were removed
    std::vector<Id> mVersions;        // the keys that may have versions, in order
    std::size_t mSortedKeyCount = 0;  // how many keys there were when `mVersions` was made
};

}  // namespace qz::filesystem
