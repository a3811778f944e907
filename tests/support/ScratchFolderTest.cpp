// SPDX-License-Identifier: MIT
#include "support/ScratchFolder.h"

#include <filesystem>
#include <optional>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Limits.h"

namespace qz::support {

TEST(ScratchFolderTest, GivesBackWhatWasWritten)
{
    const ScratchFolder folder;
    const std::string content("a\0b\n", 4);
    EXPECT_EQ(folder.write("name", content), folder.getPath() + "/name");
    EXPECT_EQ(folder.read("name"), content);
}

TEST(ScratchFolderTest, IsEmptyAndItsOwn)
{
    const ScratchFolder first;
    const ScratchFolder second;
    EXPECT_NE(first.getPath(), second.getPath());
    EXPECT_TRUE(std::filesystem::is_empty(first.getPath()));
}

TEST(ScratchFolderTest, TakesAllItsContentAlong)
{
    std::optional<ScratchFolder> folder(std::in_place);
    const std::string path = folder->getPath();
    std::filesystem::create_directories(folder->getPath("deep/deeper"));
    folder->write("deep/deeper/file", "text");
    folder.reset();
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(ScratchFolderTest, TakesFoldersWithoutRightsAlong)
{
    const ScratchFolder outer;
    std::filesystem::permissions(outer.getPath(), std::filesystem::perms(0777));
    const ChildResult child = runInChild([&outer] {
        becomeNobody();
        const EnvironmentVariable temporary("TMPDIR", outer.getPath());
        const ScratchFolder folder;
        std::filesystem::create_directories(folder.getPath("closed/closed too"));
        folder.write("closed/closed too/file", "text");
        std::filesystem::permissions(folder.getPath("closed/closed too"),
                                     std::filesystem::perms::none);
        std::filesystem::permissions(folder.getPath("closed"), std::filesystem::perms::none);
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0") << child.err;
    EXPECT_TRUE(std::filesystem::is_empty(outer.getPath()));
}

TEST(ScratchFolderTest, ThrowsForAMissingFile)
{
    const ScratchFolder folder;
    EXPECT_THROW(folder.read("missing"), std::runtime_error);
}

}  // namespace qz::support
