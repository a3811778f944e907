// The load-time objects of the library stand in the order of their priorities: objects of the test
// with priorities between look at them while they are being made.

#include "frame/LoadOrder.h"

#include <gtest/gtest.h>

#include <qz/SoftwareVersionInfoForStream.h>
#include <qz/qzByteArrayLowFootprint.h>
#include <qz/qzSimdConstants.h>

#include "frame/LibInitCounterTestPeer.h"
#include "frame/LoadTimeObjects.h"

namespace qz {

namespace {

using Peer = impl::LibInitCounterTestPeer;

// A counter has its name from the moment that it is made, and the record its description; before,
// the memory is zero.
struct Look {
    bool seesLightCounter = !Peer::getName(gLightCounter).empty();
    bool seesFullCounter = !Peer::getName(gFullCounter).empty();
    bool seesVersionRecord = !GetSoftwareVersionForStream().description.empty();
};

// What is there without being made: seen by the first object that a program may have.
struct FirstLook {
    bool seesByteArrays =
        qzByteArrayLowFootprint::sNull.isNull() && !qzByteArrayLowFootprint::sEmpty.isNull();
    bool seesSimdConstants =
        sSSEOne.lanes[3] == 1 && sMaskTable[15].lanes[3] == 0xFFFFFFFF && sOffset[4] == 3;
};

[[gnu::init_priority(101)]] const FirstLook gFirst;
[[gnu::init_priority(QZ_LOAD_LIGHT_COUNTER - 1)]] const Look gAheadOfLightCounter;
[[gnu::init_priority(QZ_LOAD_LIGHT_COUNTER + 1)]] const Look gBehindLightCounter;
[[gnu::init_priority(QZ_LOAD_FULL_COUNTER - 1)]] const Look gAheadOfFullCounter;
[[gnu::init_priority(QZ_LOAD_FULL_COUNTER + 1)]] const Look gBehindFullCounter;
[[gnu::init_priority(QZ_LOAD_VERSION_RECORD - 1)]] const Look gAheadOfVersionRecord;
[[gnu::init_priority(QZ_LOAD_VERSION_RECORD + 1)]] const Look gBehindVersionRecord;
const Look gWithoutPriority;

}  // namespace

TEST(LoadOrderTest, HasConstantsAheadOfEverything)
{
    EXPECT_TRUE(gFirst.seesByteArrays);
    EXPECT_TRUE(gFirst.seesSimdConstants);
}

TEST(LoadOrderTest, MakesTheLightCounterAtItsPlace)
{
    EXPECT_FALSE(gAheadOfLightCounter.seesLightCounter);
    EXPECT_TRUE(gBehindLightCounter.seesLightCounter);
}

TEST(LoadOrderTest, MakesTheFullCounterBehindTheLightOne)
{
    EXPECT_FALSE(gBehindLightCounter.seesFullCounter);
    EXPECT_FALSE(gAheadOfFullCounter.seesFullCounter);
    EXPECT_TRUE(gBehindFullCounter.seesFullCounter);
}

TEST(LoadOrderTest, MakesTheVersionRecordBehindTheCounters)
{
    EXPECT_FALSE(gBehindFullCounter.seesVersionRecord);
    EXPECT_FALSE(gAheadOfVersionRecord.seesVersionRecord);
    EXPECT_TRUE(gBehindVersionRecord.seesVersionRecord);
}

TEST(LoadOrderTest, MakesAllAheadOfOrdinaryObjects)
{
    EXPECT_TRUE(gWithoutPriority.seesLightCounter);
    EXPECT_TRUE(gWithoutPriority.seesFullCounter);
    EXPECT_TRUE(gWithoutPriority.seesVersionRecord);
}

}  // namespace qz
