// SPDX-License-Identifier: MIT
#include <qz/qzPowerStatus.h>

#include <cstddef>
#include <limits>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzSystemUtils.h>

#include "io/VirtualSlots.h"
#include "support/Waiting.h"

namespace qz {

using ::testing::ElementsAre;

static_assert(sizeof(qzPowerStatus) == 8 && offsetof(qzPowerStatus, powerSource) == 0 &&
              offsetof(qzPowerStatus, batteryLevel) == 4);
static_assert(sizeof(qzPowerStatusReader) == 24);
static_assert(!std::is_polymorphic_v<qzPowerStatus> && !std::is_polymorphic_v<qzPowerStatusReader>);
static_assert(!std::is_convertible_v<long, qzPowerStatusReader>);

/// Looks into a reader.
class qzPowerStatusTestPeer {
public:
    static qzPowerStatus& editStatus(qzPowerStatusReader& reader) { return reader.mStatus; }
    static long& editLastUpdateMs(qzPowerStatusReader& reader) { return reader.mLastUpdateMs; }
    static Offsets getOffsets(const qzPowerStatusReader& reader)
    {
        return {findOffset(reader, reader.mUpdatePeriodMs),
                findOffset(reader, reader.mLastUpdateMs), findOffset(reader, reader.mStatus)};
    }
};

namespace {

using Peer = qzPowerStatusTestPeer;

constexpr long kLongMs = std::numeric_limits<long>::max();

qzPowerStatus makeStatus(int powerSource, int batteryLevel)
{
    qzPowerStatus status;
    status.powerSource = powerSource;
    status.batteryLevel = batteryLevel;
    return status;
}

}  // namespace

TEST(qzPowerStatus, IsUnknownByDefault)
{
    const qzPowerStatus status;
    EXPECT_EQ(status.powerSource, 2);
    EXPECT_EQ(status.batteryLevel, 101);
    EXPECT_TRUE(status == qzPowerStatus());
    EXPECT_FALSE(status != qzPowerStatus());
}

TEST(qzPowerStatus, IsNeitherEqualNorUnequalIfOneFieldDiffers)
{
    const qzPowerStatus status = makeStatus(1, 50);
    for (const qzPowerStatus& other : {makeStatus(1, 51), makeStatus(0, 50)}) {
        EXPECT_FALSE(status == other);
        EXPECT_FALSE(status != other);
    }
}

TEST(qzPowerStatus, IsUnequalIfBothFieldsDiffer)
{
    EXPECT_FALSE(makeStatus(1, 50) == makeStatus(0, 51));
    EXPECT_TRUE(makeStatus(1, 50) != makeStatus(0, 51));
}

TEST(qzPowerStatusReader, ReadsAtItsConstruction)
{
    const auto before = static_cast<long>(qzSystemUtils::GetTimeBaseMs());
    qzPowerStatusReader reader(kLongMs);
    EXPECT_GE(Peer::editLastUpdateMs(reader), before);
    EXPECT_TRUE(reader.getPowerStatus() == qzPowerStatus());
}

TEST(qzPowerStatusReader, ReportsNoChangeOfTheConstantStatus)
{
    qzPowerStatusReader reader(0);
    EXPECT_FALSE(reader.updatePowerStatusReader(/*force=*/true));
}

TEST(qzPowerStatusReader, ReportsAChangeOfBothFieldsOnly)
{
    qzPowerStatusReader reader(kLongMs);
    Peer::editStatus(reader) = makeStatus(1, 101);
    EXPECT_FALSE(reader.updatePowerStatusReader(/*force=*/true));
    Peer::editStatus(reader) = makeStatus(1, 50);
    EXPECT_TRUE(reader.updatePowerStatusReader(/*force=*/true));
    EXPECT_TRUE(reader.getPowerStatus() == qzPowerStatus());
}

TEST(qzPowerStatusReader, ReadsOnlyAfterThePeriodUnlessForced)
{
    qzPowerStatusReader reader(3'600'000);
    Peer::editStatus(reader) = makeStatus(1, 50);
    EXPECT_FALSE(reader.updatePowerStatusReader(/*force=*/false));
    EXPECT_EQ(reader.getPowerStatus().batteryLevel, 50);
    Peer::editLastUpdateMs(reader) -= 3'600'001;
    EXPECT_EQ(reader.getPowerStatus().batteryLevel, 101);
}

TEST(qzPowerStatusReader, StartsItsPeriodAnewWithAReadingThatIsNotForced)
{
    qzPowerStatusReader reader(3'600'000);
    const auto before = static_cast<long>(qzSystemUtils::GetTimeBaseMs());
    for (const bool force : {false, true}) {
        Peer::editLastUpdateMs(reader) = before - 3'600'001;
        reader.updatePowerStatusReader(force);
        EXPECT_GE(Peer::editLastUpdateMs(reader), before) << force;
    }
    Peer::editLastUpdateMs(reader) = before - 1;
    reader.updatePowerStatusReader(/*force=*/false);
    EXPECT_EQ(Peer::editLastUpdateMs(reader), before - 1) << "without a reading";
}

TEST(qzPowerStatusReader, DoesNotReadYetWhenThePeriodHasJustPassed)
{
    qzPowerStatusReader reader(1000);
    bool hasRead = true;
    const auto readWithinAMillisecond = [&] {
        const auto nowMs = static_cast<long>(qzSystemUtils::GetTimeBaseMs());
        Peer::editStatus(reader) = makeStatus(1, 50);
        Peer::editLastUpdateMs(reader) = nowMs - 1000;
        hasRead = reader.updatePowerStatusReader(/*force=*/false);
        return static_cast<long>(qzSystemUtils::GetTimeBaseMs()) == nowMs;
    };
    EXPECT_TRUE(support::waitUntil(readWithinAMillisecond));
    EXPECT_FALSE(hasRead);
}

TEST(qzPowerStatusReader, ReadsWithAPeriodOf0WhenTheClockHasMoved)
{
    qzPowerStatusReader reader(0);
    Peer::editStatus(reader) = makeStatus(1, 50);
    Peer::editLastUpdateMs(reader) = std::numeric_limits<long>::max() / 2;
    EXPECT_FALSE(reader.updatePowerStatusReader(/*force=*/false));
    Peer::editLastUpdateMs(reader) = 0;
    EXPECT_TRUE(reader.updatePowerStatusReader(/*force=*/false));
}

TEST(qzPowerStatusReader, AlwaysReadsWithANegativePeriod)
{
    qzPowerStatusReader reader(-1);
    Peer::editStatus(reader) = makeStatus(1, 50);
    EXPECT_TRUE(reader.updatePowerStatusReader(/*force=*/false));
    Peer::editStatus(reader) = makeStatus(1, 50);
    EXPECT_EQ(reader.getPowerStatus().powerSource, 2);
}

TEST(qzPowerStatusReader, KeepsTheOrderOfItsFields)
{
    const qzPowerStatusReader reader(0);
    EXPECT_THAT(Peer::getOffsets(reader), ElementsAre(0, 8, 16));
}

}  // namespace qz
