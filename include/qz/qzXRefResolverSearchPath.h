#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include <qz/qzExport.h>

namespace qz {

/// Finds the file that a stale path means: that of the same name under a folder tree whose folder
/// agrees best with the path's folder, counted from the back.
///
/// The tree is indexed once, from the disk or from the index of a folder above it. Later changes of
/// the disk go unseen. A file name with a version behind it, as "model.prt.7", is also found by a
/// path without one, where its extension begins with "prt", "asm" or "neu" and there is no file of
/// just that name; the highest version counts.
///
/// All comparisons are of bytes, case and all. Slashes and backslashes are the same in what is
/// given; what comes back has slashes.
/// Threads: after a build, `resolveXRef` and all questions from any thread; while an index is built
/// or changed, from its thread alone.
class QZ_API qzXRefResolverSearchPath {
public:
    /// How a path was resolved.
    enum MatchResultType : int {
        MatchNotInitialized = 0,  ///< There is no index.
        MatchNotFound = 1,        ///< No indexed file has this name.
        MatchPartial = 2,  ///< A file has this name; its folder agrees in part or not at all.
        MatchFull = 3,     ///< A file has this name, and all of its folder agrees.
    };

    /// What became of a path.
    struct QZ_API tMatchResult {
        /// Makes a result without a path.
        explicit tMatchResult(MatchResultType resultType = MatchNotInitialized);
        /// Makes it as it is without an index.
        void clearResult();

        MatchResultType type;           ///< How the file was found.
        unsigned long matchLength = 0;  ///< How many bytes of the file's relative folder agree.
        std::string path;  ///< The file, from the cleaned root on; empty when none is found.
    };

    /// A file of the index.
    struct QZ_API IndexEntry {
        /// Makes an entry of its two parts.
        IndexEntry(std::string name, std::string folder);
        /// Compares both parts.
        bool operator==(const IndexEntry& other) const;

        std::string fileName;  ///< The name, as it is in its folder.
        /// The folder, relative to the root, with its bytes in reverse order; empty in the root.
        std::string reversedFolder;
    };

    /// Makes an empty object, which has no index.
    qzXRefResolverSearchPath();
    /// Frees the index.
    ~qzXRefResolverSearchPath();
    /// Copies roots and index.
    qzXRefResolverSearchPath(const qzXRefResolverSearchPath& other);
    /// Copies roots and index.
    qzXRefResolverSearchPath& operator=(const qzXRefResolverSearchPath& other);

    /// Sets the root. Neither the index nor `isInitialized` changes.
    /// @param path may be what `getOriginalRootPath` gives; empty takes the root away.
    void setPath(const std::string& path);
    /// Takes root and index away.
    void clearSearchPath();

    /// Indexes what the disk holds below the root, and adds it to what is there.
    /// @param maxFiles as many files, or more, are too many.
    /// @return false for too many files, which the log tells; the index then holds the
    ///     files up to the limit, and `isInitialized` stays as it was. True for a root that isn't
    ///     there.
    bool initializeSearchPath(unsigned long maxFiles);
    /// Sets the root and builds a new index, from the longest of the ancestors' roots that holds it
    /// if there is one, or else from the disk.
    ///
    /// When an ancestor fails, what came of it stays, and the disk's files are added: the log tells
    /// so.
    /// @param path the root; empty fails without a word.
    /// @param ancestors those without an index don't count; of two with one root the first counts.
    /// @param maxFiles so many are still welcome from an ancestor, and too many from the disk.
    bool initializeSearchPath(const std::string& path,
                              const std::list<const qzXRefResolverSearchPath*>& ancestors,
                              unsigned long maxFiles);
    /// Takes from an ancestor's index what is below this root, without any look at the disk.
    ///
    /// A name that was indexed here gives way to the ancestor's files of that name; with the same
    /// root on both sides the whole index gives way. `isInitialized` doesn't change.
    /// @param maxFiles more files are too many.
    /// @return false for a root that isn't below the ancestor's, and for too many files, which the
    ///     log tells; the index then holds the names that were complete.
    bool initializeSearchPathFromAnAncestor(const qzXRefResolverSearchPath& ancestor,
                                            unsigned long maxFiles);

    /// Finds the file that a path means.
    ///
    /// Of the files of its name, in the order in which they were indexed, the first one counts
    /// whose folder has the longest agreement with the path's folder. The search ends with a file
    /// all of whose folder agrees, if that is more than before; a first file in the root is one,
    /// having no folder. Whole names agree, except that a folder's name may begin with more than
    /// the path has: "a/b" agrees in full length with "xa/b".
    /// @return `MatchFull` with the path of a file whose whole relative folder agrees, as it always
    ///     does in the root; `MatchPartial` with the path of any other.
    tMatchResult resolveXRef(const std::string& xref) const;

    /// The root as it was given.
    const std::string& getOriginalRootPath() const;
    /// The root with slashes for backslashes.
    const std::string& getCleanedRootPath() const;
    /// Whether an index was built.
    bool isInitialized() const;

    /// Compares roots, as cleaned, and whole indexes with their order within a name.
    bool operator==(const qzXRefResolverSearchPath& other) const;

    /// Makes all backslashes slashes.
    static std::string CleanFilePath(const std::string& path);
    /// Cuts a path at its last slash.
    /// @param folder becomes what stands ahead of it; empty when there is none.
    /// @param name becomes what stands behind it; the whole path when there is none.
    static void SplitFullFilePath(const std::string& full, std::string& folder, std::string& name);
    /// Gives the key of a file name: its first two parts change places, so that the extension comes
    /// first and a version stays behind. "model.prt.12" gives "prt.model.12".
    static std::string ComputeFileIndex(const std::string& fileName);

private:
    friend class XRefResolverFileSystemVisitor;
    friend class qzXRefResolverSearchPathTestPeer;

    using Entries = std::vector<IndexEntry>;

    // The files by `ComputeFileIndex` of their names. A table of hashes finds a name; the order of
    // the keys counts for versions only, and is made for these when a build ends.
    class QZ_LOCAL Index {
    public:
        /// The files of one key.
        struct Name {
            std::string key;  ///< As `ComputeFileIndex` gives it.
            Entries entries;  ///< In the order in which they came.
        };

        const std::vector<Name>& getNames() const { return mNames; }
        std::vector<const Name*> getNamesByKey() const;
        std::size_t countFiles() const;
        bool operator==(const Index& other) const;

        // Null for a name that isn't there.
        const Entries* find(const std::string& key) const;
        // The files with the highest version of those whose keys begin so.
        const Entries* findLastVersion(const std::string& key) const;
        // Makes a name that isn't there.
        Entries& edit(const std::string& key);
        void sortVersions();
        void clear();

    private:
        using Order = std::vector<unsigned int>;  // of positions in `mNames`

        std::size_t findSlot(const std::string& key, std::size_t hash) const;
        void growTable();
        Order makeVersionOrder() const;

        std::vector<Name> mNames;           // in the order of their coming
        std::vector<std::uint64_t> mTable;  // 0, or position plus 1 below the upper half of a hash
        Order mVersions;                    // the names that may have versions, by key
        std::size_t mSortedCount = 0;       // how many names `mVersions` knows of
    };

    const qzXRefResolverSearchPath* findAncestor(
        const std::list<const qzXRefResolverSearchPath*>& ancestors) const;
    bool takeWholeIndex(const qzXRefResolverSearchPath& ancestor, unsigned long maxFiles);
    bool takeIndexBelow(const qzXRefResolverSearchPath& ancestor, unsigned long maxFiles);
    unsigned long countFilesBelow(const std::string& sub) const;
    QZ_LOCAL void takeName(const Index::Name& name, const std::string& sub);
    QZ_LOCAL void logTooManyFiles(unsigned long maxFiles) const;
    QZ_LOCAL const Entries* findEntries(const std::string& key) const;

    Index mIndex;
    std::string mRootWithSlash;
    std::string mCleanedRootPath;
    std::string mOriginalRootPath;
    bool mInitialized = false;
};

}  // namespace qz
