// SPDX-License-Identifier: MIT
#include <qz/qzRandomUtils.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/LibraryStart.h"

namespace qz {

namespace {

static_assert(std::is_same_v<qzRandomUtils::Generator, int (*)(unsigned char*, int)>);
static_assert(!std::is_default_constructible_v<qzRandomUtils>);

int fillWithAb(unsigned char* buffer, int size)
{
    std::fill(buffer, buffer + size, static_cast<unsigned char>(0xAB));
    return 7;
}

int countUp(unsigned char* buffer, int size)
{
    for (int i = 0; i < size; ++i)
        buffer[i] = static_cast<unsigned char>(i);
    return -1;
}

int gSeenSize = 0;

int noteSize(unsigned char* /*buffer*/, int size)
{
    gSeenSize = size;
    return 0;
}

}  // namespace

class qzRandomUtilsTest : public ::testing::Test {
protected:
    void TearDown() override { qzRandomUtils::SetRandGenerator(nullptr); }
};

TEST_F(qzRandomUtilsTest, GivesTheGeneratorBackThatItReplaces)
{
    const auto standard = qzRandomUtils::SetRandGenerator(&fillWithAb);
    EXPECT_NE(standard, nullptr);
    EXPECT_EQ(qzRandomUtils::SetRandGenerator(&countUp), &fillWithAb);
    EXPECT_EQ(qzRandomUtils::SetRandGenerator(nullptr), &countUp);
    EXPECT_EQ(qzRandomUtils::SetRandGenerator(nullptr), standard) << "null brings it back";
    EXPECT_EQ(qzRandomUtils::SetRandGenerator(standard), standard);
}

TEST_F(qzRandomUtilsTest, FillsThroughTheGeneratorAndGivesItsResult)
{
    char buffer[4] = {9, 9, 9, 9};
    qzRandomUtils::SetRandGenerator(&countUp);
    EXPECT_EQ(qzRandomUtils::Rand(buffer, 3), -1);
    EXPECT_EQ(std::string(buffer, 4), std::string("\0\1\2\x9", 4));
    qzRandomUtils::SetRandGenerator(&fillWithAb);
    EXPECT_EQ(qzRandomUtils::Rand(buffer, 0), 7);
    EXPECT_EQ(std::string(buffer, 4), std::string("\0\1\2\x9", 4));
}

TEST_F(qzRandomUtilsTest, CutsTheSizeTo32Bits)
{
    qzRandomUtils::SetRandGenerator(&noteSize);
    for (const unsigned long size :
         {0UL, 1UL, 0x7FFFFFFFUL, 0x80000000UL, 0xFFFFFFFFUL, 0x100000003UL, ULONG_MAX}) {
        qzRandomUtils::Rand(nullptr, size);
        EXPECT_EQ(gSeenSize, static_cast<int>(size)) << size;
    }
}

TEST_F(qzRandomUtilsTest, FillsByItselfWithoutAGenerator)
{
    std::vector<char> first(1000);
    std::vector<char> second(1000);
    EXPECT_EQ(qzRandomUtils::Rand(first.data(), first.size()), 1);
    EXPECT_EQ(qzRandomUtils::Rand(second.data(), second.size()), 1);
    EXPECT_NE(first, second);
    // A value may be missing by chance; that a quarter is has no chance.
    std::sort(first.begin(), first.end());
    EXPECT_GT(std::unique(first.begin(), first.end()) - first.begin(), 192);
}

TEST_F(qzRandomUtilsTest, LeavesWhatIsAfterTheBuffer)
{
    std::string buffer(20, 'x');
    qzRandomUtils::Rand(buffer.data() + 4, 8);
    EXPECT_EQ(buffer.substr(0, 4), "xxxx");
    EXPECT_EQ(buffer.substr(12), "xxxxxxxx");
    EXPECT_NE(buffer.substr(4, 8), "xxxxxxxx");
}

TEST_F(qzRandomUtilsTest, WritesNothingForASizeThatIsNegativeIn32Bits)
{
    EXPECT_EQ(qzRandomUtils::Rand(nullptr, 0x80000000UL), 1);
    EXPECT_EQ(qzRandomUtils::Rand(nullptr, 0), 1);
}

// --- Hexadecimal texts

TEST_F(qzRandomUtilsTest, GivesTwoLowerCaseDigitsAByte)
{
    for (const unsigned long byteCount : {1UL, 2UL, 8UL, 16UL, 1000UL}) {
        const std::string text = qzRandomUtils::CreateRandHexString(byteCount);
        EXPECT_EQ(text.size(), 2 * byteCount);
        EXPECT_THAT(text, ::testing::MatchesRegex("[0-9a-f]*"));
    }
}

TEST_F(qzRandomUtilsTest, GivesTwoDigitsForNoByte)
{
    EXPECT_EQ(qzRandomUtils::CreateRandHexString(0).size(), 2U);
}

TEST_F(qzRandomUtilsTest, ReadsTheBytesOfTheGenerator)
{
    qzRandomUtils::SetRandGenerator(&fillWithAb);
    EXPECT_EQ(qzRandomUtils::CreateRandHexString(2), "abab");
    EXPECT_EQ(qzRandomUtils::CreateRandHexString(0), "ab");
    qzRandomUtils::SetRandGenerator(&countUp);
    EXPECT_EQ(qzRandomUtils::CreateRandHexString(18), "000102030405060708090a0b0c0d0e0f1011");
}

TEST_F(qzRandomUtilsTest, DiffersEachTime)
{
    EXPECT_NE(qzRandomUtils::CreateRandHexString(16), qzRandomUtils::CreateRandHexString(16));
}

TEST_F(qzRandomUtilsTest, ServesSeveralThreads)
{
    std::vector<std::string> texts(4);
    std::vector<std::thread> threads;
    for (std::string& text : texts)
        threads.emplace_back([&] { text = qzRandomUtils::CreateRandHexString(64); });
    for (std::thread& thread : threads)
        thread.join();
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ(std::unique(texts.begin(), texts.end()), texts.end());
}

// --- Forked children

class qzRandomUtilsFork : public ::testing::TestWithParam<int> {
protected:
    static std::string makeName() { return qzRandomUtils::CreateRandHexString(16); }
    static std::string makeNameInChild()
    {
        return support::runInChild([] {
                   std::cout << makeName();
                   return 0;
               })
            .out;
    }
};

TEST_P(qzRandomUtilsFork, GivesOtherNamesThanTheParentAndItsOtherChildren)
{
    std::unique_ptr<support::LibraryStart> library;
    if (GetParam() != 0)
        library = std::make_unique<support::LibraryStart>(static_cast<InitType>(GetParam()));
    makeName();  // the generator has been seeded
    std::set<std::string> names;
    for (int i = 0; i < 10; ++i)
        names.insert(makeNameInChild());
    names.insert(makeName());
    EXPECT_EQ(names.size(), 11U);
    EXPECT_EQ(names.begin()->size(), 32U);
}

INSTANTIATE_TEST_SUITE_P(
    Starts, qzRandomUtilsFork, ::testing::Values(0, 1, 2), [](const auto& start) {
        return std::string(start.param == 0 ? "None" : start.param == 1 ? "Light" : "Full");
    });

TEST(qzRandomUtilsForkTest, GivesBytesInAChildWhileThreadsOfTheParentTakeSome)
{
    std::atomic<bool> ends = false;
    std::thread other([&] {
        while (!ends)
            qzRandomUtils::CreateRandHexString(1000);
    });
    for (int i = 0; i < 200; ++i) {
        const support::ChildResult result = support::runInChild(
            [] { return qzRandomUtils::CreateRandHexString(21).size() == 42 ? 42 : 1; }, "", 60);
        EXPECT_EQ(result.getEnd(), "exit 42");
        if (result.timedOut) break;
    }
    ends = true;
    other.join();
}

}  // namespace qz
