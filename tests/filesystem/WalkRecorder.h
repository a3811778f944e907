// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <qz/qzCancelInterface.h>
#include <qz/qzDirUtils.h>

namespace qz {

/// Keeps each call of a walk as a line, and may say stop at one of them.
class WalkRecorder : public qzDirUtils::FileSystemVisitor {
public:
    /// Called with each line, after it was kept.
    using Reaction = std::function<void(const std::string& line)>;

    explicit WalkRecorder(std::size_t stopAt = 0) : mStopAt(stopAt) {}

    bool enterFolder(const std::string& folder) override { return keep("enter " + folder); }
    bool visitFile(const std::string& folder, const std::string& name) override
    {
        return keep("file " + folder + " | " + name);
    }
    bool visitFolder(const std::string& folder, const std::string& name) override
    {
        return keep("folder " + folder + " | " + name);
    }
    bool leaveFolder(const std::string& folder) override { return keep("leave " + folder); }

    /// Walks with the usual arguments.
    bool walk(const std::string& root, bool recursive = true)
    {
        return visit(root, recursive, nullptr, false, nullptr);
    }

    void setReaction(const Reaction& reaction) { mReaction = reaction; }
    const std::vector<std::string>& getLines() const { return mLines; }
    /// The lines that begin so, without their beginning.
    std::vector<std::string> getLines(const std::string& beginning) const
    {
        std::vector<std::string> rests;
        for (const std::string& line : mLines)
            if (line.rfind(beginning, 0) == 0) rests.push_back(line.substr(beginning.size()));
        return rests;
    }
    void clear() { mLines.clear(); }

private:
    bool keep(const std::string& line)
    {
        mLines.push_back(line);
        if (mReaction) mReaction(line);
        return mLines.size() != mStopAt;
    }

    std::size_t mStopAt;
    Reaction mReaction;
    std::vector<std::string> mLines;
};

/// Asks for an end from one question on; the first one is 1.
class CancelFrom : public qzCancelInterfaceReadOnly {
public:
    explicit CancelFrom(std::size_t question) : mQuestion(question) {}
    bool shouldCancel() const override { return ++mAsked >= mQuestion; }
    std::size_t getAsked() const { return mAsked; }

private:
    std::size_t mQuestion;
    mutable std::size_t mAsked = 0;
};

}  // namespace qz
