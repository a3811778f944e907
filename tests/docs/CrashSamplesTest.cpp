// SPDX-License-Identifier: MIT
// The samples about crashes: of the guide to logging in production, and of the header.

#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <qz/ext/CrashKit.h>
#include <qz/ext/LibraryStart.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>

#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"

namespace guide {

#include "samples/install-crash-kit.inc"

}  // namespace guide

namespace qz::docs {

namespace {

void installAsInTheHeader(const std::string& folder)
{
#include "samples/ext/CrashKit.1.inc"
    EXPECT_EQ(ext::CrashKit::IsInstalled(), !failure) << failure.toString();
    ext::CrashKit::Remove();
}

bool isWorkDone = false;

void doWork()
{
    isWorkDone = true;
}

}  // namespace

TEST(CrashSampleTest, InstallsTheKitOrReportsWhyNot)
{
    const support::ScratchFolder folder;
    const support::ChildResult result = support::runInChild([&folder] {
        const ext::LibraryStart library(FullInit);
        guide::installCrashKit(folder.getPath("reports"));
        EXPECT_TRUE(ext::CrashKit::IsInstalled());
        ext::CrashKit::Remove();
        guide::installCrashKit(folder.write("file", "") + "/below");
        EXPECT_FALSE(ext::CrashKit::IsInstalled());
        qzLog::msInstance->flush();
        return ::testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0") << result.out;
    EXPECT_NE(result.out.find(" : crashes leave no report: realpath "), std::string::npos);
}

TEST(CrashSampleTest, InstallsTheKitAfterTheFullStart)
{
    const support::ScratchFolder folder;
    const support::ChildResult result = support::runInChild([&folder] {
        installAsInTheHeader(folder.getPath());
        return ::testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0") << result.out;
}

TEST(CrashSampleTest, GivesAThreadItsStack)
{
#include "samples/ext/CrashKit.2.inc"
    worker.join();
    EXPECT_TRUE(isWorkDone);
}

}  // namespace qz::docs
