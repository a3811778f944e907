// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <sys/types.h>

#include <qz/ext/SystemFailure.h>

#include "Target.h"

namespace qz::ext {

/// A new file in the folder of its target. It takes the place of the target as a whole, or is
/// removed. After a failure, `discard` is all that may follow.
class WorkFile {
public:
    WorkFile() = default;
    ~WorkFile() { discard(); }
    WorkFile(const WorkFile&) = delete;
    WorkFile& operator=(const WorkFile&) = delete;

    /// Makes the file, after discarding the one before. `path` is in UTF-8.
    bool open(const std::string& path, SystemFailure& failure);
    /// Whether the file waits for `commit`; false in a child of `fork`.
    bool isOpen() const { return mFile.isOpen(); }
    int getDescriptor() const { return mFile.get(); }
    /// The target as it was at `open`.
    const Target& getTarget() const { return mTarget; }

    bool write(std::string_view bytes, SystemFailure& failure);
    /// Writes what is left to read of a file, whose path is for the failure.
    bool copyFrom(int source, const std::string& sourcePath, SystemFailure& failure);
    /// Chooses the mode in place of that of the target.
    void setMode(mode_t mode) { mChosenMode = mode; }

    /// Takes the place of the target.
    bool commit(SystemFailure& failure);
    /// Whether the target was replaced, also by a `commit` that failed after that.
    bool isInPlace() const { return mIsInPlace; }
    /// Removes the file if it isn't in place, and if this is the process that has made it.
    void discard();

private:
    bool make(SystemFailure& failure);
    bool findNewMode(SystemFailure& failure);
    bool takeOwner(SystemFailure& failure);
    bool takeAccessList(SystemFailure& failure);
    bool refuse(const char* step, int error, SystemFailure& failure) const;

    std::string mPath;
    Target mTarget;
    std::string mName;
    OwnDescriptor mFile;
    mode_t mMode = 0;  // if there is no target at the time of `commit`
    std::optional<mode_t> mChosenMode;
    bool mIsInPlace = false;
    pid_t mMakersProcess = 0;
};

}  // namespace qz::ext
