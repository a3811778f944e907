// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <qz/qzExport.h>

namespace qz {

class qzCancelInterfaceReadOnly;

namespace filesystem {
class FolderLevel;
}

/// What the system knows about a path. A plain value; times are in whole seconds since the epoch.
class QZ_API qzFileInfoUtf8 {
public:
    std::string path;           ///< As it was given.
    long lastAccessTime;        ///< When the content was last read.
    long lastStatusChangeTime;  ///< When owner, mode, links or content last changed.
    long lastModificationTime;  ///< When the content last changed.
    unsigned long size;         ///< In bytes.
    bool exists : 1;            ///< Whether there is an object; false clears all the rest.
    bool isFile : 1;            ///< Whether it is a regular file.
    bool isDirectory : 1;       ///< Whether it is a folder.

    /// Makes an empty record: no path, all numbers 0, all bits clear.
    qzFileInfoUtf8();
    /// Makes the record empty again.
    void clearInfos();
    /// Compares all fields. Two records of missing files are equal, whatever their paths were.
    bool operator==(const qzFileInfoUtf8& other) const;
};

/// Operations on paths, files and folders.
///
/// Paths are in UTF-8, and slashes separate their components. Some of the operations on texts take
/// a backslash as a separator too and others don't; each comment says so. An operation with "Utf8"
/// in its name converts the path to the local character set, which is that of the environment's
/// locale, and converts the system's results to UTF-8. A path that the local set can't hold without
/// loss names nothing: the operation fails as it does for a path that doesn't exist. The library
/// must be started, since nothing is converted before that. For the system a path ends at its first
/// byte of value 0.
///
/// No operation throws for a bad path or a failed call. A failure leaves `errno` as the failed call
/// of the system set it. A parameter `errorMsg` may be null.
/// Threads: every call from any thread. The current folder, the environment and the umask belong to
/// the whole process.
///
/// @code
/// const std::string folder = qzDirUtils::JoinPath(qzDirUtils::GetTempFolderUtf8(), "report");
/// std::string reason;
/// if (!qzDirUtils::MkpathUtf8(folder) ||
///     !qzDirUtils::CopyFileUtf8("table.csv", qzDirUtils::JoinPath(folder, "table.csv"),
///                               /*overwrite=*/true, &reason)) {
///     logWarning() << "No report in " << folder << ": " << reason;
/// }
/// @endcode
class QZ_API qzDirUtils {
public:
    qzDirUtils() = delete;

    // --- Paths as texts

    /// Joins two parts with one slash, unless one of them has a separator at the joint already.
    ///
    /// Backslashes count as separators there. If both parts have a separator, that of the second
    /// part is removed: "a//" and "//b" give "a///b". An empty part adds nothing.
    static std::string JoinPath(const std::string& left, const std::string& right);
    /// Joins the join of the first two parts with the third.
    static std::string JoinPath(const std::string& first, const std::string& second,
                                const std::string& third);
    /// Joins the join of the first two parts with the join of the last two.
    static std::string JoinPath(const std::string& first, const std::string& second,
                                const std::string& third, const std::string& fourth);

    /// Returns the path in its shortest form: backslashes become slashes, and doubled slashes,
    /// closing slashes, "." and each ".." with the component before it are removed.
    ///
    /// Only the text counts: if a component is a link, ".." after it leads elsewhere on the disk. A
    /// "." that comes first stays, also after the root: "./a", "/./a". A ".." without a component
    /// before it stays: "../a", "./../a", and "/../a", which doesn't become "/a". The result may be
    /// empty: "a/..". Takes time linear in the path.
    static std::string SimplifyPath(const std::string& path);

    /// Returns the extension of a path's file name, without the dot before it: "gz" for
    /// "archive.tar.gz", nothing for ".bashrc".
    ///
    /// Slashes and backslashes end the folder. What comes before the first dot is never part of the
    /// extension, and neither is the part after the first dot of a hidden file. Empty parts at the
    /// start are left out, those at the end are kept: "a..b" gives "b", and "a.gz." gives "gz.".
    /// @param lowerCase makes the extension lower case, byte by byte, with the C library's
    ///     `tolower`.
    /// @param partCount the most parts of the name in the extension; with 2 "archive.tar.gz" gives
    ///     "tar.gz". Below 2 it is one part, or two if the last one is empty or a number in the
    ///     notation of C: "archive.tar.001" gives "tar.001".
    /// @return empty if there is none, and for a file name of more than 65535 parts.
    static std::string ExtractFileExtension(const std::string& path, bool lowerCase, int partCount);
    /// Returns the file name up to its last dot: "b.tar" for "a/b.tar.gz", nothing for ".hidden".
    /// Slashes and backslashes end the folder.
    static std::string ExtractFileBaseName(const std::string& path);
    /// Returns what comes before the last slash or backslash, with slashes for backslashes; nothing
    /// for "/a", as for "a".
    static std::string ExtractFolder(const std::string& path);
    /// Cuts a path at its last slash or backslash; other backslashes stay as they are.
    /// @param folder receives what comes before the cut; empty if there is none.
    /// @param fileName receives what comes after it; the whole path if there is none.
    static void SplitFolderFilename(const std::string& path, std::string& folder,
                                    std::string& fileName);
    /// Returns what comes before the last slash; nothing if there is none. A backslash is an
    /// ordinary character here: `a\b` has no parent.
    static std::string GetParentPathUtf8(const std::string& path);

    /// Whether a path doesn't begin with a slash. "C:/x" doesn't, and neither does `\x`.
    static bool IsPathRelativeUtf8(const std::string& path);

    /// Replaces each of the bytes `"*/:<>?\|` by `replacement`, so that the text is a file name on
    /// other systems as well. Nothing else changes, not even control characters.
    static void GenerateValidFileName(std::string& text, char replacement);
    /// The same in a copy.
    static std::string GenerateValidFileName(const std::string& text, char replacement);

    // --- Paths and where they lead

    /// Makes a path absolute, after `SimplifyPath`. The empty path is ".".
    ///
    /// A relative path is appended to the base, if there is one. If that makes it absolute, it is
    /// the result without any change or check on the disk: base "/a/b" with "../c" gives
    /// "/a/b/../c". "C:/x" counts as absolute.
    ///
    /// Any other path starts at the current folder. Links in the part of it that exists are
    /// resolved, and the part that doesn't exist is appended. A path of several components whose
    /// first one doesn't exist gives an empty result, while a single component is appended to the
    /// current folder.
    ///
    /// Slashes are looked for in UTF-8, also where the local character set has a backslash as the
    /// second byte of a character.
    /// @param result receives the absolute path, or becomes empty; also if the path leads from the
    ///     current folder to the root.
    /// @param base a folder; may be empty.
    /// @return true, also for an empty result.
    static bool GetAbsolutePathUtf8(const std::string& path, std::string& result,
                                    const std::string& base);
    /// The same as a result; empty on failure.
    static std::string GetAbsolutePathUtf8(const std::string& path, const std::string& base);

    /// Makes a path relative to a folder above it. No ".." is added.
    ///
    /// Both are made absolute as `GetAbsolutePathUtf8` does. A path that is relative already starts
    /// at the base, and is not simplified together with it: "../x" from "/a" gives "../x". No
    /// absolute path is below the base "/". A relative base of which nothing exists counts as the
    /// root.
    /// @param result receives the part of the path after the base; empty on failure.
    /// @return false if the path isn't below the base.
    static bool GetRelativePathUtf8(const std::string& path, std::string& result,
                                    const std::string& base);
    /// The same as a result; empty on failure.
    static std::string GetRelativePathUtf8(const std::string& path, const std::string& base);

    /// Whether a path is on a file system of NFS or FUSE.
    /// @param path in the local character set, not in UTF-8.
    /// @return false also if the system doesn't know, as for a missing file.
    static bool IsNetworkPath(const std::string& path);

    // --- Files and folders

    /// Whether there is an object of any kind at `path`: a file, a folder, a device. Links are
    /// followed, so a link whose target is missing doesn't exist.
    static bool FileExistsUtf8(const std::string& path);
    /// Whether there is a folder, or a link to one, at the path that `SimplifyPath` makes of
    /// `path`.
    static bool DirExistsUtf8(const std::string& path);
    /// Reads size, times and kind of an object. Links are followed.
    /// @param info receives them; it becomes empty, even its path, if there is no such object.
    static void GetFileInfoUtf8(const std::string& path, qzFileInfoUtf8& info);

    /// Makes a folder and those above it that are missing, with all permissions that the umask
    /// allows. The path is taken as it is: "a/../b" makes "a" first, and a backslash is an ordinary
    /// character.
    /// @return true if the folder exists at the end; false at the first one that can't be made,
    ///     with those above it made. A file in the way gives ENOTDIR in `errno`. If two processes
    ///     make the same folders, one may fail with EEXIST.
    static bool MkpathUtf8(const std::string& path);

    /// Copies the content of a file, without its permissions and times. A new destination gets the
    /// permissions 0666 less the umask; a link is followed.
    ///
    /// Errors of reading and writing after both files are open are ignored. Warning: a copy of a
    /// file onto itself, also by another link, empties it, because the destination is emptied
    /// first.
    /// @param overwrite empties a destination that exists. Without it, a destination that exists is
    ///     a failure, with a text about a missing source.
    /// @param errorMsg receives the reason of a failure; empty on success.
    static bool CopyFileUtf8(const std::string& source, const std::string& destination,
                             bool overwrite, std::string* errorMsg);
    /// Renames a file or folder within its file system, and replaces the object at the new path.
    /// @param errorMsg receives the reason of a failure, else stays as it is.
    static bool RenameFileUtf8(const std::string& oldPath, const std::string& newPath,
                               std::string* errorMsg);
    /// Removes a file, a link or an empty folder. The empty path is a success.
    /// @param errorMsg receives the reason of a failure, as of a missing file; empty on success.
    static bool RemoveFileUtf8(const std::string& path, std::string* errorMsg);
    /// Removes all entries of a folder, and those of the folders below it.
    ///
    /// A link to a folder is entered, so the folder that it leads to becomes empty too. The link
    /// itself can't be removed as a folder, so the work ends there with ENOTDIR of `rmdir`. The
    /// first entry that can't be removed ends the work; what was removed before is gone. A name
    /// with a backslash is looked up as a path.
    /// @param removeFolder removes the folder as well; that is tried even after a failure.
    /// @param errorMsg receives the reason of the first failure, or "Canceled"; empty on success.
    /// @param cancel polled before each entry and at the end of each folder; may be null.
    /// @return true for a folder that doesn't exist; false after a failure or a cancellation.
    static bool ClearFolderUtf8(const std::string& folder, bool removeFolder, std::string* errorMsg,
                                const qzCancelInterfaceReadOnly* cancel);

    /// Makes an empty file with a new name, which only the user can open. The caller removes it.
    /// @param prefix the start of the file's name; six random characters follow.
    /// @return the path of the file; empty on failure.
    static std::string GetTempFileUtf8(const std::string& folder, const std::string& prefix);
    /// The same with a suffix after the random characters. The system requires these to end the
    /// name, so any suffix but the empty one fails.
    static std::string GetTempFileUtf8(const std::string& folder, const std::string& prefix,
                                       const std::string& suffix);

    /// Adds the permissions to read, write and execute for everybody.
    /// @return false if there is no such object, or its permissions can't be changed.
    static bool GrantAllFilePermissionsUtf8(const std::string& path);
    /// Returns how many bytes are free in the file system of a path, with those that are reserved
    /// for the superuser.
    /// @param errorMsg always becomes empty.
    /// @return 0 on failure.
    static unsigned long GetAvailableDiskSizeUtf8(const std::string& path, std::string& errorMsg);
    /// Returns the path itself, because a path has only one spelling on this system.
    static std::string GetActualPathNameUtf8(const std::string& path);

    // --- Well-known folders. No operation makes one.

    /// Returns the value of the variable TMPDIR, even an empty one, or "/tmp" without it.
    static std::string GetTempFolderUtf8();
    /// Returns the current folder; empty on failure.
    static std::string GetCurrentWorkingDirUtf8();
    /// Changes the current folder.
    /// @return false if that isn't possible.
    static bool SetCurrentWorkingDirUtf8(const std::string& path);
    /// Finds the folder of the running program's file.
    /// @param folder receives it; empty on failure.
    static bool GetProcessFolderUtf8(std::string& folder);

    /// Returns "Documents" in the user's folder if there is such a folder, else the user's folder.
    ///
    /// The user's folder is the value of the variable HOME without a conversion, so in the local
    /// character set, or "." without it.
    static std::string GetDocumentsFolderUtf8();
    /// Returns "Pictures" in the user's folder, whether or not it exists. See
    /// `GetDocumentsFolderUtf8`.
    static std::string GetPicturesFolderUtf8();
    /// Returns "Downloads" in the user's folder, whether or not it exists. See
    /// `GetDocumentsFolderUtf8`.
    static std::string GetDownloadFolderUtf8();
    /// Returns the hidden folder of an application in the user's folder, or a dot and its name
    /// without HOME, whether or not it exists. This one is converted to UTF-8.
    /// @param applicationName in the local character set.
    static std::string GetAppDataFolderUtf8(const std::string& applicationName);

    // --- Walks

    /// Walks a folder, and calls its subclass for each entry.
    ///
    /// Entries come in the order of the system; a subfolder is walked when it is found. "." and
    /// ".." are never visited, nor is a name that can't be converted to UTF-8. A link to a folder
    /// counts as a folder, and only the system's own limits end cycles of links. A dangling link
    /// counts as a file, and so does an entry that can't be checked. A folder that can't be opened
    /// is skipped without a call.
    ///
    /// A name with a backslash is checked and entered as a path, so it may count as a folder. It
    /// isn't entered if it has the component "..", or has nothing but backslashes and dots: such a
    /// path leads out of the folder or to itself, and the walk might never end.
    ///
    /// If an entry's type answers whether it is a folder, no other check is made, so a change of
    /// the folder during the walk may be noticed or not.
    ///
    /// The operations get the path of the folder, which starts with the root up to its first byte
    /// of value 0 and has slashes for backslashes, and the name of the entry. Both texts are valid
    /// during the call only. An exception of an operation ends the walk and leaves `visit`.
    ///
    /// Each level keeps its folder open while its subfolders are walked. If the process has no
    /// descriptor left, the walk reads the remaining entries of its outermost levels into memory
    /// and closes them, so a tree may be deeper than there are descriptors.
    ///
    /// Threads: an object holds the state of one walk, so one thread at a time.
    class QZ_API FileSystemVisitor {
    public:
        /// Makes a visitor that is ready for a walk.
        FileSystemVisitor();
        /// Frees the visitor; no walk may be running.
        virtual ~FileSystemVisitor();
        FileSystemVisitor(const FileSystemVisitor&) = delete;
        FileSystemVisitor& operator=(const FileSystemVisitor&) = delete;

        /// Called after a folder was opened, before its entries. @return false ends the walk.
        virtual bool enterFolder(const std::string& folder) = 0;
        /// Called for each entry that isn't a folder and passes the filter. @return false ends the
        /// walk.
        virtual bool visitFile(const std::string& folder, const std::string& name) = 0;
        /// Called for each subfolder, before it is entered. @return false ends the walk.
        virtual bool visitFolder(const std::string& folder, const std::string& name) = 0;
        /// Called after the last entry of a folder, unless the walk ends before that.
        /// @return false ends the walk.
        virtual bool leaveFolder(const std::string& folder) = 0;

        /// Walks a folder.
        /// @param recursive enters subfolders.
        /// @param extensions only files pass whose names end with one of these, which may be given
        ///     with or without the dot; empty ones are ignored. All files pass if it is null or
        ///     has only empty ones. Folders always pass.
        /// @param ignoreCase compares extensions in lower case, byte by byte, with the C library's
        ///     `tolower`.
        /// @param cancel polled for each extension and before each entry; may be null. A
        ///     cancellation among the extensions adds those before it to the object's next walk.
        /// @return false if an operation returned false or the walk was cancelled; true also for a
        ///     folder that doesn't exist.
        bool visit(const std::string& root, bool recursive,
                   const std::vector<std::string>* extensions, bool ignoreCase,
                   const qzCancelInterfaceReadOnly* cancel);

    private:
        // Private: the recursive work is that of `visitLevel`, which knows the levels above.
        QZ_LOCAL bool visitImpl(const std::string& folder, const qzCancelInterfaceReadOnly* cancel);
        QZ_LOCAL bool visitLevel(filesystem::FolderLevel& level,
                                 const qzCancelInterfaceReadOnly* cancel);
        QZ_LOCAL bool visitSubfolder(filesystem::FolderLevel& level, const std::string& name,
                                     const qzCancelInterfaceReadOnly* cancel);
        QZ_LOCAL bool addExtensions(const std::vector<std::string>& extensions,
                                    const qzCancelInterfaceReadOnly* cancel);
        QZ_LOCAL bool passesFilter(const std::string& name);

        bool mRecursive = false;
        bool mIgnoreCase = false;
        const std::vector<std::string>* mActiveFilter = nullptr;  // null lets every file pass
        std::vector<std::string> mExtensions;                     // each with its dot
        std::string mWorkName;
    };

    /// How `GlobFileAndFolderUtf8` collects; the values may be added.
    enum GlobFlags : int {
        GlobAppend = 1,      ///< Keep what the vectors hold; without it both are emptied first.
        GlobRecursive = 2,   ///< Go down into subfolders.
        GlobBareNames = 4,   ///< Store bare names; without it, names joined to their folders.
        GlobIgnoreCase = 8,  ///< Compare extensions as if they were in lower case.
    };

    /// Collects the entries of a folder, in the order of `FileSystemVisitor`. Note that the vector
    /// of the folders is the first one.
    /// @param folders receives the subfolders; may be null.
    /// @param files receives all other entries; may be null.
    /// @param extensions which files are collected, as for `FileSystemVisitor::visit`; may be null.
    /// @param flags of `GlobFlags`.
    static void GlobFileAndFolderUtf8(const std::string& root, std::vector<std::string>* folders,
                                      std::vector<std::string>* files,
                                      const std::vector<std::string>* extensions, int flags);
};

}  // namespace qz
