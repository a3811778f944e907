// SPDX-License-Identifier: MIT
// The code of the guide to other processes does what the text says.

#include <cerrno>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ext/ChildProcess.h>
#include <qz/ext/FileLock.h>
#include <qz/ext/PipeChannel.h>
#include <qz/qzCancelInterface.h>
#include <qz/qzLogObject.h>
#include <qz/qzNamedPipe.h>

#include "ext/PipeFixture.h"
#include "support/LogCapture.h"

namespace guide {

#include "samples/report-end.inc"

#include "samples/find-largest-number.inc"

#include "samples/add-order.inc"

#include "samples/become-the-only-instance.inc"

#include "samples/serve-orders.inc"

#include "samples/request-from-orders.inc"

namespace {

std::string gReply;

void handleReply(const std::vector<char>& bytes)
{
    gReply.append(bytes.begin(), bytes.end());
}

bool askService()
{
#include "samples/talk-to-a-service.inc"
    return true;
}

}  // namespace

}  // namespace guide

namespace qz::ext {

using ::testing::ElementsAre;

namespace {

class ProcessesGuideTest : public PipeFixture {};

TEST_F(ProcessesGuideTest, FindsTheLargestNumber)
{
    const std::string path = mFolder.write("numbers", "9\n100\n20\n");
    EXPECT_EQ(guide::findLargestNumber(path), "100\n");
    EXPECT_EQ(guide::findLargestNumber(mFolder.getPath("none")), std::nullopt);
}

TEST_F(ProcessesGuideTest, SaysHowTheProgramsEnded)
{
    const support::LogCapture capture;
    ChildOptions options;
    options.programs = {{"sh", {"-c", "kill -KILL $$"}}, {"ls", {"/none"}}, {"true"}};
    options.output = ChildOutput::Memory(/*limitBytes=*/4096);
    guide::reportEnd(options, ChildProcess::Run(options, ChildWait()));
    EXPECT_THAT(capture.getMessages(),
                ElementsAre("sh was ended by signal 9", "ls ended with status 2"));
}

TEST_F(ProcessesGuideTest, SaysWhatStoppedThePrograms)
{
    const support::LogCapture capture;
    ChildOptions options;
    options.programs = {{"sh", {"-c", "echo text; sleep 1000"}}};
    options.output = ChildOutput::Memory(/*limitBytes=*/1);
    ChildWait wait;
    wait.timeoutMs = 0;
    ChildResult result = ChildProcess::Run(options, wait);
    result.isOutputCut = true;  // the time limit may come before the text
    guide::reportEnd(options, result);
    options.programs = {{"/none"}};
    guide::reportEnd(options, ChildProcess::Run(options, ChildWait()));
    EXPECT_THAT(capture.getMessages(),
                ElementsAre("stopped at the time limit", "there was too much output",
                            "sh was ended by signal 15",
                            "execve /none: System error : '(2) ENOENT No such file or directory'"));
}

TEST_F(ProcessesGuideTest, WaitsForTheLock)
{
    const std::string path = mFolder.getPath("orders.lock");
    EXPECT_TRUE(guide::addOrder(path, mCancel));
    FileLock holder;
    ASSERT_TRUE(holder.tryLockUtf8(path, FileLock::Exclusive));
    mCancel.isRequested = true;
    EXPECT_FALSE(guide::addOrder(path, mCancel));
}

TEST_F(ProcessesGuideTest, IsTheOnlyInstance)
{
    SingleInstance first;
    SingleInstance second;
    EXPECT_TRUE(guide::becomeTheOnlyInstance(first));
    EXPECT_FALSE(guide::becomeTheOnlyInstance(second));
}

TEST_F(ProcessesGuideTest, AnswersARequest)
{
    EXPECT_EQ(guide::requestFromOrders("count"), std::nullopt);
    bool hasServed = false;
    std::thread thread([&] { hasServed = guide::serveOrders(mCancel); });
    PipeChannel probe;
    EXPECT_TRUE(support::waitUntil([&] { return probe.connect("orders", kLongMs, nullptr); }));
    EXPECT_EQ(guide::requestFromOrders("count"), "3");
    EXPECT_EQ(guide::requestFromOrders("weight"), "what?");
    mCancel.isRequested = true;
    thread.join();
    EXPECT_TRUE(hasServed);
}

TEST_F(ProcessesGuideTest, TalksToAService)
{
    const support::EnvironmentVariable temporary("TMPDIR", mFolder.getPath());
    guide::gReply.clear();
    EXPECT_FALSE(guide::askService()) << "nobody listens";
    qzNamedPipeServer server;
    ASSERT_TRUE(server.listenUtf8("my-service"));
    std::string request;
    std::thread thread([&] {
        EXPECT_TRUE(server.waitForNewConnection(kLongMs, nullptr));
        const std::unique_ptr<qzNamedPipe> peer(server.editPendingConnections().front());
        server.editPendingConnections().clear();
        while (peer->editReadQueue().size() < 7 && peer->isConnected())
            peer->processNamedPipeEvents(1000, /*waitWhenIdle=*/true);
        request.assign(peer->editReadQueue().begin(), peer->editReadQueue().end());
        peer->editWriteQueue() = {'o', 'k'};
        while (peer->hasPendingWrite())
            peer->processNamedPipeEvents(1000, /*waitWhenIdle=*/true);
    });
    EXPECT_TRUE(guide::askService());
    thread.join();
    EXPECT_EQ(request, "status\n");
    EXPECT_EQ(guide::gReply, "ok");
}

}  // namespace

}  // namespace qz::ext
