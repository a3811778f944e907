// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <string>

#include <sys/types.h>

namespace shared {

/// A file that is written under a name of its own, and gets the name that the user gave only when
/// it is complete. So a reader sees the old file or the whole new one, and a failure keeps the old
/// one.
///
/// The work file is a new file in the folder of the final one: it never replaces a file, and
/// follows no link. A link at the final path is replaced, not followed.
class NewFile {
public:
    /// @param path the final path.
    explicit NewFile(const std::string& path);
    /// Removes the work file unless it was moved.
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /// Makes the work file, empty, for the own user only.
    /// @return false, with the reason in `error`, when that is not possible.
    bool make(std::string& error);
    /// The path to write to.
    const std::string& getWorkPath() const { return mWorkPath; }
    /// Gives the work file the final path, with the permissions of the file that it replaces, or
    /// those of any new file.
    /// @return false, with the reason in `error`, when that is not possible.
    bool moveIntoPlace(std::string& error);
    /// Removes the work file if it was not moved. From any thread, after `make`.
    void remove();

private:
    std::string mPath;
    std::string mWorkPath;
    mode_t mFinalMode = 0;
    std::atomic<bool> mIsMade = false;  // and neither moved nor removed
};

}  // namespace shared
