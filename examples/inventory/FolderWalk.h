// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <qz/qzDirUtils.h>
#include <qz/qzProgressNotifier.h>

#include "Problems.h"

namespace inventory {

/// Walks folders and everything below them, and reports what can't be walked or named.
///
/// Each folder is a visit of its own, as the library's recursion follows links to folders, round in
/// circles too, and passes by what it can't open.
class FolderWalk : private qz::qzDirUtils::FileSystemVisitor {
public:
    /// Receives the path of each file. @return false to end the walk.
    using TakeFile = std::function<bool(const std::string& path)>;

    /// @param progress its current step is a walk; it is also what cancels one.
    FolderWalk(qz::qzProgressNotifierInterface& progress, Problems& problems, TakeFile takeFile);

    /// @return false when the walk was cancelled, or ended by the receiver.
    bool walk(const std::string& root);

    /// The links to folders that were met, and not followed.
    unsigned long getLinkCount() const { return mLinkCount; }

private:
    // A folder to walk, and its part of the walk.
    struct Pending {
        std::string path;
        double share;
    };

    bool walkFolder(const std::string& folder);
    void tellUnmetNames(const std::string& folder);

    bool enterFolder(const std::string& folder) override;
    bool visitFile(const std::string& folder, const std::string& name) override;
    bool visitFolder(const std::string& folder, const std::string& name) override;
    bool leaveFolder(const std::string& folder) override;

    qz::qzProgressNotifierInterface& mProgress;
    Problems& mProblems;
    TakeFile mTakeFile;
    std::vector<Pending> mPending;
    bool mIsEntered = false;
    unsigned long mLinkCount = 0;
};

}  // namespace inventory
