// SPDX-License-Identifier: MIT
// What all the text helpers have in common: they report a lack of memory as the standard library
// does, and share nothing between threads.

#include <atomic>
#include <iterator>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzMathUtils.h>
#include <qz/qzStringUtils.h>

#include "support/Allocations.h"

namespace qz {

namespace {

// What a helper makes of a text or a number that is another one for each `number`.
struct Helper {
    const char* name;
    std::string (*run)(int number);
};

// Long enough to need memory of its own.
std::string makeMarkup(int number)
{
    return std::string(600, static_cast<char>('a' + number)) + "<&>\x01" + std::string(600, 'z');
}

std::string remove(int number)
{
    const std::string text = makeMarkup(number);
    std::string out;
    qzStringUtils::RemoveAsciiNonPrintableChar(text.data(), text.size(), out);
    return out;
}

std::string escape(int number)
{
    std::string text = makeMarkup(number);
    qzStringUtils::EscapeXmlString(text);
    return text;
}

std::string replace(int number)
{
    std::string text = makeMarkup(number);
    const unsigned count = qzStringUtils::ReplaceAllOccurrences(text, "<", "[lower]");
    return text + std::to_string(count);
}

std::string parse(int number)
{
    bool value = false;
    const std::string text = std::string(600, ' ') + (number % 2 == 0 ? "On" : "oFF");
    const bool isWord = qzStringUtils::parseBool(text, value);
    return std::to_string(isWord) + std::to_string(value);
}

std::string findAstride(int number)
{
    const std::string text = makeMarkup(number);
    const char* found = nullptr;
    const char* const begin = text.data();
    const int result =
        qzStringUtils::FindFirstAstrideBuffers(begin, begin + 601, begin + 601, begin + text.size(),
                                               begin + 300, begin + 900 + number, found);
    return std::to_string(result) + " " + std::to_string(found - begin);
}

std::string findIgnoringCase(int number)
{
    const std::string text = makeMarkup(number);
    const std::string what = std::string(300, static_cast<char>('A' + number)) + "<";
    return std::to_string(qzStringUtils::FindCaseInsensitive(text, what, 5));
}

std::string compareVersions(int number)
{
    const std::string version = "1.2.3.4.5.6.7.8.9.10.11.12.13.14.15.16.17.18.19.";
    return std::to_string(
        qzStringUtils::compareSoftwareVersion(version + std::to_string(number), version + "1", 99));
}

std::string compareWide(int number)
{
    const std::wstring a(100, static_cast<wchar_t>(L'a' + number));
    const std::wstring b(100, L'b');
    return std::to_string(
        qzStringUtils::CompareUTF16Natural(a.data(), a.size(), b.data(), b.size(), true));
}

std::string approximate(int number)
{
    long numerator = 0;
    long denominator = 0;
    qzStringUtils::computeFractionnalRepresentation(number + 0.14159265, numerator, denominator,
                                                    100);
    return std::to_string(numerator) + "/" + std::to_string(denominator);
}

const Helper kHelpers[] = {
    {"RemoveAsciiNonPrintableChar", remove},
    {"EscapeXmlString", escape},
    {"ReplaceAllOccurrences", replace},
    {"parseBool", parse},
    {"FindFirstAstrideBuffers", findAstride},
    {"FindCaseInsensitive", findIgnoringCase},
    {"compareSoftwareVersion", compareVersions},
    {"CompareUTF16Natural", compareWide},
    {"UnknownEncodingToUtf8",
     [](int number) { return qzStringUtils::UnknownEncodingToUtf8(makeMarkup(number), '?'); }},
    {"fromInt", [](int number) { return qzStringUtils::fromInt(-number, 300); }},
    {"fromUInt64",
     [](int number) { return qzStringUtils::fromUInt64(static_cast<unsigned long>(number), 300); }},
    {"humanizeNumberGeneric",
     [](int number) {
         return qzStringUtils::humanizeNumberGeneric<double>(number * -1e18, 400, 20, false, false,
                                                             false);
     }},
    {"humanizeDuration",
     [](int number) {
         return qzStringUtils::humanizeDuration<long>((number + 1) * 123456789012345, 0, true);
     }},
    {"roundNumber",
     [](int number) { return qzStringUtils::roundNumber(number - 1234567.8, 16, 12, false, 1); }},
    {"FormatIntegerSeparator",
     [](int number) {
         return qzMathUtils::FormatIntegerSeparator(static_cast<unsigned long>(number) << 56U);
     }},
};

// This one needs no memory.
constexpr Helper kFraction = {"computeFractionnalRepresentation", approximate};

}  // namespace

class qzStringUtilsWithoutMemory : public ::testing::TestWithParam<Helper> {};

TEST_P(qzStringUtilsWithoutMemory, ThrowsBadAlloc)
{
    const std::string expected = GetParam().run(3);
    std::string result;
    const std::size_t failures = support::failEachAllocation(
        [&] { result = GetParam().run(3); },
        [&](const support::AllocationFailure& failure) { EXPECT_TRUE(failure.threwBadAlloc); });
    EXPECT_GE(failures, 1U);
    EXPECT_EQ(result, expected);
}

INSTANTIATE_TEST_SUITE_P(Helpers, qzStringUtilsWithoutMemory, ::testing::ValuesIn(kHelpers),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzStringUtilsWithoutMemoryTest, EscapingLeavesTheTextAlone)
{
    const std::string before = makeMarkup(0);
    std::string text = before;
    {
        const support::AllocationFault fault(1);
        EXPECT_THROW(qzStringUtils::EscapeXmlString(text), std::bad_alloc);
    }
    EXPECT_EQ(text, before);
}

// What is shared for an instant only is for the thread sanitizer to see.
TEST(qzStringUtilsTogether, GiveTheirResultsOnManyThreadsAtOnce)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 300;
    std::vector<Helper> helpers(std::begin(kHelpers), std::end(kHelpers));
    helpers.push_back(kFraction);
    for (const Helper& helper : helpers) {
        std::atomic<int> ready = 0;
        std::atomic<int> wrong = 0;
        std::vector<std::thread> threads;
        for (int number = 0; number < kThreads; ++number) {
            threads.emplace_back([&, number, expected = helper.run(number)] {
                for (++ready; ready < kThreads;)
                    std::this_thread::yield();
                for (int round = 0; round < kRounds; ++round)
                    wrong += helper.run(number) == expected ? 0 : 1;
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(wrong, 0) << helper.name;
    }
}

}  // namespace qz
