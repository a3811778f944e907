// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceDelegable.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzIoDeviceByteCounter.h>
#include <qz/qzIoDeviceByteSniffer.h>
#include <qz/qzIoDeviceSignaler.h>

#include "io/FilterStub.h"
#include "support/DeviceStub.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace qz {

using support::DeviceStub;
using support::LogCapture;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Peer = qzIoDeviceDelegableTestPeer;

namespace {

constexpr auto kNone = qzIoDevice::DataWayNone;
constexpr auto kRead = qzIoDevice::DataWayRead;
constexpr auto kWrite = qzIoDevice::DataWayWrite;
constexpr auto kBoth = qzIoDevice::DataWayReadWrite;

constexpr qzIoDevice::DataWay toWay(int number)
{
    return static_cast<qzIoDevice::DataWay>(number);
}

const char* const kRefusedRead = "call read on a write delegation mode device";
const char* const kRefusedWrite = "call write on a read delegation mode device";

}  // namespace

class qzIoDeviceDelegableTest : public ::testing::Test {
protected:
    support::LibraryStart mLibrary;
    DeviceStub mDevice{"content"};
    FilterStub mFilter;
};

TEST_F(qzIoDeviceDelegableTest, BeginsIdle)
{
    EXPECT_TRUE(Peer::isIdle(mFilter));
    EXPECT_TRUE(mFilter.good());
    EXPECT_TRUE(mFilter.atEnd());
    EXPECT_EQ(mFilter.getDeviceErrorMsg(), "");
    EXPECT_EQ(mFilter.getType(), FilterStub::kType);
    EXPECT_EQ(mFilter.getSupportedDataWay(), kBoth);
}

TEST_F(qzIoDeviceDelegableTest, PassesBytesInTheWayThatItBegan)
{
    ASSERT_TRUE(mFilter.beginDelegation(&mDevice, kRead));
    EXPECT_EQ(Peer::getDelegate(mFilter), &mDevice);
    EXPECT_EQ(Peer::getWay(mFilter), kRead);
    char bytes[3] = {};
    EXPECT_EQ(mFilter.readBytes(bytes, 3), 3U);
    EXPECT_EQ(std::string(bytes, 3), "con");
}

TEST_F(qzIoDeviceDelegableTest, LetsTheHooksSeeTheDelegate)
{
    ASSERT_TRUE(mFilter.beginDelegation(&mDevice, kWrite));
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("begin+2"));
    EXPECT_TRUE(mFilter.endDelegation());
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("begin+2", "end+2", "clear+2"));
    EXPECT_TRUE(Peer::isIdle(mFilter));
}

TEST_F(qzIoDeviceDelegableTest, MayHandBytesOnInItsHooks)
{
    mFilter.setWork([](FilterStub& filter) { filter.handOn("x"); });
    DeviceStub sink;
    ASSERT_TRUE(mFilter.beginDelegation(&sink, kWrite));
    EXPECT_TRUE(mFilter.endDelegation());
    EXPECT_EQ(sink.getContent(), "xx");
}

TEST_F(qzIoDeviceDelegableTest, WritesWithoutADelegate)
{
    EXPECT_TRUE(mFilter.beginDelegation(nullptr, kWrite));
    EXPECT_EQ(Peer::getWay(mFilter), kWrite);
    EXPECT_TRUE(mFilter.good());
    EXPECT_TRUE(mFilter.endDelegation());
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("begin2", "end2", "clear2"));
}

TEST_F(qzIoDeviceDelegableTest, CanBeginAnewAfterEitherWayOut)
{
    ASSERT_TRUE(mFilter.beginDelegation(&mDevice, kWrite));
    ASSERT_TRUE(mFilter.endDelegation());
    ASSERT_TRUE(mFilter.beginDelegation(&mDevice, kRead));
    mFilter.clearDelegation();
    EXPECT_TRUE(Peer::isIdle(mFilter));
    EXPECT_TRUE(mFilter.beginDelegation(nullptr, kWrite));
    EXPECT_EQ(mFilter.getType(), FilterStub::kType) << "the code of the class stays";
}

TEST_F(qzIoDeviceDelegableTest, ClearsWithoutTheEnd)
{
    ASSERT_TRUE(mFilter.beginDelegation(&mDevice, kWrite));
    mFilter.clearCalls();
    mFilter.clearDelegation();
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("clear+2"));
    EXPECT_TRUE(Peer::isIdle(mFilter));
    mFilter.clearDelegation();
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("clear+2", "clear0")) << "idle, too";
}

TEST_F(qzIoDeviceDelegableTest, KeepsItsErrorWhenItIsCleared)
{
    ASSERT_TRUE(mFilter.beginDelegation(&mDevice, kWrite));
    mFilter.setDeviceError("own");
    mFilter.clearDelegation();
    EXPECT_EQ(mFilter.getDeviceErrorMsg(), "own");
}

// --- What is refused at the begin

struct BeginRow {
    const char* name;
    int ownWay;
    bool hasDelegate;
    int delegateWay;
    int way;
    const char* error;  // empty where the delegation begins
};

const BeginRow kBeginRows[] = {
    {"WriteToAWriter", 2, true, 2, 2, ""},
    {"WriteToAReaderAndWriter", 3, true, 3, 2, ""},
    {"ReadFromAReader", 1, true, 1, 1, ""},
    {"ReadFromAReaderAndWriter", 3, true, 3, 1, ""},
    {"WriteToNothing", 2, false, 0, 2, ""},
    {"BothWays", 3, true, 3, 3, "invalid delegation way 3"},
    {"NoWay", 3, true, 3, 0, "invalid delegation way 0"},
    {"AnUnknownWay", 3, true, 3, 4, "invalid delegation way 4"},
    {"ANegativeWay", 3, true, 3, -1, "invalid delegation way -1"},
    {"BothWaysOfNothing", 3, false, 0, 3, "invalid delegation way 3"},
    {"BothWaysOfAFilterWithoutAny", 0, true, 3, 3, "invalid delegation way 3"},
    {"ReadFromNothing", 3, false, 0, 1, "need delegate for read delegation"},
    {"ReadFromNothingByAWriter", 2, false, 0, 1, "need delegate for read delegation"},
    {"ReadByAWriter", 2, true, 3, 1, "incompatible delegation way 2 1"},
    {"WriteByAReader", 1, true, 3, 2, "incompatible delegation way 1 2"},
    {"ReadByAFilterWithoutAWay", 0, true, 3, 1, "incompatible delegation way 0 1"},
    {"WriteToNothingByAReader", 1, false, 0, 2, "incompatible delegation way 1 2"},
    {"ReadByAWriterFromAWriter", 2, true, 2, 1, "incompatible delegation way 2 1"},
    {"ReadFromAWriter", 3, true, 2, 1, "incompatible delegate features 2 1"},
    {"WriteToAReader", 3, true, 1, 2, "incompatible delegate features 1 2"},
    {"WriteToADeviceWithoutAWay", 2, true, 0, 2, "incompatible delegate features 0 2"},
};

class qzIoDeviceDelegableBegin : public qzIoDeviceDelegableTest,
                                 public ::testing::WithParamInterface<BeginRow> {};

TEST_P(qzIoDeviceDelegableBegin, GoesAsItsRow)
{
    const BeginRow& row = GetParam();
    const bool isGood = std::string(row.error).empty();
    FilterStub filter(toWay(row.ownWay));
    DeviceStub device("", toWay(row.delegateWay));
    filter.setDeviceError("of an earlier time");

    EXPECT_EQ(filter.beginDelegation(row.hasDelegate ? &device : nullptr, toWay(row.way)), isGood);
    EXPECT_EQ(filter.getDeviceErrorMsg(), row.error);
    EXPECT_EQ(filter.good(), isGood);
    EXPECT_EQ(Peer::isIdle(filter), !isGood);
    EXPECT_EQ(filter.getCalls().size(), isGood ? 1U : 0U) << "a refused one reaches no hook";
    EXPECT_THAT(device.getCalls(), IsEmpty());
    EXPECT_TRUE(device.good());
}

INSTANTIATE_TEST_SUITE_P(Rows, qzIoDeviceDelegableBegin, ::testing::ValuesIn(kBeginRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzIoDeviceDelegableTest, GoesByTheWaysOfTheMoment)
{
    mDevice.changeSupportedDataWay(kWrite);
    EXPECT_FALSE(mFilter.beginDelegation(&mDevice, kRead));
    mDevice.changeSupportedDataWay(kRead);
    mFilter.changeSupportedDataWay(kWrite);
    EXPECT_FALSE(mFilter.beginDelegation(&mDevice, kRead));
    mFilter.changeSupportedDataWay(kBoth);
    EXPECT_TRUE(mFilter.beginDelegation(&mDevice, kRead));
}

TEST_F(qzIoDeviceDelegableTest, RefusesASecondDelegationAndKeepsTheFirst)
{
    DeviceStub other;
    ASSERT_TRUE(mFilter.beginDelegation(&mDevice, kWrite));
    mFilter.setDeviceError("of an earlier time");
    EXPECT_FALSE(mFilter.beginDelegation(&other, kRead));
    EXPECT_EQ(mFilter.getDeviceErrorMsg(),
              "call begin delegation while a delegation is already setup");
    EXPECT_EQ(Peer::getDelegate(mFilter), &mDevice);
    EXPECT_EQ(Peer::getWay(mFilter), kWrite);
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("begin+2"));
}

TEST_F(qzIoDeviceDelegableTest, RefusesASecondDelegationBeforeAnyOtherReason)
{
    ASSERT_TRUE(mFilter.beginDelegation(nullptr, kWrite)) << "one without a delegate counts";
    EXPECT_FALSE(mFilter.beginDelegation(nullptr, kNone));
    EXPECT_EQ(mFilter.getDeviceErrorMsg(),
              "call begin delegation while a delegation is already setup");
}

TEST_F(qzIoDeviceDelegableTest, ReturnsToIdleWhenTheFilterCannotBegin)
{
    mFilter.answer(false);
    EXPECT_FALSE(mFilter.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(mFilter.getDeviceErrorMsg(), "Error during beginDelegationImpl");
    EXPECT_TRUE(Peer::isIdle(mFilter));
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("begin+2", "clear+2"));
    mFilter.answer(true);
    EXPECT_TRUE(mFilter.beginDelegation(&mDevice, kWrite)) << "the old error doesn't stop it";
    EXPECT_EQ(mFilter.getDeviceErrorMsg(), "");
}

TEST_F(qzIoDeviceDelegableTest, KeepsTheReasonThatTheFilterGaveItself)
{
    mFilter.answer(false);
    mFilter.setWork([](FilterStub& filter) { filter.setDeviceError("no header"); });
    EXPECT_FALSE(mFilter.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(mFilter.getDeviceErrorMsg(), "no header");
}

TEST_F(qzIoDeviceDelegableTest, RunsOnWithAnErrorOfItsBeginThatRefusedNothing)
{
    mFilter.setWork([](FilterStub& filter) { filter.setDeviceError("a doubt"); });
    EXPECT_FALSE(mFilter.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(Peer::getDelegate(mFilter), &mDevice);
}

TEST_F(qzIoDeviceDelegableTest, ReturnsFalseForADelegateInErrorButBegins)
{
    mDevice.setDeviceError("broken");
    EXPECT_FALSE(mFilter.beginDelegation(&mDevice, kWrite));
    EXPECT_EQ(Peer::getDelegate(mFilter), &mDevice);
    EXPECT_EQ(mFilter.getDeviceErrorMsg(), "broken");
}

// --- The end

TEST_F(qzIoDeviceDelegableTest, RefusesToEndWhatDidNotBegin)
{
    EXPECT_FALSE(mFilter.endDelegation());
    EXPECT_EQ(mFilter.getDeviceErrorMsg(), "Call endDelegation while no delegation is setup");
    EXPECT_THAT(mFilter.getCalls(), IsEmpty());
}

TEST_F(qzIoDeviceDelegableTest, RefusesASecondEnd)
{
    ASSERT_TRUE(mFilter.beginDelegation(&mDevice, kWrite));
    ASSERT_TRUE(mFilter.endDelegation());
    EXPECT_FALSE(mFilter.endDelegation());
    EXPECT_EQ(mFilter.getDeviceErrorMsg(), "Call endDelegation while no delegation is setup");
}

TEST_F(qzIoDeviceDelegableTest, EndsAlsoWhenItCannotHandOn)
{
    ASSERT_TRUE(mFilter.beginDelegation(&mDevice, kWrite));
    mFilter.answer(false);
    EXPECT_FALSE(mFilter.endDelegation());
    EXPECT_TRUE(Peer::isIdle(mFilter));
    EXPECT_TRUE(mFilter.good()) << "no text of the frame's own";
    EXPECT_THAT(mFilter.getCalls(), ElementsAre("begin+2", "end+2", "clear+2"));
}

TEST_F(qzIoDeviceDelegableTest, ReturnsFalseAtTheEndWithAnErrorOfItsOwn)
{
    ASSERT_TRUE(mFilter.beginDelegation(&mDevice, kWrite));
    mFilter.setDeviceError("own");
    EXPECT_FALSE(mFilter.endDelegation());
    EXPECT_TRUE(Peer::isIdle(mFilter));
    EXPECT_EQ(mFilter.getDeviceErrorMsg(), "own");
}

TEST_F(qzIoDeviceDelegableTest, ReturnsTrueAtTheEndWithAnErrorOfTheDelegate)
{
    ASSERT_TRUE(mFilter.beginDelegation(&mDevice, kWrite));
    mDevice.setDeviceError("broken");
    EXPECT_TRUE(mFilter.endDelegation()) << "the delegate is forgotten by then";
}

// --- Questions

TEST_F(qzIoDeviceDelegableTest, IsInErrorWithItsDelegate)
{
    ASSERT_TRUE(mFilter.beginDelegation(&mDevice, kWrite));
    mDevice.setDeviceError("broken");
    EXPECT_TRUE(mFilter.hasDeviceError());
    EXPECT_EQ(mFilter.getDeviceErrorMsg(), "broken");
    mFilter.clearDeviceError();
    EXPECT_TRUE(mFilter.hasDeviceError()) << "it clears its own only";
    mFilter.setDeviceError("own");
    EXPECT_EQ(mFilter.getDeviceErrorMsg(), "own, broken");
    mDevice.clearDeviceError();
    EXPECT_EQ(mFilter.getDeviceErrorMsg(), "own");
    EXPECT_TRUE(mFilter.hasDeviceError());
}

TEST_F(qzIoDeviceDelegableTest, JoinsTheTextOfADelegateThatHasNone)
{
    class Wordless : public DeviceStub {
    public:
        bool hasDeviceError() const override { return true; }
    };
    Wordless wordless;
    mFilter.beginDelegation(&wordless, kWrite);
    EXPECT_EQ(mFilter.getDeviceErrorMsg(), "");
    mFilter.setDeviceError("own");
    EXPECT_EQ(mFilter.getDeviceErrorMsg(), "own, ");
}

TEST_F(qzIoDeviceDelegableTest, IsAtTheEndUnlessItReads)
{
    DeviceStub full("x");
    ASSERT_TRUE(mFilter.beginDelegation(&full, kWrite));
    EXPECT_TRUE(mFilter.atEnd());
    EXPECT_THAT(full.getCalls(), IsEmpty()) << "and doesn't ask";
    mFilter.clearDelegation();
    EXPECT_TRUE(mFilter.atEnd());
    ASSERT_TRUE(mFilter.beginDelegation(&full, kRead));
    EXPECT_FALSE(mFilter.atEnd());
    char byte = 0;
    mFilter.readBytes(&byte, 1);
    EXPECT_TRUE(mFilter.atEnd());
}

TEST_F(qzIoDeviceDelegableTest, IsAtTheEndInError)
{
    ASSERT_TRUE(mFilter.beginDelegation(&mDevice, kRead));
    mDevice.setDeviceError("broken");
    EXPECT_TRUE(mFilter.atEnd());
    mDevice.clearDeviceError();
    EXPECT_FALSE(mFilter.atEnd());
    mFilter.setDeviceError("own");
    EXPECT_TRUE(mFilter.atEnd());
}

// --- Reads and writes at the wrong time, of every filter

class Refusals : public qzIoDeviceDelegableTest {
protected:
    void expectRefusedRead(qzIoDeviceDelegable& filter, const std::string& what)
    {
        const LogCapture log;
        filter.clearDeviceError();
        char byte = '?';
        EXPECT_EQ(filter.readBytes(&byte, 1), 0U) << what;
        EXPECT_EQ(filter.getDeviceErrorMsg(), kRefusedRead) << what;
        EXPECT_THAT(log.getLines(), ElementsAre("CRITICAL qzIoDeviceDelegable call read on a write "
                                                "delegation mode device"))
            << what;
        EXPECT_EQ(byte, '?') << what;
    }
    void expectRefusedWrite(qzIoDeviceDelegable& filter, const std::string& what)
    {
        const LogCapture log;
        filter.clearDeviceError();
        EXPECT_EQ(filter.writeBytes("x", 1), 0U) << what;
        EXPECT_EQ(filter.getDeviceErrorMsg(), kRefusedWrite) << what;
        EXPECT_THAT(log.getLines(), ElementsAre("CRITICAL qzIoDeviceDelegable call write on a read "
                                                "delegation mode device"))
            << what;
    }

    DeviceStub mCopy;
    qzIoDeviceByteCounter mCounter;
    qzIoDeviceByteSniffer mSniffer{mCopy};
    qzIoDeviceSignaler mSignaler{nullptr, 10};
    const std::vector<qzIoDeviceDelegable*> mFilters{&mFilter, &mCounter, &mSniffer, &mSignaler};
    // A counter and a signaler take writes at any time.
    const std::vector<qzIoDeviceDelegable*> mWriters{&mFilter, &mSniffer};
};

TEST_F(Refusals, OfReadsWhileIdle)
{
    for (qzIoDeviceDelegable* filter : mFilters)
        expectRefusedRead(*filter, std::to_string(filter->getType()));
}

TEST_F(Refusals, OfReadsInAWriteDelegation)
{
    for (qzIoDeviceDelegable* filter : mFilters) {
        filter->beginDelegation(&mDevice, kWrite);
        expectRefusedRead(*filter, std::to_string(filter->getType()));
    }
    EXPECT_THAT(mDevice.getCalls(), IsEmpty());
}

TEST_F(Refusals, OfReadsInAWriteDelegationWithoutADelegate)
{
    for (qzIoDeviceDelegable* filter : mFilters) {
        filter->beginDelegation(nullptr, kWrite);
        expectRefusedRead(*filter, std::to_string(filter->getType()));
    }
}

TEST_F(Refusals, OfWritesWhileIdle)
{
    for (qzIoDeviceDelegable* filter : mWriters)
        expectRefusedWrite(*filter, std::to_string(filter->getType()));
}

TEST_F(Refusals, OfWritesInAReadDelegation)
{
    for (qzIoDeviceDelegable* filter : mWriters) {
        filter->beginDelegation(&mDevice, kRead);
        expectRefusedWrite(*filter, std::to_string(filter->getType()));
    }
    EXPECT_THAT(mDevice.getCalls(), IsEmpty());
    EXPECT_THAT(mCopy.getCalls(), IsEmpty());
}

TEST_F(Refusals, OfWritesWithoutADelegate)
{
    for (qzIoDeviceDelegable* filter : mWriters) {
        filter->beginDelegation(nullptr, kWrite);
        expectRefusedWrite(*filter, std::to_string(filter->getType()));
    }
    EXPECT_THAT(mCopy.getCalls(), IsEmpty());
}

TEST_F(Refusals, AreReportedEachTimeThoughTheFirstTextStays)
{
    const LogCapture log;
    mFilter.setDeviceError("first");
    char byte = 0;
    mFilter.readBytes(&byte, 1);
    mFilter.writeBytes(&byte, 1);
    EXPECT_EQ(mFilter.getDeviceErrorMsg(), "first");
    EXPECT_THAT(log.getMessages(),
                ElementsAre(std::string("qzIoDeviceDelegable ") + kRefusedRead,
                            std::string("qzIoDeviceDelegable ") + kRefusedWrite));
}

}  // namespace qz
