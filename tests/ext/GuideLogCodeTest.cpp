// The code of the guide to the log that uses the second library: it is the same as here, and does
// what the guide says.

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/ext/LogTools.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>

#include "ext/GuideBlocks.h"
#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"

namespace guide {

void runWithJsonLog(const std::string& path)
{
    qz::ext::JsonLinesOutlet all(path);
    qz::ext::JsonLinesOutlet trouble(STDERR_FILENO);
    qz::ext::FanOutOutlet both;
    both.addOutlet(all, qz::qzLog::Dev);
    both.addOutlet(trouble, qz::qzLog::Warning);
    qz::ext::ThrottlingOutlet throttled(both);
    const qz::ext::LogOutletInstallation installed(throttled);

    const std::string name = "eve\nCRITICAL";
    for (int i = 0; i != 100; ++i)
        qz::logInfo("login") << "unknown user " << qz::ext::EscapedText(name);
    qz::logWarning() << "closing";
    if (installed.getLostCount() != 0) std::cerr << "entries were lost\n";
}

}  // namespace guide

namespace qz::ext {

TEST(GuideLogCodeTest, IsTheCodeOfThisFile)
{
    const std::string source = readProjectFile("tests/ext/GuideLogCodeTest.cpp");
    const std::vector<std::string> blocks = readGuideBlocks("docs/guide-log.md");
    const auto isHere = [&](const std::string& block) {
        return source.find('\n' + block) != std::string::npos;
    };
    // The others are whole programs, without the second library.
    EXPECT_EQ(std::count_if(blocks.begin(), blocks.end(), isHere), 1);
}

TEST(GuideLogCodeTest, WritesWhatTheGuideShows)
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

}  // namespace qz::ext
