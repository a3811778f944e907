// SPDX-License-Identifier: MIT
// The local time of the log in a forked child, which reads no time zone.

#include <climits>
#include <iostream>
#include <string>

#include <time.h>

#include <gtest/gtest.h>

#include <qz/qzSystemUtils.h>

#include "frame/base/TimeText.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"

namespace qz {

using support::ChildResult;
using support::LibraryStart;
using support::runInChild;
using support::TimeZoneGuard;

namespace {

constexpr long kWinter = 1767225600;  // 2026-01-01
constexpr long kSummer = 1782000000;  // 2026-06-21

std::string describe(const tm& parts)
{
    std::string text;
    for (const long part :
         {long(parts.tm_year), long(parts.tm_mon), long(parts.tm_mday), long(parts.tm_hour),
          long(parts.tm_min), long(parts.tm_sec), long(parts.tm_wday), long(parts.tm_yday),
          long(parts.tm_isdst), parts.tm_gmtoff}) {
        text += std::to_string(part) + ' ';
    }
    return text + parts.tm_zone;
}

std::string readZone(long second)
{
    tm parts = {};
    ::localtime_r(&second, &parts);
    return std::to_string(parts.tm_gmtoff) + parts.tm_zone;
}

}  // namespace

TEST(TimeTextInAForkedChild, HasTheZoneOfThePresentWhateverDatesWereConverted)
{
    const TimeZoneGuard zone("CET-1CEST,M3.5.0,M10.5.0/3");
    const LibraryStart library(FullInit);
    const std::string present = readZone(qzSystemUtils::GetSecElapsedSinceEpoch());
    for (const long second : {kWinter, kSummer}) {
        qzSystemUtils::ConvertSecElapsedSinceEpochToString(second, "%F", /*localTime=*/true);
        tm other = {};
        getLocalTime(second, other);
        const ChildResult result = runInChild([] {
            std::cout << getPresentTimeText("%z");
            tm parts = {};
            getLocalTime(qzSystemUtils::GetSecElapsedSinceEpoch(), parts);
            std::cout << ' ' << parts.tm_gmtoff << parts.tm_zone;
            return 0;
        });
        EXPECT_EQ(result.out, (present == "3600CET" ? "+0100 " : "+0200 ") + present) << second;
    }
}

TEST(TimeTextInAForkedChild, HasTheZoneThatAppliesAtTheFork)
{
    const TimeZoneGuard before("UTC0");
    const LibraryStart library(FullInit);
    const TimeZoneGuard changed("XYZ-5:30");
    const ChildResult result = runInChild([] {
        const TimeZoneGuard ignored("ABC3");
        std::cout << getPresentTimeText("%z %Z");
        return 0;
    });
    EXPECT_EQ(result.out, "+0530 XYZ");
}

TEST(TimeTextInAForkedChild, HasTheFieldsThatTheSystemComputes)
{
    for (const char* const name : {"UTC0", "XYZ-5:30", "ABC11"}) {
        const TimeZoneGuard zone(name);
        const LibraryStart library(FullInit);
        const ChildResult result = runInChild([] {
            constexpr long kStep = 86400L * 13 + 3607;
            constexpr long kEnd = 86400L * 366 * 500;
            int different = 0;
            const auto compare = [&](long second) {
                tm parts = {};
                tm expected = {};
                ::localtime_r(&second, &expected);
                const bool isEqual =
                    getLocalTime(second, parts) && describe(parts) == describe(expected);
                if (!isEqual && different++ == 0)
                    std::cout << second << ": " << describe(parts) << ", " << describe(expected);
            };
            for (long second = -kEnd; second < kEnd; second += kStep)
                compare(second);
            for (const long second : {-1L, 0L, 1709164800L, 1735603200L, 1735689599L, 1735689600L,
                                      900'000'000'000L, -900'000'000'000L})
                compare(second);
            std::cout << different;
            return 0;
        });
        EXPECT_EQ(result.out, "0") << name;
    }
}

TEST(TimeTextInAForkedChild, HasNoTimeBeyondItsCalendar)
{
    const LibraryStart library(FullInit);
    const ChildResult result = runInChild([] {
        for (const long second : {900'000'000'001L, -900'000'000'001L, LONG_MAX, LONG_MIN}) {
            tm parts = {};
            std::cout << getLocalTime(second, parts);
        }
        return 0;
    });
    EXPECT_EQ(result.out, "0000");
}

}  // namespace qz
