// The code of the guide to the work on all processors: it is the same as here, and does what the
// guide says.

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

#include "ext/GuideBlocks.h"
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

std::vector<double> calculateRoots(const std::vector<double>& squares)
{
    std::vector<double> roots(squares.size());
    qz::ext::parallelFor(0, squares.size(),
                         [&](std::size_t i) { roots[i] = std::sqrt(squares[i]); });
    return roots;
}

void sortEach(std::list<std::vector<int>>& lists)
{
    qz::ext::parallelForEach(lists,
                             [](std::vector<int>& list) { std::sort(list.begin(), list.end()); });
}

double sumSquares(const std::vector<double>& values)
{
    const auto square = [&](std::size_t i) { return values[i] * values[i]; };
    const auto add = [](double left, double right) { return left + right; };
    return qz::ext::parallelReduce(0, values.size(), 0.0, square, add).value;
}

bool convertAll(const std::vector<std::string>& files, qz::qzProgressNotifierInterface& progress,
                const qz::qzCancelInterfaceReadOnly& cancel)
{
    qz::ext::ParallelOptions options;
    options.notifier = &progress;
    options.cancel = &cancel;
    const auto result = qz::ext::parallelForEach(files, convert, options);
    if (!result) qz::logInfo() << "cancelled after " << result.doneCount << " files";
    return result.isComplete;
}

bool convertAndCheck(const std::vector<std::string>& files,
                     qz::qzProgressNotifierInterface& progress,
                     const qz::qzCancelInterfaceReadOnly& cancel)
{
    qz::qzProgressNotifierGroupCloser closer;
    progress.beginStepGroupWeights({3, 1}, 1, &closer);  // converting takes three times as long
    if (!convertAll(files, progress, cancel)) return false;
    progress.changeCurrentStep(1, 1);
    qz::ext::ParallelOptions options;
    options.notifier = &progress;
    options.cancel = &cancel;
    return qz::ext::parallelForEach(files, check, options).isComplete;
}

bool convertWithBar(const std::vector<std::string>& files,
                    const qz::qzCancelInterfaceReadOnly& cancel)
{
    qz::ext::ProgressViewOptions shown;
    shown.title = "convert";
    shown.unit = " files";
    shown.total = static_cast<double>(files.size());
    qz::ext::ProgressView view(shown, &cancel);
    return convertAll(files, view, cancel);
}

std::vector<double> calculateRootsOn(unsigned int workers, const std::vector<double>& squares)
{
    std::vector<double> roots(squares.size());
    qz::ConcurrentPool pool(workers);
    qz::ext::ParallelOptions options;
    options.pool = &pool;
    qz::ext::parallelFor(
        0, squares.size(), [&](std::size_t i) { roots[i] = std::sqrt(squares[i]); }, options);
    return roots;
}

std::vector<double> calculateRootsInContainer(const std::vector<double>& squares)
{
    return calculateRootsOn(qz::ext::ContainerLimits::Read().processors, squares);
}

class LongestLine : public qz::ConcurrentPool::SolverBase {
public:
    LongestLine(std::istream& input, std::string& longest) : mInput(input), mLongest(longest) {}

    void solve(qz::qzMutex& mutex, qz::qzWaitCondition& /*solverCondition*/) override
    {
        std::string line;
        while (std::getline(mInput, line)) {  // with the mutex locked
            mutex.unlock();
            const std::string text = decode(line);  // the work itself
            mutex.lock();
            if (text.size() > mLongest.size()) mLongest = text;
        }
    }

private:
    std::istream& mInput;
    std::string& mLongest;
};

std::string findLongestLine(std::istream& input)
{
    std::string longest;
    qz::ConcurrentPool& pool = *qz::concurrent::GetConcurrentPool();
    std::list<LongestLine> solvers;  // a solver can't be copied
    std::vector<qz::ConcurrentPool::SolverBase*> pointers;
    for (unsigned int i = 0; i < pool.getWorkerCount(); ++i)
        pointers.push_back(&solvers.emplace_back(input, longest));
    pool.runSolvers(pointers);
    return longest;
}

}  // namespace guide

namespace qz::ext {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class GuideParallelCodeTest : public ::testing::Test {
protected:
    GuideParallelCodeTest() { qzLog::msInstance->setEchoToConsole(false); }

    support::LibraryStart mLibrary{FullInit};
    bool mIsCancelled = false;
    qzCancelInterfaceProxy mCancel{mIsCancelled};
    qzProgressNotifierBase mProgress;
    const std::vector<std::string> mFiles = {"a", "b", "c"};
};

TEST_F(GuideParallelCodeTest, IsTheCodeOfThisFile)
{
    const std::string source = readProjectFile("tests/ext/GuideParallelCodeTest.cpp");
    const std::vector<std::string> blocks = readGuideBlocks("docs/guide-parallel.md");
    EXPECT_EQ(blocks.size(), 9U);
    for (const std::string& block : blocks)
        EXPECT_NE(source.find('\n' + block), std::string::npos) << block;
}

TEST_F(GuideParallelCodeTest, CalculatesRoots)
{
    EXPECT_THAT(guide::calculateRoots({4, 9, 16}), ElementsAre(2, 3, 4));
    EXPECT_THAT(guide::calculateRootsOn(3, {4, 9, 16}), ElementsAre(2, 3, 4));
    EXPECT_THAT(guide::calculateRootsInContainer({4, 9, 16}), ElementsAre(2, 3, 4));
}

TEST_F(GuideParallelCodeTest, SortsEachList)
{
    std::list<std::vector<int>> lists = {{2, 1}, {}, {5, 3, 4}};
    guide::sortEach(lists);
    EXPECT_THAT(lists, ElementsAre(ElementsAre(1, 2), ElementsAre(), ElementsAre(3, 4, 5)));
}

TEST_F(GuideParallelCodeTest, SumsSquares)
{
    EXPECT_EQ(guide::sumSquares({1, 2, 3}), 14);
}

TEST_F(GuideParallelCodeTest, ConvertsFilesWithABar)
{
    const support::StderrCapture capture;
    EXPECT_TRUE(guide::convertWithBar(mFiles, mCancel));
    EXPECT_THAT(capture.getText(), HasSubstr("convert: 100%"));
}

TEST_F(GuideParallelCodeTest, ConvertsAndChecksFilesWithProgress)
{
    guide::gConverted = 0;
    guide::gChecked = 0;
    EXPECT_TRUE(guide::convertAndCheck(mFiles, mProgress, mCancel));
    EXPECT_EQ(guide::gConverted, 3);
    EXPECT_EQ(guide::gChecked, 3);
    EXPECT_EQ(mProgress.getGlobalProgress(), 1.0F);
}

TEST_F(GuideParallelCodeTest, StopsOnRequest)
{
    guide::gConverted = 0;
    mCancel.cancel();
    EXPECT_FALSE(guide::convertAndCheck(mFiles, mProgress, mCancel));
    EXPECT_EQ(guide::gConverted, 0);
}

TEST_F(GuideParallelCodeTest, FindsTheLongestLine)
{
    std::istringstream input("short\nthe longest line\nlonger\n");
    EXPECT_EQ(guide::findLongestLine(input), "the longest linethe longest line");
}

}  // namespace

}  // namespace qz::ext
