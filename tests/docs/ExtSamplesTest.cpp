// SPDX-License-Identifier: MIT
// The samples in the headers of the second library.

#include <cmath>
#include <iostream>
#include <list>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ConcurrentPool.h>
#include <qz/ext/CheckedStream.h>
#include <qz/ext/ChildProcess.h>
#include <qz/ext/ContainerLimits.h>
#include <qz/ext/DataFrame.h>
#include <qz/ext/FileLock.h>
#include <qz/ext/Parallel.h>
#include <qz/ext/PipeChannel.h>
#include <qz/ext/ProgressView.h>
#include <qz/ext/SafeFiles.h>
#include <qz/ext/SecureRandom.h>
#include <qz/qzCancelInterface.h>
#include <qz/qzDirUtils.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzRandomUtils.h>

#include "docs/SampleTest.h"
#include "ext/PipeFixture.h"
#include "support/DeviceStub.h"
#include "support/LogCapture.h"
#include "support/OutputCapture.h"

namespace qz::docs {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

class ExtSampleTest : public SampleTest {
protected:
    ExtSampleTest() : SampleTest(FullInit) {}
};

// What went wrong, as a function of the sample reports it.
std::string report(const ext::SystemFailure& failure)
{
    return failure.toString();
}

std::string replaceFile()
{
#include "samples/ext/SafeFiles.1.inc"
    return {};
}

TEST_F(ExtSampleTest, FileIsReplaced)
{
    EXPECT_THAT(replaceFile(), HasSubstr("ENOENT")) << "there is no folder";
    qzDirUtils::MkpathUtf8("./var/lib/shop");
    EXPECT_EQ(replaceFile(), "");
    EXPECT_EQ(mFolder.read("var/lib/shop/orders"), "first line\n");
}

void changeUnderALock(int& count)
{
    const auto changeOrders = [&] { ++count; };
#include "samples/ext/FileLock.1.inc"
}

TEST_F(ExtSampleTest, OrdersAreChangedUnderALock)
{
    const support::LogCapture log;
    int count = 0;
    changeUnderALock(count);
    EXPECT_EQ(count, 0) << "there is no folder";
    qzDirUtils::MkpathUtf8("./var/lib/shop");
    changeUnderALock(count);
    EXPECT_EQ(count, 1);
}

int runOnce(bool startsAnother)
{
#include "samples/ext/FileLock.2.inc"
    return startsAnother ? runOnce(false) : 0;
}

TEST_F(ExtSampleTest, RunsOnce)
{
    const support::EnvironmentVariable folder("XDG_RUNTIME_DIR", mFolder.getPath());
    const support::StderrCapture capture;
    EXPECT_EQ(runOnce(false), 0);
    EXPECT_EQ(runOnce(true), 1) << "the second one is refused";
    EXPECT_THAT(capture.getText(), HasSubstr("orders runs already"));
}

struct Order {
    int number = 0;
    double price = 0;
    std::string customer;
    bool operator<(const Order& other) const { return number < other.number; }
};

TEST_F(ExtSampleTest, OrderIsRead)
{
    support::DeviceStub file;
    qzDataStream(file, qzDataStream::LittleEndian) << 7 << 0.5 << std::string("Ada");
    file.seek(0, qzIoDeviceRandomAccess::SeekFromBegin);
    const support::LogCapture log;
    Order order;
#include "samples/ext/CheckedStream.1.inc"
    EXPECT_EQ(order.number, 7);
    EXPECT_EQ(order.price, 0.5);
    EXPECT_EQ(order.customer, "Ada");
    EXPECT_THAT(log.getMessages(), IsEmpty());
}

bool readOrder(ext::CheckedStream& stream, Order& order)
{
    stream >> order.number;
    return stream.isOk();
}

bool readOrders(ext::CheckedStream& stream, std::set<Order>& orders)
{
#include "samples/ext/CheckedStream.2.inc"
    return true;
}

TEST_F(ExtSampleTest, OrdersAreRead)
{
    const std::string two("\x02\0\0\0\x07\0\0\0\x09\0\0\0", 12);
    std::set<Order> orders;
    ext::CheckedStream stream(two, qzDataStream::LittleEndian);
    EXPECT_TRUE(readOrders(stream, orders));
    EXPECT_EQ(orders.size(), 2U);
    const std::string cutText = two.substr(0, 9);
    ext::CheckedStream cut(cutText, qzDataStream::LittleEndian);
    EXPECT_FALSE(readOrders(cut, orders));
}

TEST_F(ExtSampleTest, FrameThatIsMissingIsReported)
{
    const support::LogCapture log;
    support::DeviceStub file;
#include "samples/ext/DataFrame.1.inc"
    EXPECT_THAT(log.getMessages(), ElementsAre(HasSubstr("frame")));
}

TEST_F(ExtSampleTest, PipelineSorts)
{
    const support::LogCapture log;
#include "samples/ext/ChildProcess.1.inc"
    qzLog::msInstance->flush();
    EXPECT_THAT(log.getMessages(), ElementsAre("c\n"));
}

TEST_F(ExtSampleTest, PoolFitsIntoTheContainer)
{
#include "samples/ext/ContainerLimits.1.inc"
    EXPECT_EQ(pool.getWorkerCount(), limits.processors);
}

TEST_F(ExtSampleTest, NamesAreRandom)
{
    const auto before = qzRandomUtils::SetRandGenerator(nullptr);
#include "samples/ext/SecureRandom.1.inc"
    EXPECT_EQ(qzRandomUtils::SetRandGenerator(before), &ext::SecureRandom::Generate);
    EXPECT_THAT(name, MatchesRegex("upload-[0-9a-z]+"));
}

TEST_F(ExtSampleTest, ProgressIsShown)
{
    const support::StderrCapture capture;
    const std::vector<std::string> files = {"a", "b"};
    const qzCancelInterfaceProxyReadOnly cancel;
    const auto digestAll = [](const std::vector<std::string>& all, ext::ProgressView& progress) {
        qzProgressNotifierGroupCloser closer;
        progress.beginStepGroupWeights({1}, static_cast<double>(all.size()), &closer);
        progress.incrementCurrentStepProgress(static_cast<double>(all.size()));
    };
    {
#include "samples/ext/ProgressView.1.inc"
    } EXPECT_THAT(capture.getText(), HasSubstr("digest: 100%"));
}

TEST_F(ExtSampleTest, PricesAreRaised)
{
    std::vector<double> prices(10'000, 1);
    const auto raise = [](double& price) { price *= 2; };
    qzProgressNotifierBase progress;
#include "samples/ext/Parallel.1.inc"
    EXPECT_TRUE(result);
    EXPECT_EQ(prices, std::vector<double>(10'000, 2));
}

TEST_F(ExtSampleTest, CancelledLoopIsReported)
{
    const support::LogCapture log;
    const std::vector<std::string> files = {"a", "b"};
    const auto convert = [](const std::string&) {};
    const bool isCancelled = true;
    const qzCancelInterfaceProxyReadOnly cancel(&isCancelled);
    ext::ParallelOptions options;
    options.cancel = &cancel;
#include "samples/ext/Parallel.2.inc"
    qzLog::msInstance->flush();
    EXPECT_THAT(log.getMessages(), ElementsAre("cancelled after 0 files"));
}

TEST_F(ExtSampleTest, RootsAreCalculated)
{
    const std::vector<double> squares = {4, 9};
#include "samples/ext/Parallel.3.inc"
    EXPECT_THAT(roots, ElementsAre(2, 3));
}

struct Image {
    void shrink() { isSmall = true; }
    bool isSmall = false;
};

TEST_F(ExtSampleTest, ImagesShrink)
{
    const auto loadAll = [] { return std::list<Image>(2); };
#include "samples/ext/Parallel.4.inc"
    EXPECT_TRUE(images.front().isSmall);
    EXPECT_TRUE(images.back().isSmall);
}

struct Body {
    double getEnergy() const { return energy; }
    double energy;
};

TEST_F(ExtSampleTest, EnergyIsASum)
{
    const std::vector<Body> bodies = {{1}, {2}, {4}};
#include "samples/ext/Parallel.5.inc"
    EXPECT_EQ(energy, 7);
}

class PipeSampleTest : public ext::PipeFixture {
protected:
    static int countOrders() { return 3; }

    void serve()
    {
        const qzCancelInterfaceReadOnly& cancel = mCancel;
#include "samples/ext/PipeChannel.2.inc"
    }
    static std::string ask()
    {
#include "samples/ext/PipeChannel.1.inc"
        return answer;
    }
};

TEST_F(PipeSampleTest, ServerAnswersWithTheCount)
{
    const support::LogCapture log;
    std::thread thread([&] { serve(); });
    ext::PipeChannel probe;
    EXPECT_TRUE(support::waitUntil([&] { return probe.connect("orders", kLongMs, nullptr); }));
    EXPECT_EQ(ask(), "3");
    mCancel.isRequested = true;
    thread.join();
    EXPECT_EQ(ask(), "") << "the server has ended";
}

}  // namespace

}  // namespace qz::docs
