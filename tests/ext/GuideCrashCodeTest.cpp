// The code of the guide to logging in production that installs the crash kit: it is the same as
// here, and does what the guide says.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/ext/CrashKit.h>
#include <qz/ext/LibraryStart.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>

#include "ext/GuideBlocks.h"
#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"

namespace guide {

void installCrashKit(const std::string& folder)
{
    qz::ext::CrashOptions options;
    options.folder = folder;  // for example "/var/lib/shop/crashes"
    qz::ext::SystemFailure failure;
    if (!qz::ext::CrashKit::Install(options, &failure))
        qz::logWarning("shop") << "crashes leave no report: " << failure.toString();
}

}  // namespace guide

namespace qz::ext {

TEST(GuideCrashCodeTest, IsTheCodeOfThisFile)
{
    const std::string source = readProjectFile("tests/ext/GuideCrashCodeTest.cpp");
    const std::vector<std::string> blocks = readGuideBlocks("docs/guide-production.md");
    EXPECT_NE(source.find('\n' + blocks.back()), std::string::npos);
}

TEST(GuideCrashCodeTest, InstallsTheKitOrReportsWhyNot)
{
    const support::ScratchFolder folder;
    const support::ChildResult result = support::runInChild([&folder] {
        const LibraryStart library(FullInit);
        guide::installCrashKit(folder.getPath("reports"));
        EXPECT_TRUE(CrashKit::IsInstalled());
        CrashKit::Remove();
        guide::installCrashKit(folder.write("file", "") + "/below");
        EXPECT_FALSE(CrashKit::IsInstalled());
        qzLog::msInstance->flush();
        return ::testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0") << result.out;
    EXPECT_NE(result.out.find(" : crashes leave no report: realpath "), std::string::npos);
}

}  // namespace qz::ext
