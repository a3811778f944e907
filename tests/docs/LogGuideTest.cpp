// SPDX-License-Identifier: MIT
// The code of the guide to the log that uses the second library does what the text says.

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <string>

#include <gtest/gtest.h>

#include <qz/ext/LogTools.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>

#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

namespace guide {

#include "samples/run-with-json-log.inc"

}  // namespace guide

namespace qz::ext {

namespace {

// Compiled only, as it writes below /var/log.
[[maybe_unused]] void installAsInTheHeader()
{
#include "samples/ext/LogTools.1.inc"
}

void reportAsInTheHeader(const std::string& name)
{
#include "samples/ext/PrintableText.1.inc"
}

}  // namespace

TEST(LogGuideTest, WritesWhatTheGuideShows)
{
    const support::ScratchFolder folder;
    const std::string path = folder.getPath("shop.json");
    const support::ChildResult result = support::runInChild([&] {
        initializeQzSystem(FullInit);
        qzLog::msInstance->setEchoToConsole(false);
        guide::runWithJsonLog(path);
        terminateQzSystem();
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    const std::string all = folder.read("shop.json");
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 3);
    EXPECT_NE(all.find("\"text\":\"unknown user eve\\\\nCRITICAL\"}\n"), std::string::npos) << all;
    EXPECT_NE(all.find("\"text\":\"... repeated 99 times\"}\n"), std::string::npos) << all;
    EXPECT_NE(result.err.find("\"level\":\"WARNING\""), std::string::npos) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
}

TEST(LogGuideTest, ReportsATextFromOutsideInOneLine)
{
    const support::LibraryStart library;
    const support::LogCapture capture;
    reportAsInTheHeader("eve\nCRITICAL");
    ASSERT_EQ(capture.getMessages().size(), 1U);
    EXPECT_EQ(capture.getMessages()[0], "unknown user eve\\nCRITICAL");
}

}  // namespace qz::ext
