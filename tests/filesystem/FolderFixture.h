// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"
#include "support/Limits.h"
#include "support/ScratchFolder.h"

namespace qz {

/// Makes a folder the current one until the end of the scope.
class WorkingFolder {
public:
    explicit WorkingFolder(const std::string& path) { std::filesystem::current_path(path); }
    ~WorkingFolder() { std::filesystem::current_path(mBefore); }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

private:
    std::filesystem::path mBefore = std::filesystem::current_path();
};

/// Runs `body`, with its expectations, in a child process.
template <typename Body>
void expectInChild(const Body& body)
{
    const support::ChildResult child = support::runInChild([&body] {
        body();
        std::fflush(stdout);  // what failed
        return ::testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0") << child.out << child.err;
}

/// Runs `body` in a child process without rights, so that the modes of files hold.
template <typename Body>
void expectAsNobody(const Body& body)
{
    expectInChild([&body] {
        support::becomeNobody();
        body();
    });
}

/// Runs `body` with a started library whose local character set is that of a locale. A process
/// learns it once, so this takes one of its own.
template <typename Body>
void expectInLocale(const char* name, const Body& body)
{
    expectInChild([&] {
        const support::EnvironmentLocale locale(name);
        const support::LibraryStart library;
        body();
    });
}

/// A started library and an empty folder that everybody may use.
class FolderFixture : public ::testing::Test {
protected:
    FolderFixture()
    {
        std::filesystem::permissions(mFolder.getPath(), std::filesystem::perms::all);
    }
    std::string getPath(const std::string& name) const { return mFolder.getPath(name); }

    support::LibraryStart mLibrary;
    support::ScratchFolder mFolder;
};

}  // namespace qz
