// SPDX-License-Identifier: MIT
#include <qz/qzVersion.h>

#include <climits>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "io/VirtualSlots.h"

namespace qz {

using ::testing::ElementsAre;

class qzVersionTestPeer {
public:
    static Offsets getOffsets(const qzVersion& version)
    {
        return {findOffset(version, version.mMajor),    findOffset(version, version.mMinor),
                findOffset(version, version.mRevision), findOffset(version, version.mBuild),
                findOffset(version, version.mStage),    findOffset(version, version.mDescription)};
    }
};

namespace {

static_assert(sizeof(qzVersion) == 64 && std::has_virtual_destructor_v<qzVersion>);
static_assert(std::is_copy_constructible_v<qzVersion> && std::is_copy_assignable_v<qzVersion>);

constexpr int kDeletingDestructor = 1;

void expectParts(const qzVersion& version, unsigned major, unsigned minor, unsigned revision,
                 const std::string& description)
{
    EXPECT_EQ(version.getMajorVersion(), major);
    EXPECT_EQ(version.getMinorVersion(), minor);
    EXPECT_EQ(version.getRevision(), revision);
    EXPECT_EQ(version.getDescription(), description);
}

// The two numbers that nothing reads.
void expectFurtherNumbers(const qzVersion& version, unsigned first, unsigned second)
{
    EXPECT_EQ(readField<unsigned>(&version, 20), first);
    EXPECT_EQ(readField<unsigned>(&version, 24), second);
}

}  // namespace

TEST(qzVersionTest, IsNothingAtFirst)
{
    const qzVersion version;
    expectParts(version, 0, 0, 0, "");
    expectFurtherNumbers(version, 0, 0);
}

TEST(qzVersionTest, HoldsItsParts)
{
    const qzVersion version(1, 2, 3, "text", 4, 5);
    expectParts(version, 1, 2, 3, "text");
    expectFurtherNumbers(version, 4, 5);
    expectParts(qzVersion(UINT_MAX, UINT_MAX, UINT_MAX, std::string("a\0b", 3), 0, 0), UINT_MAX,
                UINT_MAX, UINT_MAX, std::string("a\0b", 3));
}

TEST(qzVersionTest, IsOverwrittenAsAWhole)
{
    qzVersion version(1, 2, 3, "text", 4, 5);
    version.setVersion(6, 7, 8, "other", 9, 10);
    expectParts(version, 6, 7, 8, "other");
    expectFurtherNumbers(version, 9, 10);
    version.setVersion(6, 7, 8, version.getDescription(), 9, 10);
    expectParts(version, 6, 7, 8, "other");
    version.setVersion(0, 0, 0, "", 0, 0);
    expectParts(version, 0, 0, 0, "");
}

TEST(qzVersionTest, IsCopied)
{
    const qzVersion version(1, 2, 3, "text", 4, 5);
    const qzVersion copy(version);
    expectParts(copy, 1, 2, 3, "text");
    expectFurtherNumbers(copy, 4, 5);
    qzVersion assigned;
    assigned = version;
    expectParts(assigned, 1, 2, 3, "text");
}

TEST(qzVersionTest, IsEqualWhateverTheTextAndTheFurtherNumbers)
{
    EXPECT_TRUE(qzVersion(1, 2, 3, "a", 0, 0) == qzVersion(1, 2, 3, "b", 9, 9));
    EXPECT_FALSE(qzVersion(1, 2, 3, "a", 0, 0) != qzVersion(1, 2, 3, "b", 9, 9));
    EXPECT_FALSE(qzVersion(1, 2, 3, "a", 0, 0) < qzVersion(1, 2, 3, "b", 9, 9));
}

TEST(qzVersionTest, ComparesNumbersAndNotTexts)
{
    EXPECT_TRUE(qzVersion(1, 10, 0, "", 0, 0) > qzVersion(1, 9, 99, "", 0, 0));
}

// From the smallest to the largest, no two of them equal.
TEST(qzVersionTest, ComparesFromTheFirstNumberToTheThird)
{
    std::vector<qzVersion> rising;
    for (const unsigned major : {0U, 1U, 0x80000000U, UINT_MAX})
        for (const unsigned minor : {0U, 9U, 10U, UINT_MAX})
            for (const unsigned revision : {0U, 99U, UINT_MAX})
                rising.emplace_back(major, minor, revision, "", 0, 0);
    for (std::size_t i = 0; i < rising.size(); ++i) {
        for (std::size_t j = 0; j < rising.size(); ++j) {
            const qzVersion& left = rising[i];
            const qzVersion& right = rising[j];
            EXPECT_EQ(left == right, i == j) << i << ' ' << j;
            EXPECT_EQ(left != right, i != j) << i << ' ' << j;
            EXPECT_EQ(left < right, i < j) << i << ' ' << j;
            EXPECT_EQ(left <= right, i <= j) << i << ' ' << j;
            EXPECT_EQ(left > right, i > j) << i << ' ' << j;
            EXPECT_EQ(left >= right, i >= j) << i << ' ' << j;
        }
    }
}

TEST(qzVersionTest, HoldsItsFieldsInTheirOrder)
{
    EXPECT_THAT(qzVersionTestPeer::getOffsets(qzVersion()), ElementsAre(8, 12, 16, 20, 24, 32));
}

TEST(qzVersionTest, HasTheDestructorForItsVirtualFunction)
{
    EXPECT_TRUE(isEndedBySlot<qzVersion>(kDeletingDestructor));
}

}  // namespace qz
