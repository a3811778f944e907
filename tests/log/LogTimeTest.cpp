// SPDX-License-Identifier: MIT
// A thread keeps the text of its last second. Whatever a line's time depends on may change within
// that second, and the next line shows it.

#include <locale.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzLog.h>

#include "log/LogReference.h"
#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"

namespace qz {

using support::AllocationCounter;
using support::ChildResult;
using support::EnvironmentLocale;
using support::LibraryStart;
using support::runInChild;
using support::TimeZoneGuard;
using ::testing::AnyOf;
using ::testing::IsEmpty;

namespace {

constexpr long kMarchMs = 1774500000000;   // Mar 26 2026, between two dates of spring
constexpr long kSundayMs = 1805025600000;  // Mar 14 2027, 12:00 UTC

// Only the time depends on anything, so the rest of the prefix stays the same.
std::string makePrefix(long timeMs)
{
    qzLog::LogEntry entry;
    entry.timeMs = timeMs;
    entry.computeLogPrefix(true);
    return entry.prefix;
}

std::string makeReference(long timeMs)
{
    qzLog::LogEntry entry;
    entry.timeMs = timeMs;
    return reference::makePrefix(entry);
}

// A locale that no process and no thread uses yet.
class Locale {
public:
    explicit Locale(const char* name) : mLocale(::newlocale(LC_ALL_MASK, name, nullptr)) {}
    ~Locale() { ::freelocale(mLocale); }
    Locale(const Locale&) = delete;
    Locale& operator=(const Locale&) = delete;
    locale_t get() const { return mLocale; }

private:
    locale_t mLocale;
};

// A locale of the calling thread alone, until the end of the scope.
class ThreadLocale {
public:
    explicit ThreadLocale(const char* name) : mLocale(name) { ::uselocale(mLocale.get()); }
    ~ThreadLocale() { ::uselocale(LC_GLOBAL_LOCALE); }
    ThreadLocale(const ThreadLocale&) = delete;
    ThreadLocale& operator=(const ThreadLocale&) = delete;

private:
    Locale mLocale;
};

// The first two differ in the dates of summer time alone, and so do the next two.
constexpr const char* kZones[] = {
    "EST5EDT,M3.2.0,M11.1.0", "EST5EDT,M4.1.0,M10.5.0", "Europe/Athens",    "Africa/Cairo", "UTC0",
    "Europe/Paris",           "Asia/Kolkata",           "America/New_York", "XXX0",         "UTC1",
};

constexpr const char* kLocales[] = {"C", "de_DE.UTF-8", "de_DE.ISO-8859-1", "ja_JP.EUC-JP",
                                    "en_US.ISO-8859-1"};

}  // namespace

// --- One change within one second

struct ZonePair {
    const char* name;
    const char* first;
    const char* second;
    long timeMs;
};

constexpr ZonePair kZonePairs[] = {
    {"OtherNameAndOffset", "UTC0", "CET-1", kMarchMs},
    {"OtherOffsetOnly", "XXX-3", "XXX-4", kMarchMs},
    {"OtherMinutesOnly", "XXX-3", "XXX-3:30", kMarchMs},
    {"SummerTimeAdded", "EST5", "EST5EDT,M3.2.0,M11.1.0", kMarchMs},
    {"OtherDatesOfSummerTimeOnly", "EST5EDT,M3.2.0,M11.1.0", "EST5EDT,M4.1.0,M10.5.0", kMarchMs},
    {"OtherOffsetInSummerOnly", "AAA0BBB-1,M3.1.0,M11.1.0", "AAA0BBB-2,M3.1.0,M11.1.0", kMarchMs},
    {"LongEntriesThatDifferInTheirTails",
     "<AAAAAAAAAAAAAAAAAAAAAAAAAAAAA>0<BBBBBBBBBBBBBBBBBBBBBBBBBBBBB>-1,M3.2.0,M11.1.0",
     "<AAAAAAAAAAAAAAAAAAAAAAAAAAAAA>0<BBBBBBBBBBBBBBBBBBBBBBBBBBBBB>-1,M4.1.0,M11.1.0", kMarchMs},
    {"ZoneFiles", "Europe/Paris", "Asia/Kolkata", kMarchMs},
    {"ZoneFilesOfOneSignature", "Europe/Paris", "Europe/Berlin", 206000000000},  // July 1976
};

class LogTimeZoneChange : public ::testing::TestWithParam<ZonePair> {};

TEST_P(LogTimeZoneChange, ShowsInTheSameSecond)
{
    const LibraryStart library;
    const TimeZoneGuard first(GetParam().first);
    makePrefix(GetParam().timeMs);
    const std::string before = makePrefix(GetParam().timeMs);
    EXPECT_EQ(before, makePrefix(GetParam().timeMs));
    const TimeZoneGuard second(GetParam().second);
    EXPECT_EQ(makePrefix(GetParam().timeMs), makeReference(GetParam().timeMs));
    EXPECT_NE(makeReference(GetParam().timeMs), before) << "the pair proves nothing";
}

INSTANTIATE_TEST_SUITE_P(Rows, LogTimeZoneChange, ::testing::ValuesIn(kZonePairs),
                         [](const auto& row) { return std::string(row.param.name); });

// Each pair differs in one thing that the C library tells about a zone.
constexpr ZonePair kAnnouncedPairs[] = {
    {"StandardName", "AAA0BBB-1,M3.1.0,M11.1.0", "CCC0BBB-1,M4.1.0,M11.1.0", kMarchMs},
    {"SummerName", "AAA0BBB-1,M3.1.0,M11.1.0", "AAA0CCC-1,M4.1.0,M11.1.0", kMarchMs},
    {"Offset", "XXX-3", "XXX-4", kMarchMs},
    {"WhetherThereIsSummerTime", "AAA0", "AAA0AAA-1,M3.1.0,M11.1.0", kMarchMs},
};

class LogTimeAnnouncedZone : public ::testing::TestWithParam<ZonePair> {};

// A new thread has seen no zone before, so that it can't tell that the one in force isn't TZ's.
TEST_P(LogTimeAnnouncedZone, ShowsOnANewThreadOnceItIsSet)
{
    const LibraryStart library;
    const TimeZoneGuard first(GetParam().first);
    const support::EnvironmentVariable announced("TZ", GetParam().second);
    const std::string inFirst = makeReference(GetParam().timeMs);
    std::string before;
    std::string after;
    std::thread([&] {
        makePrefix(GetParam().timeMs);
        before = makePrefix(GetParam().timeMs);
        ::tzset();
        after = makePrefix(GetParam().timeMs);
    }).join();
    EXPECT_EQ(before, inFirst);
    EXPECT_EQ(after, makeReference(GetParam().timeMs));
    EXPECT_NE(before, after) << "the pair proves nothing";
}

INSTANTIATE_TEST_SUITE_P(Rows, LogTimeAnnouncedZone, ::testing::ValuesIn(kAnnouncedPairs),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(LogTimeTest, KeepsTheOldZoneUntilItIsSet)
{
    const LibraryStart library;
    const TimeZoneGuard zone("UTC0");
    const std::string before = makePrefix(kMarchMs);
    const support::EnvironmentVariable unset("TZ", "CET-1");
    EXPECT_EQ(makePrefix(kMarchMs), before);
    EXPECT_EQ(makePrefix(kMarchMs + 1000), makeReference(kMarchMs + 1000));
}

TEST(LogTimeTest, ShowsAZoneThatIsSetAfterALineCameInBetween)
{
    const LibraryStart library;
    const TimeZoneGuard first("EST5EDT,M3.2.0,M11.1.0");
    const std::string before = makePrefix(kMarchMs);
    const support::EnvironmentVariable announced("TZ", "EST5EDT,M4.1.0,M10.5.0");
    EXPECT_EQ(makePrefix(kMarchMs), before);
    EXPECT_EQ(makePrefix(kMarchMs), before);
    ::tzset();
    EXPECT_EQ(makePrefix(kMarchMs), makeReference(kMarchMs));
    EXPECT_NE(makeReference(kMarchMs), before) << "the pair proves nothing";
}

TEST(LogTimeTest, ShowsAZoneThatIsWrittenOverItsEntry)
{
    const ChildResult child = runInChild([] {
        const LibraryStart library;
        char entry[] = "TZ=EST5EDT,M3.2.0,M11.1.0";
        ::putenv(entry);
        ::tzset();
        makePrefix(kMarchMs);
        const std::string before = makePrefix(kMarchMs);
        std::strcpy(entry, "TZ=EST5EDT,M4.1.0,M11.1.0");
        ::tzset();
        std::cout << (makePrefix(kMarchMs) == makeReference(kMarchMs))
                  << (makeReference(kMarchMs) != before);
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_EQ(child.out, "11");
}

TEST(LogTimeTest, ShowsTheZoneOfAnotherEnvironment)
{
    const ChildResult child = runInChild([] {
        const TimeZoneGuard first("EST5EDT,M3.2.0,M11.1.0");
        const LibraryStart library;
        makePrefix(kMarchMs);
        const std::string before = makePrefix(kMarchMs);
        char entry[] = "TZ=EST5EDT,M4.1.0,M11.1.0";
        char* other[] = {entry, nullptr};
        char** const own = std::exchange(::environ, other);
        ::tzset();
        std::cout << (makePrefix(kMarchMs) == makeReference(kMarchMs))
                  << (makeReference(kMarchMs) != before);
        ::environ = own;
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_EQ(child.out, "11");
}

TEST(LogTimeTest, ShowsTheTimeWithoutAnEnvironment)
{
    const ChildResult child = runInChild([] {
        const LibraryStart library;
        ::clearenv();
        ::tzset();
        for (int i = 0; i < 3; ++i)
            std::cout << (makePrefix(kMarchMs) == makeReference(kMarchMs));
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_EQ(child.out, "111");
}

TEST(LogTimeTest, ShowsAZoneWhoseFirstLineFoundNoMemory)
{
    const LibraryStart library;
    const TimeZoneGuard first("UTC0");
    makePrefix(kMarchMs);
    const std::string before = makePrefix(kMarchMs);
    const TimeZoneGuard second("CET-1");
    {
        qzLog::LogEntry entry;
        entry.timeMs = kMarchMs;
        const support::AllocationFault fault(1);
        EXPECT_THROW(entry.computeLogPrefix(true), std::bad_alloc);
    }
    EXPECT_EQ(makePrefix(kMarchMs), makeReference(kMarchMs));
    EXPECT_NE(makeReference(kMarchMs), before);
}

TEST(LogTimeTest, ShowsALocaleOfTheProcessInTheSameSecond)
{
    const ChildResult child = runInChild([] {
        const TimeZoneGuard zone("UTC0");
        const EnvironmentLocale environment("de_DE.UTF-8");
        const LibraryStart library;
        makePrefix(kSundayMs);
        const bool isEnglish = makePrefix(kSundayMs).find("Sun Mar 14") != std::string::npos;
        ::setlocale(LC_TIME, "de_DE.UTF-8");
        const bool isGerman = makePrefix(kSundayMs).find("So M\xC3\xA4r 14") != std::string::npos;
        ::setlocale(LC_TIME, "C");
        const bool isEnglishAgain = makePrefix(kSundayMs).find("Sun Mar 14") != std::string::npos;
        std::cout << isEnglish << isGerman << isEnglishAgain;
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_EQ(child.out, "111");
}

TEST(LogTimeTest, ShowsALocaleOfTheThreadInTheSameSecond)
{
    const ChildResult child = runInChild([] {
        const TimeZoneGuard zone("UTC0");
        const EnvironmentLocale environment("de_DE.UTF-8");
        const LibraryStart library;
        const std::string english = makePrefix(kSundayMs);
        for (int i = 0; i < 2; ++i) {
            // Each takes the memory of the one before.
            const ThreadLocale german("de_DE.UTF-8");
            std::cout << (makePrefix(kSundayMs).find("So M\xC3\xA4r") != std::string::npos);
        }
        {
            const ThreadLocale japanese("ja_JP.EUC-JP");
            std::cout << (makePrefix(kSundayMs) == makeReference(kSundayMs));
        }
        std::cout << (makePrefix(kSundayMs) == english);
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_EQ(child.out, "1111");
}

TEST(LogTimeTest, ShowsANewCharacterSetOfARestartInTheSameSecond)
{
    const ChildResult child = runInChild([] {
        const TimeZoneGuard zone("UTC0");
        const auto printRun = [](const char* environmentName) {
            const EnvironmentLocale environment(environmentName);
            ::setlocale(LC_TIME, "de_DE.UTF-8");
            const LibraryStart library;
            const std::string prefix = makePrefix(kSundayMs);
            const std::string again = makePrefix(kSundayMs);
            std::cout << prefix.substr(prefix.find("So ")) << (prefix == again);
        };
        printRun("de_DE.UTF-8");
        printRun("en_US.ISO-8859-1");
        printRun("de_DE.UTF-8");
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_EQ(child.out,
              "So M\xC3\xA4r 14 12:00:00+0000 2027 : 1"
              "So M\xC3\x83\xC2\xA4r 14 12:00:00+0000 2027 : 1"
              "So M\xC3\xA4r 14 12:00:00+0000 2027 : 1");
}

TEST(LogTimeTest, ShowsTheStopOfTheConversionsInTheSameSecond)
{
    const ChildResult child = runInChild([] {
        const TimeZoneGuard zone("UTC0");
        const EnvironmentLocale environment("de_DE.ISO-8859-1");
        ::setlocale(LC_TIME, "de_DE.ISO-8859-1");
        const auto printName = [] {
            const std::string prefix = makePrefix(kSundayMs);
            std::cout << prefix.substr(prefix.find("So "), prefix.find(" 14 ") - prefix.find("So "))
                      << '|';
        };
        printName();
        {
            const LibraryStart library;
            printName();
            printName();
        }
        printName();
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_EQ(child.out, "So M\xE4r|So M\xC3\xA4r|So M\xC3\xA4r|So M\xE4r|");
}

TEST(LogTimeTest, TellsTwoSecondsApartThatFollowEachOther)
{
    const TimeZoneGuard zone("UTC0");
    const LibraryStart library;
    for (const long timeMs : {0L, 1000L, 999L, 1000L, -1000L, -999L, -1000L, 1L << 42, 0L}) {
        EXPECT_EQ(makePrefix(timeMs), makeReference(timeMs)) << timeMs;
    }
}

TEST(LogTimeTest, TellsTheSameHourOfTwoWeeksApart)
{
    const TimeZoneGuard zone("UTC0");
    const LibraryStart library;
    constexpr long kWeekMs = 7L * 24 * 3600 * 1000;
    for (const long timeMs : {kSundayMs, kSundayMs, kSundayMs + kWeekMs, kSundayMs}) {
        EXPECT_EQ(makePrefix(timeMs), makeReference(timeMs)) << timeMs;
    }
}

TEST(LogTimeTest, MakesAnotherLineOfASecondWithoutAnAllocation)
{
    const TimeZoneGuard zone("UTC0");
    const LibraryStart library;
    qzLog::LogEntry entry;
    entry.timeMs = kSundayMs;
    entry.computeLogPrefix(true);
    entry.computeLogPrefix(true);
    const AllocationCounter counter;
    entry.computeLogPrefix(true);
    EXPECT_EQ(counter.getCount(), 0U);
}

TEST(LogTimeTest, ShowsTheRightTimeAfterMemoryEnded)
{
    const TimeZoneGuard zone("UTC0");
    const LibraryStart library;
    long timeMs = kSundayMs;
    support::failEachAllocation(
        [&timeMs] {
            qzLog::LogEntry entry;
            entry.timeMs = timeMs;
            entry.computeLogPrefix(true);
        },
        [&timeMs](const support::AllocationFailure& failure) {
            EXPECT_TRUE(failure.threwBadAlloc);
            EXPECT_EQ(makePrefix(timeMs), makeReference(timeMs)) << failure.number;
            timeMs += 1000;
        });
    EXPECT_GT(timeMs, kSundayMs);
}

// --- Random changes, in four environments

class LogTimeWalk : public ::testing::TestWithParam<std::tuple<const char*, unsigned>> {};

namespace {

// Changes one thing at random a step, and asks for the time of a few seconds again and again.
class Walker {
public:
    explicit Walker(unsigned seed) : mGenerator(seed), mLibrary(std::make_unique<LibraryStart>())
    {
        for (long& second : mSeconds)
            second = mGenerator.makeTimeMs() / 1000;
    }

    void change()
    {
        const std::function<void()> changes[] = {
            [this] { setZone(mGenerator.choose(kZones)); },
            [this] { setZone(mGenerator.choose(kZones)); },
            [this] { ::setlocale(LC_TIME, mGenerator.choose(kLocales)); },
            [this] { mThreadLocale.reset(new ThreadLocale(mGenerator.choose(kLocales))); },
            [this] { mThreadLocale = nullptr; },
            [this] { mSecond = mGenerator.choose(mSeconds); },
            [this] { mSecond = mGenerator.choose(mSeconds); },
            [this] { restart(); },
        };
        mGenerator.choose(changes)();
    }

    // Asks so often that the text is one that was kept.
    std::string findMismatch()
    {
        const long timeMs = mSecond * 1000 + (mSecond < 0 ? -1 : 1) * mGenerator.getNumber(0, 999);
        const std::string made[] = {makePrefix(timeMs), makePrefix(timeMs), makePrefix(timeMs)};
        const std::string expected = makeReference(timeMs);
        for (const std::string& prefix : made) {
            if (prefix != expected) return prefix + " instead of " + expected;
        }
        return {};
    }

private:
    static void setZone(const char* zone)
    {
        ::setenv("TZ", zone, /*overwrite=*/1);
        ::tzset();
    }
    void restart()
    {
        mLibrary = nullptr;
        makePrefix(mSecond * 1000);
        mLibrary = std::make_unique<LibraryStart>();
    }

    reference::Generator mGenerator;
    std::unique_ptr<LibraryStart> mLibrary;
    std::unique_ptr<ThreadLocale> mThreadLocale;
    long mSecond = 0;
    std::array<long, 3> mSeconds;
};

int walk(const char* environmentName, unsigned seed)
{
    const EnvironmentLocale environment(environmentName);
    Walker walker(seed);
    for (int i = 0; i < 3000; ++i) {
        walker.change();
        const std::string mismatch = walker.findMismatch();
        if (mismatch.empty()) continue;
        std::cout << "step " << i << ": " << mismatch;
        return 1;
    }
    return 0;
}

}  // namespace

TEST_P(LogTimeWalk, ShowsEachChangeAtOnce)
{
    const char* const environment = std::get<0>(GetParam());
    const unsigned seed = std::get<1>(GetParam());
    const ChildResult child = runInChild([&] { return walk(environment, seed); });
    EXPECT_EQ(child.getEnd(), "exit 0") << environment << ", seed " << seed;
    EXPECT_EQ(child.out, "");
}

INSTANTIATE_TEST_SUITE_P(Seeds, LogTimeWalk,
                         ::testing::Combine(::testing::Values("C", "de_DE.UTF-8",
                                                              "de_DE.ISO-8859-1", "ja_JP.EUC-JP"),
                                            ::testing::ValuesIn(reference::kSeeds)));

// --- Threads

namespace {

// What threads found wrong.
class Findings {
public:
    void add(const std::string& text)
    {
        const std::lock_guard lock(mMutex);
        mTexts.push_back(text);
    }
    const std::vector<std::string>& getTexts() const { return mTexts; }

private:
    std::mutex mMutex;
    std::vector<std::string> mTexts;  // guarded by mMutex
};

void runOnThreads(int count, const std::function<void(unsigned)>& work)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back(work, static_cast<unsigned>(i));
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace

TEST(LogTimeThreadsTest, KeepTheirTimesApart)
{
    const EnvironmentLocale environment("de_DE.UTF-8");
    const TimeZoneGuard zone("Europe/Paris");
    const LibraryStart library(FullInit);
    const Locale english("C");
    const Locale german("de_DE.UTF-8");
    Findings findings;
    runOnThreads(4, [&](unsigned number) {
        ::uselocale(number % 2 == 0 ? english.get() : german.get());
        reference::Generator generator(number);
        const std::array<long, 3> times{generator.makeTimeMs(), generator.makeTimeMs(),
                                        generator.makeTimeMs()};
        const std::array<std::string, 3> expected{makeReference(times[0]), makeReference(times[1]),
                                                  makeReference(times[2])};
        for (std::size_t i = 0; i < 20000; ++i) {
            // Each for a while, so that most of the texts are kept ones.
            const std::size_t now = i / 100 % times.size();
            const std::string made = makePrefix(times[now]);
            if (made != expected[now]) findings.add(made + " instead of " + expected[now]);
        }
    });
    EXPECT_THAT(findings.getTexts(), IsEmpty());
}

TEST(LogTimeThreadsTest, ShowOneOfTheTwoZonesWhileAnotherThreadSwitches)
{
    const LibraryStart library(FullInit);
    const TimeZoneGuard first("UTC0");
    const std::string inFirst = makeReference(kMarchMs);
    const TimeZoneGuard second("CET-1");
    const std::string inSecond = makeReference(kMarchMs);
    Findings findings;
    std::atomic<int> readyThreads = 0;
    std::atomic<bool> isOver = false;
    std::thread switcher([&] {
        while (readyThreads != 3)
            std::this_thread::yield();
        for (int i = 0; i < 20000; ++i) {
            ::setenv("TZ", i % 2 == 0 ? "UTC0" : "CET-1", /*overwrite=*/1);
            ::tzset();
        }
        isOver = true;
    });
    runOnThreads(3, [&](unsigned) {
        makePrefix(kMarchMs);  // the first conversion of a thread reads the environment
        ++readyThreads;
        while (!isOver) {
            const std::string prefix = makePrefix(kMarchMs);
            if (prefix != inFirst && prefix != inSecond) findings.add(prefix);
        }
        if (makePrefix(kMarchMs) != inSecond) findings.add("the zone of the end doesn't show");
    });
    switcher.join();
    EXPECT_THAT(findings.getTexts(), IsEmpty());
}

}  // namespace qz
