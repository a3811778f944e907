// SPDX-License-Identifier: MIT
#include "support/Environment.h"

#include <langinfo.h>

#include <clocale>
#include <cstdlib>
#include <ctime>

#include <gtest/gtest.h>

namespace qz::support {

TEST(EnvironmentVariableTest, SetsAndPutsBack)
{
    const EnvironmentVariable outer("QZ_SUPPORT_TEST", "outer");
    {
        const EnvironmentVariable inner("QZ_SUPPORT_TEST", "inner");
        EXPECT_STREQ(std::getenv("QZ_SUPPORT_TEST"), "inner");
    }
    EXPECT_STREQ(std::getenv("QZ_SUPPORT_TEST"), "outer");
}

TEST(EnvironmentVariableTest, TakesAwayAndPutsBackAVariableThatWasNotThere)
{
    {
        const EnvironmentVariable set("QZ_SUPPORT_TEST", "set");
        const EnvironmentVariable away("QZ_SUPPORT_TEST", std::nullopt);
        EXPECT_EQ(std::getenv("QZ_SUPPORT_TEST"), nullptr);
    }
    EXPECT_EQ(std::getenv("QZ_SUPPORT_TEST"), nullptr);
}

struct LocaleRow {
    const char* name;
    const char* locale;
    const char* charset;
};

constexpr LocaleRow kLocaleRows[] = {
    {"C", "C", "ANSI_X3.4-1968"},
    {"CUtf8", "C.UTF-8", "UTF-8"},
    {"EnglishLatin1", "en_US.ISO-8859-1", "ISO-8859-1"},
    {"GermanLatin1", "de_DE.ISO-8859-1", "ISO-8859-1"},
    {"GermanUtf8", "de_DE.UTF-8", "UTF-8"},
    {"FrenchUtf8", "fr_FR.UTF-8", "UTF-8"},
    {"JapaneseEucJp", "ja_JP.EUC-JP", "EUC-JP"},
};

class LocaleGuardTest : public ::testing::TestWithParam<LocaleRow> {};

TEST_P(LocaleGuardTest, SetsTheLocaleOfItsRow)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    {
        const LocaleGuard guard(GetParam().locale);
        EXPECT_STREQ(::nl_langinfo(CODESET), GetParam().charset);
    }
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
}

INSTANTIATE_TEST_SUITE_P(Rows, LocaleGuardTest, ::testing::ValuesIn(kLocaleRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(LocaleGuardRefusal, ThrowsForALocaleThatIsNotThere)
{
    EXPECT_THROW(LocaleGuard("xx_XX.UTF-8"), std::runtime_error);
}

TEST(EnvironmentLocaleTest, LeavesTheLocaleOfTheProcessAlone)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const EnvironmentLocale locale("ja_JP.EUC-JP");
    EXPECT_STREQ(std::getenv("LC_ALL"), "ja_JP.EUC-JP");
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
}

TEST(TimeZoneGuardTest, MovesTheLocalTimeAndPutsItBack)
{
    const auto getOffset = [] {
        const std::time_t summerOf2026 = 1782000000;
        std::tm parts = {};
        ::localtime_r(&summerOf2026, &parts);
        return parts.tm_gmtoff;
    };
    const TimeZoneGuard utc("UTC0");
    {
        const TimeZoneGuard summer("CET-1CEST,M3.5.0,M10.5.0/3");
        EXPECT_EQ(getOffset(), 7200);
    }
    EXPECT_EQ(getOffset(), 0);
}

}  // namespace qz::support
