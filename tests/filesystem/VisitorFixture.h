// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzDirUtils.h>

#include "FolderFixture.h"
#include "PlainWalk.h"
#include "WalkRecorder.h"

namespace qz {

/// The lines of a walk with the usual arguments.
inline std::vector<std::string> walk(const std::string& root)
{
    WalkRecorder recorder;
    EXPECT_TRUE(recorder.walk(root));
    return recorder.getLines();
}

/// The lines of the same walk by the plain form.
inline std::vector<std::string> walkPlainly(const std::string& root)
{
    WalkRecorder recorder;
    EXPECT_TRUE(plain::Walk(recorder, /*recursive=*/true).run(root));
    return recorder.getLines();
}

/// A folder to walk, empty at first, and what to put into it.
class FileSystemVisitorTest : public FolderFixture {
protected:
    FileSystemVisitorTest()
    {
        std::filesystem::create_directory(mRoot);
        std::filesystem::permissions(mRoot, std::filesystem::perms::all);
    }

    /// These take names below that folder.
    void write(const std::string& name) const { mFolder.write("root/" + name, ""); }
    void makeFolder(const std::string& name) const
    {
        std::filesystem::create_directories(mRoot + '/' + name);
    }
    void link(const std::string& target, const std::string& name) const
    {
        std::filesystem::create_symlink(target, mRoot + '/' + name);
    }
    /// Makes three levels, with files on each of them.
    void makeTree() const
    {
        makeFolder("a/b");
        makeFolder("c");
        for (const char* name : {"x", "y", "a/x", "a/y", "a/b/x", "c/x"})
            write(name);
    }
    static constexpr std::size_t kEntriesOfTree = 6 + 5 + 3 + 3;  // with "." and ".."

    /// The names of the files that the filter lets pass.
    std::vector<std::string> walkFiles(const std::vector<std::string>& extensions,
                                       bool ignoreCase) const
    {
        WalkRecorder recorder;
        EXPECT_TRUE(recorder.visit(mRoot, false, &extensions, ignoreCase, nullptr));
        return recorder.getLines("file " + mRoot + " | ");
    }

    std::string mRoot = getPath("root");
};

}  // namespace qz
