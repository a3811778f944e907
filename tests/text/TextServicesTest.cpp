// SPDX-License-Identifier: MIT
#include <locale.h>
#include <pthread.h>
#include <stdlib.h>

#include <atomic>
#include <clocale>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TestPaths.h"
#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Files.h"
#include "text/TextServices.h"

namespace qz {

using support::ChildResult;
using support::EnvironmentLocale;
using support::EnvironmentVariable;
using support::LocaleGuard;
using support::runInChild;
using support::runProgram;
using ::testing::HasSubstr;
using ::testing::Not;

// --- Bringing the services up and down

TEST(qzStringUtilsServices, StandBetweenStartAndStop)
{
    EXPECT_FALSE(qzStringUtils::TerminateStringUtils()) << "they are down";
    EXPECT_TRUE(qzStringUtils::InitializeStringUtils());
    EXPECT_FALSE(qzStringUtils::InitializeStringUtils()) << "they are up";
    EXPECT_EQ(convert("a", kUtf8, kAscii), "a") << "a refused start must change nothing";
    EXPECT_TRUE(qzStringUtils::TerminateStringUtils());
    EXPECT_FALSE(qzStringUtils::TerminateStringUtils());
}

TEST(qzStringUtilsServices, HoldNothingWhileDown)
{
    {
        const TextServices services;
    }
    EXPECT_EQ(qzStringUtils::msCLocale, nullptr);
    EXPECT_EQ(qzStringUtils::msCplusLocale, nullptr);
    EXPECT_EQ(qzStringUtils::msThreadContent, nullptr);
}

TEST(qzStringUtilsServices, ConvertNothingWhileDown)
{
    qzStringUtils::InitializeForThread();
    EXPECT_EQ(convert("abc", kUtf8, kAscii), "");
    EXPECT_EQ(qzStringUtils::convertTo8Bits(L"abcdefg", kUtf8), "");
    EXPECT_EQ(qzStringUtils::convertToUnicode("abc", kUtf8), L"");
}

TEST(qzStringUtilsServices, GiveLocalesThatNoLocaleOfTheProcessChanges)
{
    const LocaleGuard commaInsteadOfPoint("de_DE.UTF-8");
    const TextServices services;
    ASSERT_NE(*qzStringUtils::msCLocale, nullptr);
    EXPECT_EQ(::strtod_l("1.5", nullptr, *qzStringUtils::msCLocale), 1.5);
    std::ostringstream text;
    text.imbue(*qzStringUtils::msCplusLocale);
    text << 1234567.5;
    EXPECT_EQ(text.str(), "1.23457e+06");
    EXPECT_EQ(qzStringUtils::msCplusLocale->name(), "C");
}

TEST(qzStringUtilsServices, PrepareTheStartingThread)
{
    const TextServices services;
    EXPECT_NE(::pthread_getspecific(*qzStringUtils::msThreadContent), nullptr);
}

TEST(qzStringUtilsServices, PrepareEveryOtherThreadOnceAtItsFirstNeed)
{
    const TextServices services;
    const auto getRecord = [] { return ::pthread_getspecific(*qzStringUtils::msThreadContent); };
    std::thread([&] {
        EXPECT_EQ(getRecord(), nullptr);
        qzStringUtils::InitializeForThread();
        const void* record = getRecord();
        EXPECT_NE(record, nullptr);
        qzStringUtils::InitializeForThread();
        EXPECT_EQ(getRecord(), record);
    }).join();
    std::thread([&] {
        EXPECT_EQ(convert("a", kUtf8, kAscii), "a");
        EXPECT_NE(getRecord(), nullptr);
    }).join();
}

TEST(qzStringUtilsServices, ServeAThreadThatOutlivesAStopAfterTheRestart)
{
    // In a child, since what the thread had before the stop is not reclaimed.
    const ChildResult result = runInChild([] {
        auto services = std::make_unique<TextServices>();
        std::atomic<int> step = 0;
        const auto waitFor = [&step](int wanted) {
            while (step < wanted)
                std::this_thread::yield();
        };
        std::thread other([&] {
            std::cout << convert("a", kUtf8, kAscii);
            step = 1;
            waitFor(2);
            std::cout << convert("b", kUtf8, kAscii);
        });
        waitFor(1);
        services.reset();
        services = std::make_unique<TextServices>();
        step = 2;
        other.join();
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "ab");
}

TEST(qzStringUtilsServices, StopOnAnyThread)
{
    ASSERT_TRUE(qzStringUtils::InitializeStringUtils());
    std::thread([] { EXPECT_TRUE(qzStringUtils::TerminateStringUtils()); }).join();
    EXPECT_EQ(qzStringUtils::msCLocale, nullptr);
    EXPECT_EQ(qzStringUtils::msThreadContent, nullptr);
    EXPECT_EQ(convert("a", kUtf8, kAscii), "") << "on the thread that had started them";
    const TextServices again;
    EXPECT_TRUE(again.isUp());
    EXPECT_EQ(convert("a", kUtf8, kAscii), "a");
}

TEST(qzStringUtilsServices, DoNotStartWithoutMemoryForTheLocale)
{
    if (!support::kSeesMalloc) GTEST_SKIP() << "the sanitizer keeps malloc to itself";
    {
        const support::AllocationFault fault(1);
        EXPECT_FALSE(qzStringUtils::InitializeStringUtils());
        EXPECT_TRUE(fault.hasStruck());
    }
    EXPECT_EQ(qzStringUtils::msCLocale, nullptr);
    EXPECT_EQ(qzStringUtils::msThreadContent, nullptr);
    EXPECT_FALSE(qzStringUtils::TerminateStringUtils());
    const TextServices services;
    EXPECT_TRUE(services.isUp()) << "with memory";
}

TEST(qzStringUtilsServices, ReadTheLocalSetForEachThreadAtItsFirstNeed)
{
    const EnvironmentLocale utf8("C.UTF-8");
    const TextServices services;
    const EnvironmentLocale latin1("de_DE.ISO-8859-1");
    std::thread([] { EXPECT_EQ(convert("\xc3\xa9", kUtf8, kLocal), "\xe9"); }).join();
    EXPECT_EQ(convert("\xc3\xa9", kUtf8, kLocal), "\xc3\xa9") << "this thread has read it before";
}

TEST(qzStringUtilsServices, TakeTheSetOfAThreadsOwnLocale)
{
    const EnvironmentLocale environment("de_DE.UTF-8");
    const TextServices services;
    std::thread([] {
        const locale_t own = ::newlocale(LC_ALL_MASK, "de_DE.ISO-8859-1", nullptr);
        ASSERT_NE(own, nullptr);
        ::uselocale(own);
        EXPECT_EQ(convert("\xc3\xa9", kUtf8, kLocal), "\xe9");
        ::uselocale(LC_GLOBAL_LOCALE);
        ::freelocale(own);
    }).join();
    EXPECT_EQ(convert("\xc3\xa9", kUtf8, kLocal), "\xc3\xa9");
}

TEST(qzStringUtilsServices, LeaveTheLocaleOfTheProcessAlone)
{
    const LocaleGuard process("de_DE.ISO-8859-1");
    const EnvironmentLocale environment("ja_JP.EUC-JP");
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const TextServices services;
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
    std::thread([] { qzStringUtils::InitializeForThread(); }).join();
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
    EXPECT_EQ(convert("\xe3\x81\x82", kUtf8, kLocal), "\xa4\xa2") << "the environment's set counts";
}

TEST(qzStringUtilsServices, KeepTheEnvironmentsLocaleInMemoryForTheNextThread)
{
    const ChildResult child = runInChild([] {
        const EnvironmentLocale environment("ja_JP.EUC-JP");
        const TextServices services;
        std::cout << support::readFile("/proc/self/maps");
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_THAT(child.out, HasSubstr("ja_JP.EUC-JP/LC_CTYPE"));
}

TEST(qzStringUtilsServices, TakeTheProcesssOwnSetWhenTheEnvironmentNamesNoLocale)
{
    const LocaleGuard process("de_DE.ISO-8859-1");
    const EnvironmentVariable environment("LC_ALL", "xx_XX.NO-SUCH");
    const TextServices services;
    EXPECT_EQ(convert("\xc3\xa9", kUtf8, kLocal), "\xe9");
}

// --- The converters of a thread

class qzStringUtilsDescriptors : public ::testing::Test {
protected:
    static ChildResult run(const std::string& localSet, int failingOpen)
    {
        return runProgram(
            {.program = "charset_descriptors",
             .arguments = {localSet, std::to_string(failingOpen)},
             .environment = {{"LC_ALL", "ja_JP.EUC-JP"}, {"LOCPATH", QZ_TEST_LOCPATH}}});
    }

    static constexpr const char* kOpens =
        "open WCHAR_T//TRANSLIT//IGNORE < EUC-JP\n"
        "open WCHAR_T//TRANSLIT//IGNORE < UTF-8\n"
        "open WCHAR_T//TRANSLIT//IGNORE < US-ASCII\n"
        "open EUC-JP//TRANSLIT//IGNORE < WCHAR_T\n"
        "open UTF-8//TRANSLIT//IGNORE < WCHAR_T\n"
        "open US-ASCII//TRANSLIT//IGNORE < WCHAR_T\n"
        "open UTF-8//TRANSLIT//IGNORE < EUC-JP\n"
        "open US-ASCII//TRANSLIT//IGNORE < EUC-JP\n"
        "open EUC-JP//TRANSLIT//IGNORE < UTF-8\n"
        "open US-ASCII//TRANSLIT//IGNORE < UTF-8\n"
        "open EUC-JP//TRANSLIT//IGNORE < US-ASCII\n"
        "open UTF-8//TRANSLIT//IGNORE < US-ASCII\n";
};

TEST_F(qzStringUtilsDescriptors, AreOpenedAllAtOnceAndClosedWithTheirThread)
{
    const std::string all = "00= 01=abc 02=abc 10=abc 11= 12=abc 20=abc 21=abc 22= 0=a 1=a 2=a \n";
    const ChildResult result = run("", 0);
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, kOpens + ("up: 12 opened, 0 closed\n" + all + all) +
                              "converted: 12 opened, 0 closed\n" + kOpens +
                              "thread ready: 24 opened, 0 closed\n" + all +
                              "thread gone: 24 opened, 12 closed\n"
                              "idle thread gone: 24 opened, 12 closed\n"
                              "down: 24 opened, 24 closed\n");
}

struct FailedOpen {
    const char* name;
    int open;
    const char* conversions;
};

constexpr FailedOpen kFailedOpens[] = {
    {"LocalToWide", 1, "00= 01=abc 02=abc 10=abc 11= 12=abc 20=abc 21=abc 22= 0=a 1=a 2=a \n"},
    {"WideToLocal", 4, "00= 01=abc 02=abc 10=abc 11= 12=abc 20=abc 21=abc 22= 0= 1=a 2=a \n"},
    {"WideToAscii", 6, "00= 01=abc 02=abc 10=abc 11= 12=abc 20=abc 21=abc 22= 0=a 1=a 2= \n"},
    {"LocalToUtf8", 7, "00= 01= 02=abc 10=abc 11= 12=abc 20=abc 21=abc 22= 0=a 1=a 2=a \n"},
    {"LocalToAscii", 8, "00= 01=abc 02= 10=abc 11= 12=abc 20=abc 21=abc 22= 0=a 1=a 2=a \n"},
    {"Utf8ToLocal", 9, "00= 01=abc 02=abc 10= 11= 12=abc 20=abc 21=abc 22= 0=a 1=a 2=a \n"},
    {"Utf8ToAscii", 10, "00= 01=abc 02=abc 10=abc 11= 12= 20=abc 21=abc 22= 0=a 1=a 2=a \n"},
    {"AsciiToLocal", 11, "00= 01=abc 02=abc 10=abc 11= 12=abc 20= 21=abc 22= 0=a 1=a 2=a \n"},
    {"AsciiToUtf8", 12, "00= 01=abc 02=abc 10=abc 11= 12=abc 20=abc 21= 22= 0=a 1=a 2=a \n"},
};

class qzStringUtilsFailedOpen : public qzStringUtilsDescriptors,
                                public ::testing::WithParamInterface<FailedOpen> {};

TEST_P(qzStringUtilsFailedOpen, EmptiesItsConversionOnThisThreadAlone)
{
    const ChildResult result = run("", GetParam().open);
    const std::string firstThread = std::string("up: 12 opened, 0 closed\n") +
                                    GetParam().conversions + GetParam().conversions +
                                    "converted: 12 opened, 0 closed\n";
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_THAT(result.out, HasSubstr(firstThread));
    EXPECT_THAT(result.out, HasSubstr("thread ready: 24 opened, 0 closed\n"
                                      "00= 01=abc 02=abc 10=abc 11= 12=abc 20=abc 21=abc 22= "
                                      "0=a 1=a 2=a \n"));
    EXPECT_THAT(result.out, HasSubstr("down: 24 opened, 23 closed\n"));
}

INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsFailedOpen, ::testing::ValuesIn(kFailedOpens),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzStringUtilsDescriptors, FailForALocalSetThatTheSystemCannotConvert)
{
    const ChildResult result = run("NO-SUCH-SET", 0);
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_THAT(result.out, HasSubstr("00= 01= 02= 10= 11= 12=abc 20= 21=abc 22= 0= 1=a 2=a \n"));
    EXPECT_THAT(result.out, Not(HasSubstr("never opened")));
}

}  // namespace qz
