// SPDX-License-Identifier: MIT
#include <qz/qzSystemVersion.h>

#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qz {

using qzSystem::Version;
using ::testing::MatchesRegex;

namespace {

template <typename... Results>
constexpr bool areNumbers = (std::is_same_v<Results, int> && ...);
template <typename... Results>
constexpr bool areTexts = (std::is_same_v<Results, const char*> && ...);

static_assert(areNumbers<decltype(Version::GetMajor()), decltype(Version::GetMinor()),
                         decltype(Version::GetRelease()), decltype(Version::GetRevision()),
                         decltype(Version::GetYear()), decltype(Version::GetMonth())>);
static_assert(
    areTexts<decltype(Version::GetCommitId()), decltype(Version::GetDescStringMajorMinor(true)),
             decltype(Version::GetDescStringMajorMinorRelease(true)),
             decltype(Version::GetDescStringMajorMinorReleaseRevision(true, true)),
             decltype(Version::GetDescStringMajorMinorReleaseRevisionDate())>);

const std::string kCommit = Version::GetCommitId();

}  // namespace

TEST(qzSystemVersionTest, KnowsItsNumbers)
{
    EXPECT_EQ(Version::GetMajor(), 3);
    EXPECT_EQ(Version::GetMinor(), 0);
    EXPECT_EQ(Version::GetRelease(), 0);
    EXPECT_EQ(Version::GetRevision(), 1297);
    EXPECT_EQ(Version::GetYear(), 2026);
    EXPECT_EQ(Version::GetMonth(), 2);
}

TEST(qzSystemVersionTest, HasACommitOfSixteenDigits)
{
    EXPECT_EQ(kCommit.size(), 16U);
    EXPECT_THAT(kCommit, MatchesRegex("[0-9a-f]+"));
}

TEST(qzSystemVersionTest, DescribesItself)
{
    for (const bool ignored : {false, true}) {
        EXPECT_STREQ(Version::GetDescStringMajorMinor(ignored), "3.0");
        EXPECT_STREQ(Version::GetDescStringMajorMinorRelease(ignored), "3.0.0");
        EXPECT_STREQ(Version::GetDescStringMajorMinorReleaseRevision(ignored, false), "3.0.0.1297");
        EXPECT_EQ(Version::GetDescStringMajorMinorReleaseRevision(ignored, true),
                  "3.0.0.1297 #" + kCommit);
    }
    EXPECT_EQ(Version::GetDescStringMajorMinorReleaseRevisionDate(),
              "3.0.0.1297 #" + kCommit + " 2026-2");
}

TEST(qzSystemVersionTest, IsARelease)
{
    EXPECT_FALSE(Version::IsBeta());
    EXPECT_FALSE(Version::IsDebug());
    EXPECT_FALSE(Version::IsDev());
}

}  // namespace qz
