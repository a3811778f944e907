// SPDX-License-Identifier: MIT
// The code of the guides to devices and buffers does what the text says.

#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ext/CheckedStream.h>
#include <qz/ext/DataFrame.h>
#include <qz/ext/SecureRandom.h>
#include <qz/qzIoDeviceMemoryChunkAndSwapBuffer.h>
#include <qz/qzIoDeviceStdStreamProxy.h>
#include <qz/qzLogObject.h>
#include <qz/qzRandomUtils.h>

#include "support/DeviceStub.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

namespace guide {

#include "samples/order.inc"

#include "samples/read-order.inc"

#include "samples/forward-orders.inc"

#include "samples/use-names-that-nobody-can-guess.inc"

}  // namespace guide

namespace qz::ext {

using ::testing::ElementsAre;

namespace {

std::string makeOrderBytes(const guide::Order& order)
{
    support::DeviceStub device;
    EXPECT_TRUE(guide::writeOrder(device, order));
    return device.getContent();
}

class DevicesGuideTest : public ::testing::Test {
protected:
    void expectRefusal(const std::string& bytes, const std::string& reason)
    {
        const support::LogCapture capture;
        support::DeviceStub device(bytes);
        guide::Order order{1, "old", {}};
        EXPECT_FALSE(guide::readOrder(device, order));
        EXPECT_EQ(order.customer, "old");
        EXPECT_THAT(capture.getMessages(), ElementsAre(reason));
    }

    support::LibraryStart mLibrary;
};

}  // namespace

TEST_F(DevicesGuideTest, ReadsAnOrder)
{
    support::DeviceStub device(makeOrderBytes({7, "Ada", {0.5, 2}}));
    guide::Order order;
    EXPECT_TRUE(guide::readOrder(device, order));
    EXPECT_EQ(order.number, 7);
    EXPECT_EQ(order.customer, "Ada");
    EXPECT_THAT(order.prices, ElementsAre(0.5, 2));
}

TEST_F(DevicesGuideTest, RefusesWhatIsNoOrder)
{
    const std::string bytes = makeOrderBytes({7, "Ada", {}});
    std::string damaged = bytes;
    damaged.back() = 'x';
    expectRefusal(damaged, "frame payload at offset 32: the CRC is wrong");
    expectRefusal(bytes + "x", "end at offset 47: more bytes follow");
    expectRefusal(makeOrderBytes({-7, "Ada", {}}), "value at offset 11: the number is negative");
    expectRefusal(makeOrderBytes({7, std::string(201, 'a'), {}}),
                  "text at offset 4: 201 bytes exceed the limit of 200");
    expectRefusal(makeOrderBytes({7, "Ada", std::vector<double>(1001)}),
                  "list at offset 11: 1001 items exceed the limit of 1000");
}

TEST_F(DevicesGuideTest, ForwardsOrdersUntilThePipeEnds)
{
    const support::LogCapture capture;
    const std::string bytes = makeOrderBytes({7, "Ada", {}});
    int count = 0;
    support::DeviceStub whole(bytes + bytes);
    guide::forwardOrders(whole, [&](const std::string&) { ++count; });
    EXPECT_EQ(count, 2);
    EXPECT_THAT(capture.getMessages(), ElementsAre());
    support::DeviceStub cut(bytes + bytes.substr(0, 40));
    guide::forwardOrders(cut, [&](const std::string&) { ++count; });
    EXPECT_EQ(count, 3);
    EXPECT_THAT(capture.getMessages(),
                ElementsAre("frame payload at offset 79: the input ends after 8 of 15 bytes"));
}

TEST_F(DevicesGuideTest, NamesSwapFilesByTheGenerator)
{
    const auto before = qzRandomUtils::SetRandGenerator(nullptr);
    guide::useNamesThatNobodyCanGuess();
    const support::ScratchFolder folder;
    {
        qzIoDeviceMemoryChunkAndSwapBuffer buffer(folder.getPath(), 10, 10, /*memoryBudget=*/10);
        buffer << std::string(100, 'x');
        EXPECT_TRUE(buffer.good());
    }
    EXPECT_EQ(qzRandomUtils::SetRandGenerator(before), &SecureRandom::Generate);
}

}  // namespace qz::ext
