// SPDX-License-Identifier: MIT
// The samples in the headers for texts, values, resources and paths.

#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/AsciiTableBuilder.h>
#include <qz/qzDirUtils.h>
#include <qz/qzLogObject.h>
#include <qz/qzRandomUtils.h>
#include <qz/qzResources.h>
#include <qz/qzStringUtils.h>
#include <qz/qzVariant.h>
#include <qz/qzXRefResolverSearchPath.h>

#include "docs/SampleTest.h"
#include "support/LogCapture.h"

namespace qz::docs {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using TextSampleTest = SampleTest;

TEST_F(TextSampleTest, TableHasTwoRows)
{
    const support::LogCapture log;
#include "samples/AsciiTableBuilder.1.inc"
    EXPECT_THAT(log.getMessages(), ElementsAre(HasSubstr("│ backup │ 1536  │")));
}

TEST_F(TextSampleTest, TextsAreAsTheCommentSays)
{
#include "samples/qzStringUtils.1.inc"
    EXPECT_EQ(path, "C:/temp/log");
    EXPECT_EQ(qzStringUtils::humanizeNumberGeneric(1536L, 3, 2, true, true, false), "1.5k");
    EXPECT_EQ(static_cast<int>(qzStringUtils::compareSoftwareVersion("1.10", "1.9", 2)), 4);
}

TEST_F(TextSampleTest, NameHasRandomDigits)
{
#include "samples/qzRandomUtils.1.inc"
    EXPECT_THAT(name, MatchesRegex("upload-[0-9a-fA-F]{16}"));
}

TEST_F(TextSampleTest, ResourceThatIsMissingIsNotShown)
{
    const support::LogCapture log;
    bool isShown = false;
    const auto show = [&](const std::string&) { isShown = true; };
#include "samples/qzResources.1.inc"
    EXPECT_FALSE(isShown);
}

TEST_F(TextSampleTest, TreeIsReadByPath)
{
#include "samples/qzVariant.1.inc"
    EXPECT_EQ(tree.getMap()->findPathImpl("log/level", '/')->toInteger(), 2);
}

TEST_F(TextSampleTest, MapKeepsBothFiles)
{
#include "samples/qzVariant.2.inc"
    EXPECT_EQ(map.toString(), "(file=a.txt b.txt),(window=(width=1024))");
}

bool openDoor(std::string& opened)
{
    const auto open = [&](const std::string& path) { opened = path; };
#include "samples/qzXRefResolverSearchPath.1.inc"
    return true;
}

TEST_F(TextSampleTest, StalePathIsFound)
{
    std::string opened;
    EXPECT_TRUE(openDoor(opened));
    EXPECT_EQ(opened, "") << "there is no project";
    qzDirUtils::MkpathUtf8("./home/me/project/parts");
    mFolder.write("home/me/project/parts/door.asm", "");
    EXPECT_TRUE(openDoor(opened));
    EXPECT_THAT(opened, HasSubstr("home/me/project/parts/door.asm"));
}

}  // namespace

}  // namespace qz::docs
