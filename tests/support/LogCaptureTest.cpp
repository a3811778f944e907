// SPDX-License-Identifier: MIT
#include "support/LogCapture.h"

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzLogObject.h>

#include "support/LibraryStart.h"
#include "support/OutputCapture.h"

namespace qz::support {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(LogCaptureTest, CollectsEntriesAndKeepsTheConsoleQuiet)
{
    const LibraryStart library;
    const StdoutCapture console;
    LogCapture log;
    logInfo("channel") << "first";
    logCritical() << "second";
    EXPECT_THAT(log.getLines(), ElementsAre("INFO(channel) first", "CRITICAL second"));
    EXPECT_THAT(log.getMessages(), ElementsAre("first", "second"));
    EXPECT_EQ(log.getEntries().at(0).subType, "channel");
    EXPECT_EQ(console.getText(), "");
    log.clear();
    EXPECT_THAT(log.getEntries(), IsEmpty());
}

TEST(LogCaptureTest, SetsTheLevelAndPutsItBack)
{
    const LibraryStart library;
    {
        const LogCapture log(LogLevelAll);
        logTrace() << "shown";
        EXPECT_THAT(log.getMessages(), ElementsAre("shown"));
    }
    EXPECT_EQ(qzLog::msInstance->getLogLevel(), LogLevelNormal);
}

TEST(LogCaptureTest, GivesTheConsoleBackAtItsEnd)
{
    const LibraryStart library;
    {
        const LogCapture log;
    }
    const StdoutCapture console;
    logInfo() << "on the console";
    EXPECT_THAT(console.getText(), HasSubstr("on the console"));
}

TEST(LogCaptureTest, RefusesAStoppedLibraryAndASecondCapture)
{
    EXPECT_THROW(LogCapture(), std::logic_error);
    const LibraryStart library;
    const LogCapture log;
    EXPECT_THROW(LogCapture(), std::logic_error);
}

TEST(LibraryStartTest, StartsInTheStrengthAskedForAndStops)
{
    {
        const LibraryStart library;
        EXPECT_NE(qzLog::msInstance, nullptr);
        EXPECT_FALSE(IsQzSystemThreadSafe());
    }
    EXPECT_EQ(qzLog::msInstance, nullptr);
    const LibraryStart library(FullInit);
    EXPECT_TRUE(IsQzSystemThreadSafe());
}

}  // namespace qz::support
