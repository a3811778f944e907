#pragma once

#include <string>
#include <vector>

#include <qz/qzExport.h>

namespace qz {

class qzCancelInterfaceReadOnly;

/// What one look at a path says about it.
///
/// A plain value; times are in whole seconds since the epoch.
class QZ_API qzFileInfoUtf8 {
public:
    std::string path;           ///< As it was asked for.
    long lastAccessTime;        ///< When the content was last read.
    long lastStatusChangeTime;  ///< When owner, mode, links or content last changed.
    long lastModificationTime;  ///< When the content last changed.
    unsigned long size;         ///< In bytes.
    bool exists : 1;            ///< Whether anything stands there; false clears all the rest.
    bool isFile : 1;            ///< Whether it is a regular file.
    bool isDirectory : 1;       ///< Whether it is a folder.

    /// Makes an empty record: no path, all numbers 0, all bits clear.
    qzFileInfoUtf8();
    /// Makes the record empty again.
    void clearInfos();
    /// Compares all fields. Two records of missing files are equal, whatever was asked for.
    bool operator==(const qzFileInfoUtf8& other) const;
};

/// Questions and operations on paths, files and folders.
///
/// Paths are UTF-8, and slashes part them. Some of the operations on texts take a backslash for a
/// separator too and others don't; each says so. An operation with "Utf8" in its name converts the
/// path to the process's character set for the system, and what comes back from there to UTF-8. A
/// path that can't be converted reads as the empty one there, which names nothing.
///
/// Nothing here throws for a bad path or a failed call. A failure leaves `errno` as the failed call
/// of the system set it. Where there is a parameter `errorMsg`, it may be null.
/// Threads: every call from any thread; the current folder, the environment and the umask belong to
/// the whole process.
class QZ_API qzDirUtils {
public:
    qzDirUtils() = delete;

    // --- Paths as texts

    /// Joins two parts with one slash, unless one of them has a separator there already.
    ///
    /// Backslashes count as separators at the joint. When both parts have a separator there, the
    /// second part loses its one: "a//" and "//b" give "a///b". An empty part adds nothing.
    static std::string JoinPath(const std::string& left, const std::string& right);
    /// Joins the join of the first two parts with the third.
    static std::string JoinPath(const std::string& first, const std::string& second,
                                const std::string& third);
    /// Joins the join of the first two parts with the join of the last two.
    static std::string JoinPath(const std::string& first, const std::string& second,
                                const std::string& third, const std::string& fourth);

    /// Gives the path without what doesn't matter to it: backslashes become slashes, doubled and
    /// closing slashes go, and so do "." and each ".." together with the component before it.
    ///
    /// Only the text counts: where a component is a link, ".." behind it leads elsewhere on the
    /// disk. A "." that comes first stays, also behind the root: "./a", "/./a". A ".." with nothing
    /// to take away stays: "../a", "./../a", and "/../a", which is not made "/a". The result may be
    /// empty: "a/..". Takes time linear in the path.
    static std::string SimplifyPath(const std::string& path);

    /// Gives the extension of a path's file name, without a dot ahead of it: "gz" for
    /// "archive.tar.gz", nothing for ".bashrc".
    ///
    /// Slashes and backslashes end the folder. What is ahead of the first dot is never part of the
    /// extension, and neither is what follows the dot of a hidden file up to the next.
    /// @param lowerCase makes the extension lower case, byte by byte, as the C library's `tolower`
    ///     has it.
    /// @param partCount how many parts of the name there may be in the extension; with 2
    ///     "archive.tar.gz" gives "tar.gz". Below 2 it is one part, or two where the last one is a
    ///     number in the notation of C or empty: "archive.tar.001" gives "tar.001".
    /// @return empty when there is none, and for a file name of more than 65535 parts.
    static std::string ExtractFileExtension(const std::string& path, bool lowerCase, int partCount);
    /// Gives the file name up to its last dot: "b.tar" for "a/b.tar.gz", nothing for ".hidden".
    /// Slashes and backslashes end the folder.
    static std::string ExtractFileBaseName(const std::string& path);
    /// Gives what stands ahead of the last slash or backslash, with all backslashes made slashes;
    /// nothing for "/a", as for "a".
    static std::string ExtractFolder(const std::string& path);
    /// Cuts a path at its last slash or backslash; other backslashes stay as they are.
    /// @param folder becomes what stands ahead of the cut; empty when there is none.
    /// @param fileName becomes what stands behind it; the whole path when there is none.
    static void SplitFolderFilename(const std::string& path, std::string& folder,
                                    std::string& fileName);
    /// Gives what stands ahead of the last slash; nothing when there is none. A backslash is an
    /// ordinary character here: `a\b` has no parent.
    static std::string GetParentPathUtf8(const std::string& path);

    /// Tells whether a path doesn't begin with a slash. "C:/x" doesn't, and neither does `\x`.
    static bool IsPathRelativeUtf8(const std::string& path);

    /// Replaces each of the bytes `"*/:<>?\|` by `replacement`, so that other systems take the text
    /// for a file name as well. Control characters and all else stay.
    static void GenerateValidFileName(std::string& text, char replacement);
    /// The same in a copy.
    static std::string GenerateValidFileName(const std::string& text, char replacement);

    // --- Paths and where they lead

    /// Makes a path absolute, after `SimplifyPath`. The empty path is ".".
    ///
    /// A relative path with a base is joined to that, and if an absolute path comes of it, that is
    /// the result as it stands: the disk isn't asked, and base "/a/b" with "../c" gives
    /// "/a/b/../c". "C:/x" counts as absolute.
    ///
    /// Any other path is taken from the current folder. Links in the part of it that exists are
    /// resolved, and what doesn't exist is kept behind that. Nothing may come of it: a path of
    /// several components, the first of which doesn't exist, gives an empty result, while one
    /// component alone is put behind the current folder.
    /// @param result becomes the absolute path, or empty.
    /// @param base a folder; may be empty.
    /// @return true, also for an empty result.
    static bool GetAbsolutePathUtf8(const std::string& path, std::string& result,
                                    const std::string& base);
    /// The same as a result; empty on failure.
    static std::string GetAbsolutePathUtf8(const std::string& path, const std::string& base);

    /// Makes a path relative to a folder that holds it, and never climbs out of that.
    ///
    /// Both are made absolute as `GetAbsolutePathUtf8` does. A path that is relative already counts
    /// from the base, and is not simplified together with it: "../x" from "/a" gives "../x". Below
    /// the base "/" no absolute path is found.
    /// @param result becomes the path behind the base; empty on failure.
    /// @return false when the path isn't below the base.
    static bool GetRelativePathUtf8(const std::string& path, std::string& result,
                                    const std::string& base);
    /// The same as a result; empty on failure.
    static std::string GetRelativePathUtf8(const std::string& path, const std::string& base);

    /// Tells whether a path lies on a file system of NFS or FUSE.
    /// @param path in the process's character set, not in UTF-8.
    /// @return false when the system can't tell, as for a missing file.
    static bool IsNetworkPath(const std::string& path);

    // --- Files and folders

    /// Tells whether anything stands at `path`: a file, a folder, a device.
    ///
    /// Links are followed, so a link whose target is missing doesn't count. A path that can't be
    /// converted to the process's character set doesn't exist.
    static bool FileExistsUtf8(const std::string& path);
    /// Tells whether a folder stands at `path`, or a link to one, after `SimplifyPath`.
    static bool DirExistsUtf8(const std::string& path);
    /// Looks at a path, following links.
    /// @param info receives what was found; it is empty, without the path, when nothing was.
    static void GetFileInfoUtf8(const std::string& path, qzFileInfoUtf8& info);

    /// Makes a folder and those above it that are missing, with all permissions that the umask
    /// leaves.
    /// @return true when the folder is there; false at the first one that can't be made, with those
    ///     above it left. A file in the way gives ENOTDIR in `errno`. Of two processes that make
    ///     the same folders one may fail with EEXIST.
    static bool MkpathUtf8(const std::string& path);

    /// Copies the content of a file, without its permissions and times.
    ///
    /// Errors of reading and writing after both files are open go unseen.
    /// @param overwrite empties a destination that is there; without it, a destination that is
    ///     there fails the copy, with a text that speaks of a missing source.
    /// @param errorMsg receives the reason of a failure; empty on success.
    static bool CopyFileUtf8(const std::string& source, const std::string& destination,
                             bool overwrite, std::string* errorMsg);
    /// Renames a file or folder within its file system, and replaces what has the new name.
    /// @param errorMsg receives the reason of a failure, else stays as it is.
    static bool RenameFileUtf8(const std::string& oldPath, const std::string& newPath,
                               std::string* errorMsg);
    /// Removes a file, a link or an empty folder. The empty path is removed already.
    /// @param errorMsg receives the reason of a failure, as of a missing file; empty on success.
    static bool RemoveFileUtf8(const std::string& path, std::string* errorMsg);
    /// Removes all that a folder holds.
    ///
    /// Links to folders are entered, so what they lead to is emptied too. The first entry that
    /// can't be removed ends the work, with what was removed until then gone.
    /// @param removeFolder removes the folder as well; that is tried even after a failure.
    /// @param errorMsg receives the reason of the first failure, or "Canceled"; empty on success.
    /// @param cancel asked before each entry and at the end of each folder; may be null.
    /// @return true for a folder that isn't there; false after a failure and when cancelled.
    static bool ClearFolderUtf8(const std::string& folder, bool removeFolder, std::string* errorMsg,
                                const qzCancelInterfaceReadOnly* cancel);

    /// Makes an empty file with a new name for nobody but the user; the caller removes it.
    /// @param prefix the file's name begins with it; six characters of chance follow.
    /// @return the path of the file; empty on failure.
    static std::string GetTempFileUtf8(const std::string& folder, const std::string& prefix);
    /// The same with a text behind the characters of chance. These have to end the name, so any
    /// suffix but the empty one fails, and callers rely on the empty result.
    static std::string GetTempFileUtf8(const std::string& folder, const std::string& prefix,
                                       const std::string& suffix);

    /// Adds the permissions to read, write and execute for everybody.
    static bool GrantAllFilePermissionsUtf8(const std::string& path);
    /// Gives how many bytes are free where a path lies, with those that are kept for the superuser.
    /// @param errorMsg always becomes empty.
    /// @return 0 on failure.
    static unsigned long GetAvailableDiskSizeUtf8(const std::string& path, std::string& errorMsg);
    /// Gives the path itself, as a path has one spelling only on this system.
    static std::string GetActualPathNameUtf8(const std::string& path);

    // --- Well-known folders. Nothing here makes one.

    /// Gives the value of the variable TMPDIR, even an empty one, or "/tmp" without it.
    static std::string GetTempFolderUtf8();
    /// Gives the current folder; empty on failure.
    static std::string GetCurrentWorkingDirUtf8();
    /// Changes the current folder.
    static bool SetCurrentWorkingDirUtf8(const std::string& path);
    /// Gives the folder of the running program's file.
    /// @param folder receives it; empty on failure.
    static bool GetProcessFolderUtf8(std::string& folder);

    /// Gives "Documents" in the user's folder if there is such a folder, or else the user's folder.
    ///
    /// The user's folder is the value of the variable HOME as it stands, in the process's character
    /// set, or "." without it.
    static std::string GetDocumentsFolderUtf8();
    /// Gives "Pictures" in the user's folder, whether or not it exists. See
    /// `GetDocumentsFolderUtf8`.
    static std::string GetPicturesFolderUtf8();
    /// Gives "Downloads" in the user's folder, whether or not it exists. See
    /// `GetDocumentsFolderUtf8`.
    static std::string GetDownloadFolderUtf8();
    /// Gives the hidden folder of an application in the user's folder, or its name behind a dot
    /// without HOME, whether or not it exists. This one is converted to UTF-8.
    /// @param applicationName in the process's character set too.
    static std::string GetAppDataFolderUtf8(const std::string& applicationName);

    // --- Walks

    /// Walks a folder, and calls its subclass for all that is met there.
    ///
    /// Entries come in the order in which the system delivers them; a subfolder is walked at the
    /// point where it was met. "." and ".." are never met, nor is a name that can't be converted to
    /// UTF-8, nor a lone backslash, which leads from a folder to itself. A link to a folder counts
    /// as a folder, and nothing guards against cycles of links but the system's own limits. A
    /// dangling link counts as a file, and so does all that can't be looked at. A folder that can't
    /// be opened is skipped without a call.
    ///
    /// What an entry is comes from the folder where that is as good as a look at the object: a
    /// change of the folder during the walk may be seen or not.
    ///
    /// The operations get the folder's path as it was reached from the root, with slashes for
    /// backslashes, and the bare name. Both texts are good for the call only. An exception of
    /// theirs ends the walk and comes out of `visit`. A level keeps its folder open while its
    /// subfolders are walked, so depth costs descriptors.
    ///
    /// Threads: an object holds the state of one walk, so one thread at a time.
    class QZ_API FileSystemVisitor {
    public:
        /// Makes a visitor that is ready for a walk.
        FileSystemVisitor();
        /// Frees the visitor; no walk may be under way.
        virtual ~FileSystemVisitor();
        FileSystemVisitor(const FileSystemVisitor&) = delete;
        FileSystemVisitor& operator=(const FileSystemVisitor&) = delete;

        /// Called when a folder was opened, ahead of its entries. @return false ends the walk.
        virtual bool enterFolder(const std::string& folder) = 0;
        /// Called for each entry that is no folder and passes the filter. @return false ends the
        /// walk.
        virtual bool visitFile(const std::string& folder, const std::string& name) = 0;
        /// Called for each subfolder, before it is entered. @return false ends the walk.
        virtual bool visitFolder(const std::string& folder, const std::string& name) = 0;
        /// Called behind the last entry of a folder, but not when the walk ends before that.
        /// @return false ends the walk.
        virtual bool leaveFolder(const std::string& folder) = 0;

        /// Walks a folder.
        /// @param recursive enters subfolders.
        /// @param extensions lets only those files pass whose names end with one of these, with or
        ///     without the dot ahead; empty ones don't count. Null, or with nothing that counts,
        ///     lets all pass. Folders always pass.
        /// @param ignoreCase compares extensions in lower case, byte by byte, as the C library's
        ///     `tolower` has it.
        /// @param cancel asked for each extension and ahead of each entry; may be null. An end that
        ///     comes among the extensions leaves those ahead of it to the object's next walk.
        /// @return false when an operation said so, or when it was cancelled; true for a folder
        ///     that isn't there.
        bool visit(const std::string& root, bool recursive,
                   const std::vector<std::string>* extensions, bool ignoreCase,
                   const qzCancelInterfaceReadOnly* cancel);

    private:
        bool visitImpl(const std::string& folder, const qzCancelInterfaceReadOnly* cancel);
        bool visitSubfolder(const std::string& folder, const std::string& name,
                            const qzCancelInterfaceReadOnly* cancel);
        bool addExtensions(const std::vector<std::string>& extensions,
                           const qzCancelInterfaceReadOnly* cancel);
        bool passesFilter(const std::string& name);

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

    /// Collects what a folder holds, in the order of `FileSystemVisitor`. Note that the folders
    /// come first.
    /// @param folders receives the subfolders; may be null.
    /// @param files receives what is no folder; may be null.
    /// @param extensions which files to take, as for `FileSystemVisitor::visit`; may be null.
    /// @param flags of `GlobFlags`.
    static void GlobFileAndFolderUtf8(const std::string& root, std::vector<std::string>* folders,
                                      std::vector<std::string>* files,
                                      const std::vector<std::string>* extensions, int flags);
};

}  // namespace qz
