// The code of the guide to other processes: it is the same as here, and does what the guide says.

#include <algorithm>
#include <cerrno>
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

#include "ext/GuideBlocks.h"
#include "ext/PipeFixture.h"
#include "support/LogCapture.h"

namespace guide {

void reportEnd(const qz::ext::ChildOptions& options, const qz::ext::ChildResult& result)
{
    if (result.failure) qz::logWarning() << result.failure.toString();
    if (result.hasTimedOut) qz::logWarning() << "stopped at the time limit";
    if (result.isOutputCut) qz::logWarning() << "there was too much output";
    for (std::size_t i = 0; i < result.ends.size(); ++i) {
        const std::string& program = options.programs[i].program;
        const qz::ext::ChildEnd& end = result.ends[i];
        if (end.signal != 0)
            qz::logWarning() << program << " was ended by signal " << end.signal;
        else if (end.exitStatus != 0)
            qz::logWarning() << program << " ended with status " << end.exitStatus;
    }
}

std::optional<std::string> findLargestNumber(const std::string& path)
{
    qz::ext::ChildOptions options;
    options.programs = {{"sort", {"-n", path}}, {"tail", {"-n", "1"}}};
    options.output = qz::ext::ChildOutput::Memory(/*limitBytes=*/4096);
    options.error = qz::ext::ChildOutput::Log(qz::qzLog::Warning, "sort");
    qz::ext::ChildWait wait;
    wait.timeoutMs = 10'000;
    const qz::ext::ChildResult result = qz::ext::ChildProcess::Run(options, wait);
    if (!result.isSuccess() || result.isOutputCut) {
        reportEnd(options, result);
        return std::nullopt;
    }
    return result.output;
}

bool addOrder(const std::string& lockPath, const qz::qzCancelInterfaceReadOnly& cancel)
{
    qz::ext::FileLock lock;
    qz::ext::SystemFailure failure;
    const int timeoutMs = 5000;
    if (!lock.lockUtf8(lockPath, qz::ext::FileLock::Exclusive, timeoutMs, &cancel, &failure)) {
        qz::logWarning() << failure.toString();  // names the holder if there is one
        return false;
    }
    // Change the orders here; the end of the scope releases the lock.
    return true;
}

bool becomeTheOnlyInstance(qz::ext::SingleInstance& instance)
{
    qz::ext::SystemFailure failure;
    if (instance.claim("orders", &failure)) return true;
    qz::logCritical() << "orders runs already, or can't be locked: " << failure.toString();
    return false;
}

bool serveOrders(const qz::qzCancelInterfaceReadOnly& cancel)
{
    qz::ext::PipeServer server;
    server.onMessage([](qz::ext::PipeServer::Peer& peer, const std::string& message) {
        peer.send(message == "count" ? "3" : "what?");
    });
    server.onClosed([](qz::ext::PipeServer::Peer& peer, const qz::ext::SystemFailure& reason) {
        if (reason.error == ENOTCONN) return;  // the ordinary end: the client has closed
        qz::logWarning() << "process " << peer.getPid() << ": " << reason.toString();
    });
    qz::ext::SystemFailure failure;
    const int noLimitMs = -1;
    if (server.listen("orders", &failure) && server.serve(noLimitMs, &cancel, &failure))
        return true;
    qz::logCritical() << failure.toString();
    return false;
}

std::optional<std::string> requestFromOrders(const std::string& request)
{
    qz::ext::PipeChannel channel;
    qz::ext::SystemFailure failure;
    std::string answer;
    const int timeoutMs = 5000;
    if (channel.connect("orders", timeoutMs, /*cancel=*/nullptr, &failure) &&
        channel.send(request, timeoutMs, /*cancel=*/nullptr, &failure) &&
        channel.receive(answer, timeoutMs, /*cancel=*/nullptr, &failure))
        return answer;
    qz::logWarning() << failure.toString();
    return std::nullopt;
}

}  // namespace guide

namespace qz::ext {

using ::testing::ElementsAre;

namespace {

// The code of the guide that uses this library, a function a block.
std::vector<std::string> readBlocks()
{
    std::vector<std::string> blocks = readGuideBlocks("docs/guide-processes.md");
    const auto isOther = [](const std::string& block) {
        return block.find("qz::ext::") == std::string::npos;
    };
    blocks.erase(std::remove_if(blocks.begin(), blocks.end(), isOther), blocks.end());
    return blocks;
}

class GuideCodeTest : public PipeFixture {};

TEST_F(GuideCodeTest, IsTheCodeOfThisFile)
{
    const std::string source = readProjectFile("tests/ext/GuideCodeTest.cpp");
    const std::vector<std::string> blocks = readBlocks();
    EXPECT_EQ(blocks.size(), 6U);
    for (const std::string& block : blocks)
        EXPECT_NE(source.find('\n' + block), std::string::npos) << block;
}

TEST_F(GuideCodeTest, FindsTheLargestNumber)
{
    const std::string path = mFolder.write("numbers", "9\n100\n20\n");
    EXPECT_EQ(guide::findLargestNumber(path), "100\n");
    EXPECT_EQ(guide::findLargestNumber(mFolder.getPath("none")), std::nullopt);
}

TEST_F(GuideCodeTest, SaysHowTheProgramsEnded)
{
    const support::LogCapture capture;
    ChildOptions options;
    options.programs = {{"sh", {"-c", "kill -KILL $$"}}, {"ls", {"/none"}}, {"true"}};
    options.output = ChildOutput::Memory(/*limitBytes=*/4096);
    guide::reportEnd(options, ChildProcess::Run(options, ChildWait()));
    EXPECT_THAT(capture.getMessages(),
                ElementsAre("sh was ended by signal 9", "ls ended with status 2"));
}

TEST_F(GuideCodeTest, SaysWhatStoppedThePrograms)
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

TEST_F(GuideCodeTest, WaitsForTheLock)
{
    const std::string path = mFolder.getPath("orders.lock");
    EXPECT_TRUE(guide::addOrder(path, mCancel));
    FileLock holder;
    ASSERT_TRUE(holder.tryLockUtf8(path, FileLock::Exclusive));
    mCancel.isRequested = true;
    EXPECT_FALSE(guide::addOrder(path, mCancel));
}

TEST_F(GuideCodeTest, IsTheOnlyInstance)
{
    SingleInstance first;
    SingleInstance second;
    EXPECT_TRUE(guide::becomeTheOnlyInstance(first));
    EXPECT_FALSE(guide::becomeTheOnlyInstance(second));
}

TEST_F(GuideCodeTest, AnswersARequest)
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

}  // namespace

}  // namespace qz::ext
