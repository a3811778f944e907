// SPDX-License-Identifier: MIT
// Listening, connecting and accepting.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzNamedPipe.h>

#include "PipeFixture.h"
#include "qzNamedPipeTestPeer.h"
#include "support/Limits.h"
#include "support/LogCapture.h"

namespace qz {

using support::runInChild;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class qzNamedPipeServerTest : public PipeFixture {};

TEST_F(qzNamedPipeServerTest, StartsFresh)
{
    EXPECT_FALSE(mClient.isConnected());
    EXPECT_EQ(mClient.getSocket(), -1);
    EXPECT_FALSE(mClient.isReadChannelClosed() || mClient.isWriteChannelClosed());
    EXPECT_FALSE(mClient.hasWriteFailed() || mClient.hasPendingWrite());
    EXPECT_GE(mClient.editReadQueue().capacity(), 10'240U);
    EXPECT_GE(mClient.editWriteQueue().capacity(), 10'240U);
    mClient.processNamedPipeEvents(-1, true);
    mClient.closeNamedPipe();
    bool timedOut = true;
    EXPECT_FALSE(mServer.waitForNewConnection(-1, &timedOut));
    EXPECT_FALSE(timedOut);
    mServer.processPipeServerEvents(-1);
    mServer.closeNamedPipeServer();
}

TEST_F(qzNamedPipeServerTest, PassesBytesBothWays)
{
    connect();
    EXPECT_TRUE(mClient.isConnected() && mFar->isConnected());
    EXPECT_EQ(pass(mClient, *mFar, "hello"), "hello");
    EXPECT_EQ(pass(*mFar, mClient, std::string("a\0b\n", 4)), std::string("a\0b\n", 4));
    EXPECT_FALSE(mClient.hasPendingWrite());
}

TEST_F(qzNamedPipeServerTest, ListensInTheTemporaryFolder)
{
    ASSERT_TRUE(mServer.listenUtf8("by name"));
    struct stat status = {};
    ASSERT_EQ(::stat(mFolder.getPath("by name").c_str(), &status), 0);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    mServer.closeNamedPipeServer();
    EXPECT_EQ(::stat(mFolder.getPath("by name").c_str(), &status), 0) << "the file stays";
    ASSERT_TRUE(mServer.listenUtf8("by name")) << "and is replaced";
}

// A connection that its client takes away again must not hold the server up in `accept`.
TEST_F(qzNamedPipeServerTest, ItsSocketDoesNotBlockAndIsNotInherited)
{
    ASSERT_TRUE(mServer.listenUtf8("pipe"));
    const int socket = *static_cast<const int*>(qzNamedPipeTestPeer::getNative(mServer));
    EXPECT_NE(::fcntl(socket, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(::fcntl(socket, F_GETFD), FD_CLOEXEC);
}

TEST_F(qzNamedPipeServerTest, HasRoomForManyThatItHasNotAcceptedYet)
{
    constexpr int kClients = 200;
    int systemLimit = 0;
    std::ifstream("/proc/sys/net/core/somaxconn") >> systemLimit;
    if (systemLimit < kClients) GTEST_SKIP() << "the system has less room";
    ASSERT_TRUE(mServer.listenUtf8("pipe"));
    std::vector<qzNamedPipe> clients(kClients);
    for (qzNamedPipe& client : clients)
        ASSERT_TRUE(client.connectToNamedPipeServerUtf8("pipe"));
}

TEST_F(qzNamedPipeServerTest, EndsANameAtItsFirstZeroByte)
{
    ASSERT_TRUE(mServer.listenUtf8(std::string("cut\0here", 8)));
    EXPECT_TRUE(mClient.connectToNamedPipeServerUtf8("cut"));
}

// --- Refusals

TEST_F(qzNamedPipeServerTest, ReportsWhatItCannotListenOn)
{
    const support::LogCapture log;
    const std::size_t descriptors = support::countOpenDescriptors();
    EXPECT_FALSE(mServer.listenUtf8(""));
    EXPECT_FALSE(mServer.listenUtf8(makeName(107)));
    EXPECT_FALSE(mServer.listenUtf8("missing/folder"));
    EXPECT_FALSE(mServer.listenUtf8("\xFF"));
    EXPECT_EQ(support::countOpenDescriptors(), descriptors);
    ASSERT_TRUE(mServer.listenUtf8("pipe"));
    EXPECT_FALSE(mServer.listenUtf8("other"));
    EXPECT_THAT(
        log.getLines(),
        ElementsAre(
            "CRITICAL Socket name is empty in qzNamedPipeServer::listenUtf8",
            "CRITICAL Fail to create socket on qzNamedPipeServer::listenUtf8, name is too long",
            "CRITICAL Fail to bind on qzNamedPipeServer::listenUtf8",
            "CRITICAL Fail to bind on qzNamedPipeServer::listenUtf8",
            "CRITICAL Cannot listen twice in qzNamedPipeServer::listenUtf8"));
    EXPECT_TRUE(mClient.connectToNamedPipeServerUtf8("pipe")) << "it listens as before";
}

TEST_F(qzNamedPipeServerTest, ReportsThatThereIsNoSocket)
{
    const support::LogCapture log;
    const support::DescriptorLimit noneLeft(0);
    EXPECT_FALSE(mServer.listenUtf8("pipe"));
    EXPECT_FALSE(mClient.connectToNamedPipeServerUtf8("pipe"));
    EXPECT_THAT(log.getMessages(),
                ElementsAre("Cannot open socket in qzNamedPipeServer::listenUtf8, socket() "
                            "returned INVALID_SOCKET"));
}

TEST_F(qzNamedPipeServerTest, TakesPathsOf106Bytes)
{
    const support::LogCapture log;
    const std::string longest = makeName(106);
    ASSERT_TRUE(mServer.listenUtf8(longest));
    EXPECT_TRUE(mClient.connectToNamedPipeServerUtf8(longest));
    EXPECT_TRUE(mServer.waitForNewConnection(60'000, nullptr));
    EXPECT_THAT(log.getMessages(), IsEmpty());
    qzNamedPipe other;
    EXPECT_FALSE(other.connectToNamedPipeServerUtf8(makeName(107)));
    EXPECT_THAT(log.getMessages(),
                ElementsAre("Fail to create socket on "
                            "qzNamedPipe::connectToNamedPipeServerUtf8, name is too long"));
}

TEST_F(qzNamedPipeServerTest, RefusesAConnectionWithoutAWord)
{
    const support::LogCapture log;
    EXPECT_FALSE(mClient.connectToNamedPipeServerUtf8(""));
    EXPECT_FALSE(mClient.connectToNamedPipeServerUtf8("nobody"));
    EXPECT_FALSE(mClient.connectToNamedPipeServerUtf8("\xFF"));
    ASSERT_TRUE(mServer.listenUtf8("pipe"));
    mServer.closeNamedPipeServer();
    EXPECT_FALSE(mClient.connectToNamedPipeServerUtf8("pipe")) << "the server has gone";
    EXPECT_FALSE(mClient.isConnected());
    connect("again");
    const int socket = mClient.getSocket();
    EXPECT_FALSE(mClient.connectToNamedPipeServerUtf8("again")) << "it is connected";
    EXPECT_EQ(mClient.getSocket(), socket);
    EXPECT_THAT(log.getMessages(), IsEmpty());
}

TEST_F(qzNamedPipeServerTest, ConnectsAnewAfterAClose)
{
    connect();
    mClient.closeNamedPipe();
    EXPECT_TRUE(mClient.connectToNamedPipeServerUtf8("pipe"));
}

// --- The server

TEST_F(qzNamedPipeServerTest, ASecondServerTakesTheNameOver)
{
    ASSERT_TRUE(mServer.listenUtf8("pipe"));
    qzNamedPipeServer second;
    ASSERT_TRUE(second.listenUtf8("pipe"));
    ASSERT_TRUE(mClient.connectToNamedPipeServerUtf8("pipe"));
    EXPECT_TRUE(second.waitForNewConnection(60'000, nullptr));
    bool timedOut = false;
    EXPECT_FALSE(mServer.waitForNewConnection(0, &timedOut));
    EXPECT_TRUE(timedOut);
}

TEST_F(qzNamedPipeServerTest, AcceptsOneConnectionACallUpToEight)
{
    ASSERT_TRUE(mServer.listenUtf8("pipe"));
    std::vector<PipePointer> clients;
    for (int i = 0; i < 12; ++i) {
        clients.push_back(std::make_unique<qzNamedPipe>());
        ASSERT_TRUE(clients.back()->connectToNamedPipeServerUtf8("pipe"));
    }
    for (std::size_t i = 1; i <= 8; ++i) {
        mServer.processPipeServerEvents(60'000);
        EXPECT_THAT(mServer.editPendingConnections(), SizeIs(i));
    }
    const auto start = PipeClock::now();
    mServer.processPipeServerEvents(60'000);
    EXPECT_THAT(mServer.editPendingConnections(), SizeIs(8));
    EXPECT_LT(getMsSince(start), 50'000) << "it waited";
    EXPECT_TRUE(mServer.waitForNewConnection(60'000, nullptr)) << "one is pending";
    EXPECT_THAT(mServer.editPendingConnections(), SizeIs(8));
    for (int i = 0; i < 8; ++i)
        takePending(mServer);
    for (int i = 8; i < 12; ++i) {
        EXPECT_TRUE(mServer.waitForNewConnection(60'000, nullptr));
        takePending(mServer);
    }
}

TEST_F(qzNamedPipeServerTest, WaitsForAConnectionForTheWholeTime)
{
    ASSERT_TRUE(mServer.listenUtf8("pipe"));
    const auto start = PipeClock::now();
    bool timedOut = false;
    EXPECT_FALSE(mServer.waitForNewConnection(120, &timedOut));
    EXPECT_TRUE(timedOut);
    EXPECT_GE(getMsSince(start), 119);
    mServer.processPipeServerEvents(60);
    EXPECT_GE(getMsSince(start), 178);
    EXPECT_FALSE(mServer.waitForNewConnection(0, nullptr));
}

TEST_F(qzNamedPipeServerTest, WaitsWithoutALimit)
{
    ASSERT_TRUE(mServer.listenUtf8("pipe"));
    std::thread client([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_TRUE(mClient.connectToNamedPipeServerUtf8("pipe"));
    });
    bool timedOut = true;
    EXPECT_TRUE(mServer.waitForNewConnection(-1, &timedOut));
    EXPECT_FALSE(timedOut);
    client.join();
}

TEST_F(qzNamedPipeServerTest, ClosesWhatIsPending)
{
    ASSERT_TRUE(mServer.listenUtf8("pipe"));
    ASSERT_TRUE(mClient.connectToNamedPipeServerUtf8("pipe"));
    mServer.processPipeServerEvents(60'000);
    EXPECT_THAT(mServer.editPendingConnections(), SizeIs(1));
    const std::size_t descriptors = support::countOpenDescriptors();
    mServer.closeNamedPipeServer();
    EXPECT_EQ(support::countOpenDescriptors(), descriptors - 2);
    EXPECT_THAT(mServer.editPendingConnections(), IsEmpty());
    mClient.processNamedPipeEvents(60'000, true);
    EXPECT_TRUE(mClient.isReadChannelClosed());
}

TEST_F(qzNamedPipeServerTest, TheServerEndsWhenItsSocketIsClosedUnderIt)
{
    const auto body = [this] {
        const int before = ::dup(0);
        ::close(before);
        if (!mServer.listenUtf8("pipe")) return 1;
        ::close(before);  // the descriptor that the server got
        bool timedOut = true;
        if (mServer.waitForNewConnection(-1, &timedOut) || timedOut) return 2;
        return mServer.listenUtf8("pipe") ? 0 : 3;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

TEST(qzNamedPipeAlone, TakesItsNameInTheLocalCharacterSet)
{
    const support::ScratchFolder folder;
    const auto body = [&] {
        const support::EnvironmentLocale locale("en_US.ISO-8859-1");
        const support::EnvironmentVariable temporary("TMPDIR", folder.getPath());
        const support::LibraryStart start;
        qzNamedPipeServer server;
        qzNamedPipe pipe;
        if (!server.listenUtf8("p\u00e9") || !pipe.connectToNamedPipeServerUtf8("p\u00e9"))
            return 1;
        return ::access(folder.getPath("p\xE9").c_str(), F_OK) == 0 ? 0 : 2;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

TEST(qzNamedPipeAlone, FailsWithoutAStart)
{
    const auto body = [] {
        qzNamedPipeServer server;
        qzNamedPipe pipe;
        return server.listenUtf8("pipe") || pipe.connectToNamedPipeServerUtf8("pipe") ? 1 : 0;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
    const auto afterAStop = [&] {
        {
            const support::LibraryStart start(FullInit);
        }
        return body();
    };
    EXPECT_EQ(runInChild(afterAStop).getEnd(), "exit 0");
}

}  // namespace qz
