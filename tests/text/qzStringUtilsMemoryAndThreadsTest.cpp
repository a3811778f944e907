// What all the text helpers have in common: they report a lack of memory as the standard library
// does, and share nothing between threads.

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzStringUtils.h>

#include "support/Allocations.h"

namespace qz {

namespace {

struct Helper {
    const char* name;
    std::function<std::string()> run;
};

// Long enough to need memory of their own.
const std::string kPlain(600, 'a');
const std::string kBlanks = std::string(600, ' ') + "On";
const std::string kMarkup = kPlain + "<&>" + kPlain;
const std::string kVersion = "1.2.3.4.5.6.7.8.9.10.11.12.13.14.15.16.17.18.19";

std::string remove()
{
    std::string out;
    qzStringUtils::RemoveAsciiNonPrintableChar(kMarkup.data(), kMarkup.size(), out);
    return out;
}

std::string escape()
{
    std::string text = kMarkup;
    qzStringUtils::EscapeXmlString(text);
    return text;
}

std::string replace()
{
    std::string text = kMarkup;
    const unsigned count = qzStringUtils::ReplaceAllOccurrences(text, "<", "[lower]");
    return text + std::to_string(count);
}

std::string parse()
{
    bool value = false;
    return qzStringUtils::parseBool(kBlanks, value) && value ? "on" : "other";
}

std::string findAstride()
{
    const char* found = nullptr;
    const char* const begin = kMarkup.data();
    const int result = qzStringUtils::FindFirstAstrideBuffers(
        begin, begin + 601, begin + 601, begin + kMarkup.size(), begin + 300, begin + 900, found);
    return std::to_string(result) + std::to_string(found - begin);
}

std::string findIgnoringCase()
{
    const std::string what = std::string(300, 'A') + "<";
    return std::to_string(qzStringUtils::FindCaseInsensitive(kMarkup, what, 5));
}

std::string compareVersions()
{
    return std::to_string(qzStringUtils::compareSoftwareVersion(kVersion, kVersion + ".1", 99));
}

std::string compareWide()
{
    const std::wstring wide(100, L'a');
    return std::to_string(
        qzStringUtils::CompareUTF16Natural(wide.data(), 99, wide.data(), 100, true));
}

std::string approximate()
{
    long numerator = 0;
    long denominator = 0;
    qzStringUtils::computeFractionnalRepresentation(3.14159265, numerator, denominator, 100);
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
    {"UnknownEncodingToUtf8", [] { return qzStringUtils::UnknownEncodingToUtf8(kMarkup, '?'); }},
    {"fromInt", [] { return qzStringUtils::fromInt(-5, 300); }},
    {"fromUInt64", [] { return qzStringUtils::fromUInt64(5, 300); }},
    {"humanizeNumberGeneric",
     [] {
         return qzStringUtils::humanizeNumberGeneric<double>(-1e300 / 3, 400, 20, false, false,
                                                             false);
     }},
    {"humanizeDuration",
     [] { return qzStringUtils::humanizeDuration<long>(123456789012345, 0, true); }},
    {"roundNumber", [] { return qzStringUtils::roundNumber(-1234567.8, 16, 12, false, 1); }},
};

// These need no memory.
const Helper kOtherHelpers[] = {
    {"CountUtf8Char", [] { return std::to_string(qzStringUtils::CountUtf8Char(kMarkup)); }},
    {"computeFractionnalRepresentation", approximate},
};

}  // namespace

class qzStringUtilsWithoutMemory : public ::testing::TestWithParam<Helper> {};

TEST_P(qzStringUtilsWithoutMemory, ThrowsBadAlloc)
{
    std::string result;
    const std::size_t failures = support::failEachAllocation(
        [&] { result = GetParam().run(); },
        [&](const support::AllocationFailure& failure) { EXPECT_TRUE(failure.threwBadAlloc); });
    EXPECT_GE(failures, 1U);
    EXPECT_EQ(result, GetParam().run());
}

INSTANTIATE_TEST_SUITE_P(Helpers, qzStringUtilsWithoutMemory, ::testing::ValuesIn(kHelpers),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzStringUtilsWithoutMemoryTest, EscapingLeavesTheTextAlone)
{
    std::string text = kMarkup;
    {
        const support::AllocationFault fault(1);
        EXPECT_THROW(qzStringUtils::EscapeXmlString(text), std::bad_alloc);
    }
    EXPECT_EQ(text, kMarkup);
}

TEST(qzStringUtilsTogether, GiveTheirResultsOnManyThreadsAtOnce)
{
    std::vector<Helper> helpers(std::begin(kHelpers), std::end(kHelpers));
    helpers.insert(helpers.end(), std::begin(kOtherHelpers), std::end(kOtherHelpers));
    std::vector<std::string> expected;
    for (const Helper& helper : helpers)
        expected.push_back(helper.run());
    constexpr std::size_t kThreads = 4;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            for (std::size_t round = i; round < 2000; ++round) {
                const std::size_t which = round % helpers.size();
                if (helpers[which].run() != expected[which]) ++wrong;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

}  // namespace qz
