// SPDX-License-Identifier: MIT
// The load-time objects of the library stand in the order of their priorities: objects of the test
// with priorities between look at them while they are being made.

#include "frame/base/LoadOrder.h"

#include <algorithm>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include <qz/SoftwareVersionInfoForStream.h>
#include <qz/qzByteArrayLowFootprint.h>
#include <qz/qzSimdConstants.h>

#include "concurrency/LoadingThread.h"
#include "concurrency/NeverCancels.h"
#include "frame/base/RandomSeed.h"
#include "frame/resources/MimeTable.h"
#include "frame/start/InitCounters.h"
#include "frame/start/LibInitCounterTestPeer.h"
#include "system/ConsoleCatcher.h"

namespace qz {

namespace {

using Peer = impl::LibInitCounterTestPeer;

// Whether a constructor has written to an object: before, the memory is zero. No object is looked
// at as what it isn't yet.
template <typename Object>
bool isMade(const Object& object)
{
    const auto* const bytes = reinterpret_cast<const char*>(&object);
    return std::any_of(bytes, bytes + sizeof object, [](char byte) { return byte != 0; });
}

// A counter has its name from the moment that it is made, and the record its description.
struct Look {
    bool seesLoadingThreadId = isMade(gLoadingThreadId);
    bool seesMimeTable = isMade(gMimeTable);
    bool seesDefaultMimeType = isMade(gDefaultMimeType);
    bool seesLoadTime = isMade(gRandomSeed);
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
    bool seesSourceThatNeverCancels = !gNeverCancels.shouldCancel();
    bool seesNoConsoleCatcher = gConsoleCatcher == nullptr;
};

[[gnu::init_priority(101)]] const FirstLook gFirst;
[[gnu::init_priority(QZ_LOAD_LOADING_THREAD - 1)]] const Look gBeforeLoadingThread;
[[gnu::init_priority(QZ_LOAD_LOADING_THREAD + 1)]] const Look gAfterLoadingThread;
[[gnu::init_priority(QZ_LOAD_MIME_TYPES - 1)]] const Look gAheadOfMimeTypes;
[[gnu::init_priority(QZ_LOAD_MIME_TYPES + 1)]] const Look gBehindMimeTypes;
[[gnu::init_priority(QZ_LOAD_TIME - 1)]] const Look gAheadOfLoadTime;
[[gnu::init_priority(QZ_LOAD_TIME + 1)]] const Look gBehindLoadTime;
[[gnu::init_priority(QZ_LOAD_LIGHT_COUNTER - 1)]] const Look gAheadOfLightCounter;
[[gnu::init_priority(QZ_LOAD_LIGHT_COUNTER + 1)]] const Look gBehindLightCounter;
[[gnu::init_priority(QZ_LOAD_FULL_COUNTER - 1)]] const Look gAheadOfFullCounter;
[[gnu::init_priority(QZ_LOAD_FULL_COUNTER + 1)]] const Look gBehindFullCounter;
[[gnu::init_priority(QZ_LOAD_VERSION_RECORD - 1)]] const Look gAheadOfVersionRecord;
[[gnu::init_priority(QZ_LOAD_VERSION_RECORD + 1)]] const Look gBehindVersionRecord;
const Look gWithoutPriority;
const bool gMimeTableWasEmpty = gMimeTable.empty();
const bool gThereWasNoConsoleCatcher = gConsoleCatcher == nullptr;

}  // namespace

TEST(LoadOrderTest, HasConstantsBeforeEverything)
{
    EXPECT_TRUE(gFirst.seesByteArrays);
    EXPECT_TRUE(gFirst.seesSimdConstants);
    EXPECT_TRUE(gFirst.seesSourceThatNeverCancels);
    EXPECT_TRUE(gFirst.seesNoConsoleCatcher);
}

TEST(LoadOrderTest, LeavesTheSlotOfTheConsoleCatcherEmpty)
{
    EXPECT_TRUE(gThereWasNoConsoleCatcher);
}

TEST(LoadOrderTest, NotesTheLoadingThreadAtItsPlace)
{
    EXPECT_FALSE(gBeforeLoadingThread.seesLoadingThreadId);
    EXPECT_TRUE(gAfterLoadingThread.seesLoadingThreadId);
    EXPECT_EQ(gLoadingThreadId, std::to_string(::getpid())) << "the main thread's id";
}

TEST(LoadOrderTest, MakesTheMimeTypesAfterTheLoadingThread)
{
    EXPECT_FALSE(gAfterLoadingThread.seesMimeTable);
    EXPECT_FALSE(gAheadOfMimeTypes.seesMimeTable);
    EXPECT_FALSE(gAheadOfMimeTypes.seesDefaultMimeType);
    EXPECT_TRUE(gBehindMimeTypes.seesMimeTable);
    EXPECT_TRUE(gBehindMimeTypes.seesDefaultMimeType);
    EXPECT_FALSE(gBehindMimeTypes.seesLightCounter);
    EXPECT_TRUE(gMimeTableWasEmpty) << "a start fills it";
}

TEST(LoadOrderTest, HasTheUnknownKindForADefault)
{
    EXPECT_EQ(gDefaultMimeType.type, "");
    EXPECT_EQ(gDefaultMimeType.compressible, MimeTypeInfo::CompressibleUnknown);
}

TEST(LoadOrderTest, TakesTheLoadTimeAfterTheMimeTypes)
{
    EXPECT_FALSE(gBehindMimeTypes.seesLoadTime);
    EXPECT_FALSE(gAheadOfLoadTime.seesLoadTime);
    EXPECT_TRUE(gBehindLoadTime.seesLoadTime);
    EXPECT_FALSE(gBehindLoadTime.seesLightCounter);
}

TEST(LoadOrderTest, MakesTheLightCounterAtItsPlace)
{
    EXPECT_FALSE(gAheadOfLightCounter.seesLightCounter);
    EXPECT_TRUE(gBehindLightCounter.seesLightCounter);
}

TEST(LoadOrderTest, MakesTheFullCounterAfterTheLightOne)
{
    EXPECT_FALSE(gBehindLightCounter.seesFullCounter);
    EXPECT_FALSE(gAheadOfFullCounter.seesFullCounter);
    EXPECT_TRUE(gBehindFullCounter.seesFullCounter);
}

TEST(LoadOrderTest, MakesTheVersionRecordAfterTheCounters)
{
    EXPECT_FALSE(gBehindFullCounter.seesVersionRecord);
    EXPECT_FALSE(gAheadOfVersionRecord.seesVersionRecord);
    EXPECT_TRUE(gBehindVersionRecord.seesVersionRecord);
}

TEST(LoadOrderTest, MakesAllBeforeOrdinaryObjects)
{
    EXPECT_TRUE(gWithoutPriority.seesLightCounter);
    EXPECT_TRUE(gWithoutPriority.seesFullCounter);
    EXPECT_TRUE(gWithoutPriority.seesVersionRecord);
}

}  // namespace qz
