// SPDX-License-Identifier: MIT
// Reports without a logger.

#include <unistd.h>

#include <iostream>
#include <optional>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzLogObject.h>

#include "log/ConsoleRecorder.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/OutputCapture.h"

namespace qz {

using support::LibraryStart;
using support::LogCapture;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

class qzLogObjectAloneTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(qzLog::msInstance, nullptr); }

    const std::string mLine = " PID " + std::to_string(::getpid()) + " [^ ].* : text";
    const support::StderrCapture mErrors;
    const ConsoleRecorder mConsole;
};

TEST_F(qzLogObjectAloneTest, WritesAndFlushesItsLineToTheStandardOutput)
{
    logInfo("channel") << "text";
    EXPECT_THAT(mConsole.getFlushedText(), MatchesRegex("INFO\\(channel\\)" + mLine + "\n"));
    EXPECT_EQ(mConsole.getFlushCount(), 1);
    EXPECT_EQ(mErrors.getText(), "");
}

TEST_F(qzLogObjectAloneTest, WritesEveryType)
{
    logDev() << "text";
    logTrace() << "text";
    logDebug() << "text";
    logWarning() << "text";
    logCritical() << "text";
    EXPECT_THAT(mConsole.getText(),
                MatchesRegex("DEV" + mLine + "\nTRACE" + mLine + "\nDEBUG" + mLine + "\nWARNING" +
                             mLine + "\nCRITICAL" + mLine + "\n"));
    EXPECT_THAT(mConsole.getText(), ::testing::Not(HasSubstr(" TID ")));
}

TEST_F(qzLogObjectAloneTest, WritesATaggedReportToTheStandardErrorStreamOnly)
{
    logCritical(nullptr, "tag") << "text";
    EXPECT_THAT(mErrors.getText(), MatchesRegex("tag : CRITICAL" + mLine + "\n"));
    EXPECT_EQ(mConsole.getText(), "");
}

TEST_F(qzLogObjectAloneTest, DropsATaggedDebugReport)
{
    logDebug(nullptr, "tag") << "text";
    EXPECT_EQ(mErrors.getText(), "");
    EXPECT_EQ(mConsole.getText(), "");
}

TEST_F(qzLogObjectAloneTest, DropsAnEmptyText)
{
    logCritical() << "";
    EXPECT_EQ(mConsole.getFlushCount(), 0);
}

TEST_F(qzLogObjectAloneTest, SpeaksAgainAfterAStop)
{
    {
        const LibraryStart library(FullInit);
        logInfo() << "text";
    }
    logInfo() << "text";
    logInfo(nullptr, "tag") << "text";
    EXPECT_THAT(mConsole.getText(), MatchesRegex("INFO" + mLine + "\nINFO" + mLine + "\n"));
    EXPECT_THAT(mErrors.getText(), MatchesRegex("tag : INFO" + mLine + "\n"));
}

TEST_F(qzLogObjectAloneTest, StaysWithoutALoggerThatComesAfterItsBeginning)
{
    std::optional<qzLogObject> report(std::in_place, qzLog::Info);
    *report << "text";
    const LibraryStart library;
    const LogCapture log;
    report.reset();
    EXPECT_THAT(log.getEntries(), IsEmpty());
    EXPECT_THAT(mConsole.getText(), MatchesRegex("INFO" + mLine + "\n"));
}

TEST_F(qzLogObjectAloneTest, IgnoresTheFormatOfTheStandardErrorStream)
{
    std::cerr.width(200);
    logInfo(nullptr, "tag") << "text";
    std::cerr.width(0);
    EXPECT_THAT(mErrors.getText(), MatchesRegex("tag : INFO" + mLine + "\n"));
}

}  // namespace qz
