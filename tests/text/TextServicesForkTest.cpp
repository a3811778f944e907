// SPDX-License-Identifier: MIT
// Conversions in forked children, and the end of threads while the text services stop.

#include <iconv.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzStringUtils.h>
#include <qz/qzSystem.h>

#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/OutputCapture.h"

namespace qz {

using support::LibraryStart;
using support::runInChild;

namespace {

constexpr int kChildTimeoutSec = 60;

bool canConvert()
{
    return qzStringUtils::convertCharset("abc", qzStringUtils::CharSetUtf8,
                                         qzStringUtils::CharSetAscii) == "abc";
}

// Repeats an activity on a thread of its own until the end of the scope.
class Activity {
public:
    explicit Activity(const std::function<void()>& activity)
        : mThread([this, activity] {
              while (!mEnds)
                  activity();
          })
    {
    }
    ~Activity()
    {
        mEnds = true;
        mThread.join();
    }
    Activity(const Activity&) = delete;
    Activity& operator=(const Activity&) = delete;

private:
    std::atomic<bool> mEnds = false;
    std::thread mThread;
};

void openAndCloseAConverter()
{
    ::iconv_close(::iconv_open("UTF-16", "ISO-8859-15"));
}

void convertOnANewThread()
{
    std::thread([] { qzStringUtils::InitializeForThread(); }).join();
}

// Forks from threads that have converted nothing before.
void expectAllChildrenEnd(const std::function<int()>& body, int children)
{
    const support::StdoutCapture quiet;  // a child may report that it is forked
    for (int i = 0; i < children; ++i) {
        std::string end;
        std::thread([&] { end = runInChild(body, "", kChildTimeoutSec).getEnd(); }).join();
        ASSERT_EQ(end, "exit 42") << "child " << i;
    }
}

}  // namespace

class TextServicesForkTest : public ::testing::TestWithParam<InitType> {
protected:
    LibraryStart mLibrary{GetParam()};
};

TEST_P(TextServicesForkTest, ConvertsWhileThreadsOfTheParentComeAndGo)
{
    const Activity activity(&convertOnANewThread);
    expectAllChildrenEnd([] { return canConvert() ? 42 : 1; }, 300);
}

TEST_P(TextServicesForkTest, ConvertsWhileTheApplicationOpensConverters)
{
    const Activity activity(&openAndCloseAConverter);
    expectAllChildrenEnd([] { return canConvert() ? 42 : 1; }, 300);
}

TEST_P(TextServicesForkTest, ConvertsOnThreadsOfTheChild)
{
    const Activity activity(&convertOnANewThread);
    const auto body = [] {
        int converted = 0;
        for (int i = 0; i < 3; ++i)
            std::thread([&] { converted += canConvert() ? 14 : 0; }).join();
        return converted;
    };
    expectAllChildrenEnd(body, 30);
}

TEST_P(TextServicesForkTest, StartsAgainInTheChildAfterAStop)
{
    const auto body = [] {
        terminateQzSystem();
        const bool isDown = !canConvert();
        initializeQzSystem(LightInit);
        const bool isUp = canConvert();
        terminateQzSystem();
        return isDown && isUp ? 42 : 1;
    };
    expectAllChildrenEnd(body, 3);
}

INSTANTIATE_TEST_SUITE_P(Starts, TextServicesForkTest, ::testing::Values(LightInit, FullInit),
                         [](const auto& start) {
                             return std::string(start.param == FullInit ? "Full" : "Light");
                         });

TEST(TextServicesForkedStop, EndsWhileTheApplicationOpensConverters)
{
    const LibraryStart library(FullInit);
    const Activity activity(&openAndCloseAConverter);
    const auto body = [] {
        terminateQzSystem();
        return 42;
    };
    expectAllChildrenEnd(body, 200);
}

// A thread that ends frees its converters, and so does the stop.
TEST(TextServicesStop, FreesTheConvertersOfAThreadThatEndsOnce)
{
    const auto body = [] {
        constexpr int kThreads = 4;
        for (int round = 0; round < 300; ++round) {
            qzStringUtils::InitializeStringUtils();
            std::atomic<int> ready = 0;
            std::atomic<bool> mayEnd = false;
            std::vector<std::thread> threads;
            for (int i = 0; i < kThreads; ++i) {
                threads.emplace_back([&] {
                    qzStringUtils::InitializeForThread();
                    ++ready;
                    while (!mayEnd)
                        std::this_thread::yield();
                });
            }
            while (ready != kThreads)
                std::this_thread::yield();
            mayEnd = true;
            // Another moment of the threads' end in each round.
            for (std::atomic<int> i = 0; i < round % 20 * 100; ++i) {
            }
            qzStringUtils::TerminateStringUtils();
            for (std::thread& thread : threads)
                thread.join();
        }
        return 42;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 42");
}

}  // namespace qz
