// SPDX-License-Identifier: MIT
#pragma once

#include <list>
#include <memory>
#include <string>

#include <qz/qzExport.h>

namespace qz {

namespace filesystem {
class XRefIndex;
}

/// Finds the file that a stale path means: of the files of the same name in a folder tree, the one
/// whose folder agrees with the path's folder in the most bytes, compared from their ends.
///
/// The tree is indexed once, from the disk or from the index of a folder above it. Later changes of
/// the disk are not noticed. A file name that ends with a version, as "model.prt.7", is also found
/// by a path without one, if its extension begins with "prt", "asm" or "neu" and there is no file
/// of exactly that name; the highest version is found.
///
/// All comparisons are of bytes, so case matters. Slashes and backslashes mean the same in
/// arguments; results have slashes.
/// Threads: after a build, all `const` functions from any thread; while an index is built or
/// changed, from one thread alone.
///
/// @code
/// qzXRefResolverSearchPath project;
/// if (!project.initializeSearchPath("/home/me/project", {}, /*maxFiles=*/1000000)) return false;
/// const auto found = project.resolveXRef("C:\\work\\parts\\door.asm");
/// if (found.type == qzXRefResolverSearchPath::MatchFull) open(found.path);
/// @endcode
class QZ_API qzXRefResolverSearchPath {
public:
    /// How a path was resolved.
    enum MatchResultType : int {
        MatchNotInitialized = 0,  ///< There is no index.
        MatchNotFound = 1,        ///< No indexed file has this name.
        MatchPartial = 2,  ///< A file has this name; its folder agrees in part or not at all.
        MatchFull = 3,     ///< A file has this name, and all of its folder agrees.
    };

    /// The file that was found for a path.
    struct QZ_API tMatchResult {
        /// Makes a result without a path.
        explicit tMatchResult(MatchResultType resultType = MatchNotInitialized);
        /// Makes it `MatchNotInitialized` without a path.
        void clearResult();

        MatchResultType type;           ///< How the file was found.
        unsigned long matchLength = 0;  ///< How many bytes of the file's relative folder agree.
        std::string path;  ///< The file, from the cleaned root on; empty if none is found.
    };

    /// A file of an index. Compatibility: no operation takes or returns one.
    struct QZ_API IndexEntry {
        /// Makes an entry from its two parts.
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
    /// Takes roots and index from `other`, which becomes empty. Takes the same time for any index.
    qzXRefResolverSearchPath(qzXRefResolverSearchPath&& other) noexcept;
    /// Takes roots and index from `other`, which becomes empty. The own index is freed.
    qzXRefResolverSearchPath& operator=(qzXRefResolverSearchPath&& other) noexcept;

    /// Sets the root. Neither the index nor `isInitialized` changes.
    /// @param path may be the result of `getOriginalRootPath`; empty removes the root.
    void setPath(const std::string& path);
    /// Removes root and index.
    void clearSearchPath();

    /// Adds all files below the root on the disk to the index.
    /// @param maxFiles the number of files that is too many.
    /// @return false for too many files, which are reported in the log; the index then has the
    ///     files up to the limit, and `isInitialized` doesn't change. True also for a root that
    ///     doesn't exist.
    bool initializeSearchPath(unsigned long maxFiles);
    /// Sets the root and builds a new index: from the ancestor with the longest root above this
    /// one, or from the disk if there is none.
    ///
    /// If an ancestor fails, the log reports it, the files that it has added stay, and those of the
    /// disk are added.
    /// @param path the root; empty fails without a report.
    /// @param ancestors those without an index are ignored; of two with one root the first is used.
    ///     They must not change meanwhile.
    /// @param maxFiles the most files from an ancestor, and the number that is too many from the
    ///     disk.
    /// @return false for an empty path and for too many files; `isInitialized` is false then.
    bool initializeSearchPath(const std::string& path,
                              const std::list<const qzXRefResolverSearchPath*>& ancestors,
                              unsigned long maxFiles);
    /// Takes the files below this root from an ancestor's index, without access to the disk.
    ///
    /// They replace the files of the same name that were indexed here; if both roots are the same,
    /// they replace the whole index. `isInitialized` doesn't change.
    /// @param ancestor must not change meanwhile.
    /// @param maxFiles the most files.
    /// @return false for a root that isn't below the ancestor's, and for too many files, which are
    ///     reported in the log; the index then has the names that were complete.
    bool initializeSearchPathFromAnAncestor(const qzXRefResolverSearchPath& ancestor,
                                            unsigned long maxFiles);

    /// Finds the file that a path means.
    ///
    /// Of the files of its name, in the order in which they were indexed, this is the first one
    /// whose folder has the longest agreement with the path's folder. The search ends at a file
    /// whose whole folder agrees, if that is more than before; a file in the root has no folder, so
    /// it is one if it comes first. Only whole names agree, except that the first name of the
    /// path's folder may be the end of a longer one: "a/b" agrees in full length with "xa/b".
    /// @return `MatchFull` with the path of a file whose whole relative folder agrees, which is so
    ///     for each file in the root; `MatchPartial` with the path of any other file; without a
    ///     path `MatchNotFound`, or `MatchNotInitialized` where `isInitialized` is false.
    tMatchResult resolveXRef(const std::string& xref) const;

    /// The root as it was given.
    const std::string& getOriginalRootPath() const;
    /// The root with slashes for backslashes.
    const std::string& getCleanedRootPath() const;
    /// Whether an index was built.
    bool isInitialized() const;

    /// Compares roots, as cleaned, and whole indexes with their order within a name.
    bool operator==(const qzXRefResolverSearchPath& other) const;

    /// Returns a copy with slashes for backslashes.
    static std::string CleanFilePath(const std::string& path);
    /// Cuts a path at its last slash.
    /// @param folder receives what comes before it; empty if there is none.
    /// @param name receives what comes after it; the whole path if there is none.
    static void SplitFullFilePath(const std::string& full, std::string& folder, std::string& name);
    /// Returns the key of a file name: its first two parts change places, so that the extension
    /// comes first and a version stays last. "model.prt.12" gives "prt.model.12".
    static std::string ComputeFileIndex(const std::string& fileName);

private:
    friend class XRefResolverFileSystemVisitor;
    friend class qzXRefResolverSearchPathTestPeer;

    QZ_LOCAL const qzXRefResolverSearchPath* findAncestor(
        const std::list<const qzXRefResolverSearchPath*>& ancestors) const;
    QZ_LOCAL bool takeWholeIndex(const qzXRefResolverSearchPath& ancestor, unsigned long maxFiles);
    QZ_LOCAL bool takeIndexBelow(const qzXRefResolverSearchPath& ancestor, unsigned long maxFiles);
    QZ_LOCAL void logTooManyFiles(unsigned long maxFiles) const;
    QZ_LOCAL void swap(qzXRefResolverSearchPath& other) noexcept;
    QZ_LOCAL const filesystem::XRefIndex& getIndex() const;
    QZ_LOCAL filesystem::XRefIndex& editIndex();

    std::unique_ptr<filesystem::XRefIndex> mIndex;  // null while it is empty
    // Compatibility: the index has the size of an ordered map.
    [[maybe_unused]] void* mReserved[5] = {};
    std::string mRootWithSlash;
    std::string mCleanedRootPath;
    std::string mOriginalRootPath;
    bool mInitialized = false;
};

}  // namespace qz
