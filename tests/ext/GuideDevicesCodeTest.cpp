// The code of the guides to devices and buffers that uses this library: it is the same as here, and
// does what the guides say.

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

#include "ext/GuideBlocks.h"
#include "support/DeviceStub.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

namespace guide {

struct Order {
    int number = 0;
    std::string customer;
    std::vector<double> prices;
};

constexpr qz::ext::FrameFormat kOrderFormat("QZORDER\n", /*newestVersion=*/1);

bool writeOrder(qz::qzIoDevice& device, const Order& order)
{
    std::ostringstream payload;
    qz::qzIoDeviceStdStreamProxy memory(&payload);
    qz::qzDataStream stream(memory, qz::qzDataStream::LittleEndian);
    stream << order.number << order.customer << static_cast<unsigned int>(order.prices.size());
    for (const double price : order.prices)
        stream << price;
    return stream.isOk() && qz::ext::writeFrame(device, kOrderFormat, payload.str());
}

bool readOrder(qz::qzIoDevice& device, Order& order)
{
    qz::ext::FrameReader frames(device, kOrderFormat, /*payloadLimit=*/100'000);
    std::string payload;
    if (!frames.read(payload) || !frames.readEnd()) {
        qz::logWarning() << frames.getFailure().text;
        return false;
    }
    qz::ext::StreamLimits limits;
    limits.textBytes = 200;
    limits.listItems = 1000;
    qz::ext::CheckedStream stream(payload, qz::qzDataStream::LittleEndian, limits);
    Order read;
    stream >> read.number >> read.customer;
    if (read.number < 0) stream.reject("the number is negative");
    if (!stream.readList(read.prices) || !stream.readEnd()) {
        qz::logWarning() << stream.getFailure().text;
        return false;
    }
    order = std::move(read);
    return true;
}

void forwardOrders(qz::qzIoDevice& pipe, const std::function<void(const std::string&)>& handle)
{
    qz::ext::FrameReader frames(pipe, kOrderFormat, /*payloadLimit=*/100'000);
    std::string payload;
    while (frames.read(payload))
        handle(payload);
    const qz::ext::StreamFailure failure = frames.getFailure();
    if (failure.reason != qz::ext::StreamFailure::NoFrame) qz::logWarning() << failure.text;
}

void useNamesThatNobodyCanGuess()
{
    qz::qzRandomUtils::SetRandGenerator(&qz::ext::SecureRandom::Generate);
}

}  // namespace guide

namespace qz::ext {

using ::testing::ElementsAre;

namespace {

int countBlocksOfThisFile(const std::string& guide)
{
    const std::string source = readProjectFile("tests/ext/GuideDevicesCodeTest.cpp");
    int count = 0;
    for (const std::string& block : readGuideBlocks(guide)) {
        if (block.find("qz::ext::") == std::string::npos) continue;
        EXPECT_NE(source.find('\n' + block), std::string::npos) << block;
        ++count;
    }
    return count;
}

std::string makeOrderBytes(const guide::Order& order)
{
    support::DeviceStub device;
    EXPECT_TRUE(guide::writeOrder(device, order));
    return device.getContent();
}

class GuideDevicesCodeTest : public ::testing::Test {
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

TEST_F(GuideDevicesCodeTest, IsTheCodeOfThisFile)
{
    EXPECT_EQ(countBlocksOfThisFile("docs/guide-devices.md"), 3);
    EXPECT_EQ(countBlocksOfThisFile("docs/guide-buffers.md"), 1);
}

TEST_F(GuideDevicesCodeTest, ReadsAnOrder)
{
    support::DeviceStub device(makeOrderBytes({7, "Ada", {0.5, 2}}));
    guide::Order order;
    EXPECT_TRUE(guide::readOrder(device, order));
    EXPECT_EQ(order.number, 7);
    EXPECT_EQ(order.customer, "Ada");
    EXPECT_THAT(order.prices, ElementsAre(0.5, 2));
}

TEST_F(GuideDevicesCodeTest, RefusesWhatIsNoOrder)
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

TEST_F(GuideDevicesCodeTest, ForwardsOrdersUntilThePipeEnds)
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

TEST_F(GuideDevicesCodeTest, NamesSwapFilesByTheGenerator)
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
