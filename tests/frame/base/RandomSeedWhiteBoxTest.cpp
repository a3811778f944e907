// SPDX-License-Identifier: MIT
// The seeds of the standard generator: the time of loading, and one more for each thread.

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include <qz/qzRandomUtils.h>
#include <qz/qzSystemUtils.h>

#include "frame/base/RandomSeed.h"

namespace qz {

namespace {

// The time at which the process was loaded, with a seed that nobody has taken yet.
const long gSeedAtLoad = gRandomSeed.next;
const long gTimeBehindLoad = qzSystemUtils::GetMSecElapsedSinceEpoch();

// On a thread that has taken no seed yet.
void runOnNewThread(const std::function<void()>& body)
{
    std::thread(body).join();
}

std::string fill(std::size_t size)
{
    std::string bytes(size, '\0');
    qzRandomUtils::Rand(bytes.data(), size);
    return bytes;
}

std::string fillPlainly(std::size_t size)
{
    std::string bytes(size, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(static_cast<unsigned>(std::rand()) & 0xFFU);
    return bytes;
}

}  // namespace

TEST(RandomSeedTest, IsTheTimeOfLoading)
{
    EXPECT_LE(gSeedAtLoad, gTimeBehindLoad);
    EXPECT_GT(gSeedAtLoad, gTimeBehindLoad - 600'000);
}

TEST(RandomSeedTest, IsTakenOnceAThread)
{
    const long before = gRandomSeed.next;
    runOnNewThread([] {
        fill(4);
        fill(4);
    });
    EXPECT_EQ(gRandomSeed.next, before + 1);
    runOnNewThread([] { fill(0); });
    EXPECT_EQ(gRandomSeed.next, before + 2);
    runOnNewThread([] {});
    EXPECT_EQ(gRandomSeed.next, before + 2) << "only who asks for bytes takes one";
}

TEST(RandomSeedTest, IsTakenOnceByEachOfTwoThreadsAtOnce)
{
    // More threads than processors would hardly ever be there at once.
    constexpr int kThreads = 2;
    constexpr int kRounds = 20'000;
    const long before = gRandomSeed.next;
    for (int round = 0; round < kRounds; ++round) {
        std::atomic<int> ready = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&] {
                for (++ready; ready < kThreads;)
                    std::this_thread::yield();
                fill(1);
            });
        }
        for (std::thread& thread : threads)
            thread.join();
    }
    EXPECT_EQ(gRandomSeed.next, before + kThreads * kRounds);
}

TEST(RandomSeedTest, LeadsToTheLowBytesOfTheStandardGenerator)
{
    std::string first;
    std::string second;
    const long seed = gRandomSeed.next;
    runOnNewThread([&] {
        first = fill(40);
        second = fill(5);
    });
    std::srand(static_cast<unsigned>(seed));
    EXPECT_EQ(first, fillPlainly(40));
    EXPECT_EQ(second, fillPlainly(5)) << "it goes on where it was";
}

TEST(RandomSeedTest, IsTakenByNoOtherGenerator)
{
    const long before = gRandomSeed.next;
    qzRandomUtils::SetRandGenerator([](unsigned char* /*buffer*/, int /*size*/) { return 0; });
    runOnNewThread([] { fill(4); });
    qzRandomUtils::SetRandGenerator(nullptr);
    EXPECT_EQ(gRandomSeed.next, before);
}

}  // namespace qz
