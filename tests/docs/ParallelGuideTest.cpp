// SPDX-License-Identifier: MIT
// The code of the guide to the work on all processors does what the text says.

#include <algorithm>
#include <atomic>
#include <cmath>
#include <istream>
#include <list>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ConcurrentPool.h>
#include <qz/ext/ContainerLimits.h>
#include <qz/ext/Parallel.h>
#include <qz/ext/ProgressView.h>
#include <qz/qzCancelInterface.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzProgressNotifier.h>

#include "support/LibraryStart.h"
#include "support/OutputCapture.h"

namespace guide {

namespace {

std::atomic<int> gConverted = 0;
std::atomic<int> gChecked = 0;

void convert(const std::string& /*file*/)
{
    ++gConverted;
}

void check(const std::string& /*file*/)
{
    ++gChecked;
}

std::string decode(const std::string& line)
{
    return line + line;
}

}  // namespace

#include "samples/calculate-roots.inc"

#include "samples/sort-each.inc"

#include "samples/sum-squares.inc"

#include "samples/convert-all.inc"

#include "samples/convert-and-check.inc"

#include "samples/convert-with-bar.inc"

#include "samples/calculate-roots-on.inc"

#include "samples/calculate-roots-in-container.inc"

#include "samples/longest-line.inc"

}  // namespace guide

namespace qz::ext {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class ParallelGuideTest : public ::testing::Test {
protected:
    ParallelGuideTest() { qzLog::msInstance->setEchoToConsole(false); }

    support::LibraryStart mLibrary{FullInit};
    bool mIsCancelled = false;
    qzCancelInterfaceProxy mCancel{mIsCancelled};
    qzProgressNotifierBase mProgress;
    const std::vector<std::string> mFiles = {"a", "b", "c"};
};

TEST_F(ParallelGuideTest, CalculatesRoots)
{
    EXPECT_THAT(guide::calculateRoots({4, 9, 16}), ElementsAre(2, 3, 4));
    EXPECT_THAT(guide::calculateRootsOn(3, {4, 9, 16}), ElementsAre(2, 3, 4));
    EXPECT_THAT(guide::calculateRootsInContainer({4, 9, 16}), ElementsAre(2, 3, 4));
}

TEST_F(ParallelGuideTest, SortsEachList)
{
    std::list<std::vector<int>> lists = {{2, 1}, {}, {5, 3, 4}};
    guide::sortEach(lists);
    EXPECT_THAT(lists, ElementsAre(ElementsAre(1, 2), ElementsAre(), ElementsAre(3, 4, 5)));
}

TEST_F(ParallelGuideTest, SumsSquares)
{
    EXPECT_EQ(guide::sumSquares({1, 2, 3}), 14);
}

TEST_F(ParallelGuideTest, ConvertsFilesWithABar)
{
    const support::StderrCapture capture;
    EXPECT_TRUE(guide::convertWithBar(mFiles, mCancel));
    EXPECT_THAT(capture.getText(), HasSubstr("convert: 100%"));
}

TEST_F(ParallelGuideTest, ConvertsAndChecksFilesWithProgress)
{
    guide::gConverted = 0;
    guide::gChecked = 0;
    EXPECT_TRUE(guide::convertAndCheck(mFiles, mProgress, mCancel));
    EXPECT_EQ(guide::gConverted, 3);
    EXPECT_EQ(guide::gChecked, 3);
    EXPECT_EQ(mProgress.getGlobalProgress(), 1.0F);
}

TEST_F(ParallelGuideTest, StopsOnRequest)
{
    guide::gConverted = 0;
    mCancel.cancel();
    EXPECT_FALSE(guide::convertAndCheck(mFiles, mProgress, mCancel));
    EXPECT_EQ(guide::gConverted, 0);
}

TEST_F(ParallelGuideTest, FindsTheLongestLine)
{
    std::istringstream input("short\nthe longest line\nlonger\n");
    EXPECT_EQ(guide::findLongestLine(input), "the longest linethe longest line");
}

}  // namespace

}  // namespace qz::ext
