// SPDX-License-Identifier: MIT
// What clients can do to a server, and to each other.

#include <sys/fsuid.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <filesystem>
#include <stdexcept>

#include "ext/PipeFixture.h"
#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/Limits.h"

namespace qz::ext {

using PipeServerTest = PipeFixture;

namespace {

constexpr int kExpected = 42;

PipeServer::Limits makeSmallLimits()
{
    PipeServer::Limits limits;
    limits.messageBytes = 1000;
    limits.queuedBytes = 10'000;
    return limits;
}

}  // namespace

TEST_F(PipeServerTest, ServesHundredsOfConnections)
{
    startServer();
    std::vector<PipeChannel> channels(300);
    for (PipeChannel& channel : channels)
        ASSERT_TRUE(connect(channel)) << mFailure.toString();
    for (int round = 0; round < 3; ++round) {
        for (std::size_t i = 0; i < channels.size(); ++i)
            ASSERT_TRUE(channels[i].send(std::to_string(i), kLongMs, nullptr, &mFailure));
        for (std::size_t i = 0; i < channels.size(); ++i) {
            std::string answer;
            ASSERT_TRUE(channels[i].receive(answer, kLongMs, nullptr, &mFailure));
            EXPECT_EQ(answer, std::to_string(i));
        }
    }
    EXPECT_EQ(mConnected, 300);
    channels.clear();
    EXPECT_EQ(waitForReason(300), ENOTCONN);
    EXPECT_EQ(mReason.step, "receive, the peer closed the connection");
}

TEST_F(PipeServerTest, KnowsUserAndProcessOfAClient)
{
    std::atomic<long> pid = 0;
    std::atomic<unsigned int> uid = 1'000'000;
    startServer({}, [&](PipeServer& server) {
        server.onConnected([&](PipeServer::Peer& peer) {
            pid = peer.getPid();
            uid = peer.getUid();
        });
    });
    const support::ChildResult child = support::runInChild([&] {
        PipeChannel channel;
        return connect(channel) && exchange(channel, "x") == "x" ? kExpected : 1;
    });
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_EQ(waitForReason(), ENOTCONN);
    EXPECT_GT(pid, 0);
    EXPECT_NE(pid, ::getpid());
    EXPECT_EQ(uid, ::geteuid());
}

TEST_F(PipeServerTest, RefusesAClientOfAnotherUser)
{
    if (::geteuid() != 0) GTEST_SKIP() << "only root can be another user";
    startServer();
    const support::ChildResult child = support::runInChild([&] {
        // Another user who has got into the folder.
        if (::seteuid(65534) != 0 || ::setfsuid(0) < 0) return 1;
        const RawSocket socket;
        if (!socket.connect(getSocketPath())) return 2;
        socket.send(makeFrame("message"));
        char byte = 0;
        return ::recv(socket.get(), &byte, 1, 0) <= 0 ? kExpected : 3;
    });
    EXPECT_EQ(child.getEnd(), "exit 42");
    EXPECT_EQ(waitForReason(), EACCES);
    EXPECT_EQ(mReason.step, "accept, a client of user 65534");
    EXPECT_EQ(mConnected, 0);
    EXPECT_EQ(mMessages, 0);
    expectThatOthersAreServed();
}

TEST_F(PipeServerTest, SurvivesAClientThatIsKilledAfterAnyByte)
{
    startServer();
    const std::string frame = makeFrame("a message");
    for (std::size_t sent = 0; sent <= frame.size(); ++sent) {
        SCOPED_TRACE(sent);
        const int messagesBefore = mMessages;
        const support::ChildResult child = support::runInChild([&] {
            const RawSocket socket = connectRaw();
            socket.send(frame.substr(0, sent));
            return ::raise(SIGKILL);
        });
        ASSERT_EQ(child.signal, SIGKILL);
        const int reason = waitForReason(sent + 1);
        if (sent == frame.size()) {
            // The answer meets a socket that is closed.
            EXPECT_TRUE(reason == EPIPE || reason == ENOTCONN || reason == ECONNRESET) << reason;
        } else {
            EXPECT_EQ(reason, sent == 0 ? ENOTCONN : ECONNRESET);
            EXPECT_EQ(mReason.step, sent == 0 ? "receive, the peer closed the connection"
                                              : "receive, the peer closed inside a message");
        }
        EXPECT_EQ(mMessages - messagesBefore, sent == frame.size() ? 1 : 0);
    }
    expectThatOthersAreServed();
}

TEST_F(PipeServerTest, ClosesTheConnectionOfALiar)
{
    startServer(makeSmallLimits());
    std::string wrongCrc = makeFrame("message");
    wrongCrc[4] ^= 1;
    std::string shorter = makeFrame("message");
    shorter[0] = 6;
    const std::string wrongCrcStep = "receive, a message with a wrong CRC";
    const std::pair<std::string, SystemFailure> rows[] = {
        {wrongCrc, {wrongCrcStep, EBADMSG}},
        {shorter, {wrongCrcStep, EBADMSG}},
        {toBytes(1001) + toBytes(0), {"receive, a message of 1001 bytes", EMSGSIZE}},
        {toBytes(0xFFFFFFFF) + toBytes(0), {"receive, a message of 4294967295 bytes", EMSGSIZE}},
        {"GET / HTTP/1.1\r\n\r\n", {"receive, a message of 542393671 bytes", EMSGSIZE}},
    };
    std::size_t count = 0;
    PipeChannel honest;
    ASSERT_TRUE(connect(honest));
    for (const auto& [bytes, reason] : rows) {
        const RawSocket socket = connectRaw();
        ASSERT_TRUE(socket.send(bytes));
        waitForReason(++count);
        EXPECT_EQ(mReason.toString(), reason.toString());
        EXPECT_EQ(exchange(honest, "honest"), "honest");
    }
    EXPECT_EQ(mMessages, static_cast<int>(std::size(rows)));
}

TEST_F(PipeServerTest, DeliversNoMessageWithAWrongBit)
{
    startServer(makeSmallLimits());
    const std::string frame = makeFrame("message");
    for (std::size_t bit = 0; bit < frame.size() * 8; ++bit) {
        std::string damaged = frame;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
        RawSocket socket = connectRaw();
        ASSERT_TRUE(socket.send(damaged));
        socket.close();
        const int reason = waitForReason(bit + 1);
        EXPECT_TRUE(reason == EBADMSG || reason == EMSGSIZE || reason == ECONNRESET) << reason;
    }
    EXPECT_EQ(mMessages, 0);
    expectThatOthersAreServed();
}

TEST_F(PipeServerTest, ClosesAClientThatStopsInsideAMessage)
{
    PipeServer::Limits limits = makeSmallLimits();
    limits.stallMs = 100;
    startServer(limits);
    PipeChannel idle;
    ASSERT_TRUE(connect(idle));
    const auto start = std::chrono::steady_clock::now();
    const RawSocket socket = connectRaw();
    ASSERT_TRUE(socket.send(makeFrame("message").substr(0, 9)));
    EXPECT_EQ(waitForReason(), ETIMEDOUT);
    EXPECT_EQ(mReason.step, "receive, the rest of a message is missing");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
    EXPECT_EQ(exchange(idle, "later"), "later") << "a client without a message was closed as well";
}

TEST_F(PipeServerTest, ClosesAClientThatSendsAByteNowAndThen)
{
    PipeServer::Limits limits = makeSmallLimits();
    limits.stallMs = 200;
    startServer(limits);
    const RawSocket socket = connectRaw();
    const std::string frame = makeFrame(std::string(1000, 'x'));
    std::size_t sent = 0;
    while (sent < frame.size() && socket.send(frame.substr(sent, 1))) {
        ++sent;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_LT(sent, frame.size());
    EXPECT_EQ(waitForReason(), ETIMEDOUT);
    EXPECT_EQ(mMessages, 0);
}

TEST_F(PipeServerTest, ClosesAClientThatReadsNothing)
{
    PipeServer::Limits limits = makeSmallLimits();
    limits.stallMs = 300;
    startServer(limits);
    const RawSocket socket = connectRaw();
    const std::string frame = makeFrame(std::string(1000, 'x'));
    std::size_t sentBytes = 0;
    std::size_t partBytes = 0;
    // It sends as long as the server reads.
    const bool hasEnded = support::waitUntil([&] {
        while (const std::size_t count = socket.sendWithoutWaiting(frame.substr(partBytes))) {
            sentBytes += count;
            partBytes = (partBytes + count) % frame.size();
        }
        const std::lock_guard<std::mutex> lock(mMutex);
        return !mReasons.empty();
    });
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(waitForReason(), ETIMEDOUT);
    EXPECT_EQ(mReason.step, "send, the client reads nothing");
    EXPECT_LT(sentBytes, 2'000'000U) << "the server goes on reading";
    expectThatOthersAreServed();
}

TEST_F(PipeServerTest, ServesOthersWhileAClientReadsNothing)
{
    startServer(makeSmallLimits());  // with a long time
    const RawSocket socket = connectRaw();
    const std::string frame = makeFrame(std::string(1000, 'x'));
    for (int quiet = 0; quiet < 20;) {
        quiet = socket.sendWithoutWaiting(frame) > 0 ? 0 : quiet + 1;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    expectThatOthersAreServed();
    EXPECT_TRUE(waitForReasons(1).back().error == ENOTCONN) << "only the other one has left";
}

TEST_F(PipeServerTest, ClosesAClientForWhichTooMuchIsQueued)
{
    std::atomic<int> refused = 0;
    startServer(makeSmallLimits(), [&](PipeServer& server) {
        server.onMessage([&](PipeServer::Peer& peer, const std::string&) {
            if (peer.send(std::string(1001, 'x'))) return;
            EXPECT_TRUE(peer.isOpen()) << "closed for a message beyond the limit";
            for (int i = 0; i < 10; ++i)
                refused += peer.send(std::string(1000, 'x')) ? 0 : 1;
            EXPECT_FALSE(peer.isOpen());
            peer.close();  // the first reason stays
        });
    });
    const RawSocket socket = connectRaw();
    ASSERT_TRUE(socket.send(makeFrame("go")));
    EXPECT_EQ(waitForReason(), ENOBUFS);
    EXPECT_EQ(mReason.step, "send, too many bytes are queued");
    EXPECT_EQ(refused, 1);
}

TEST_F(PipeServerTest, HasRoomForTwoOfTheLongestMessagesWhateverIsSet)
{
    PipeServer::Limits limits = makeSmallLimits();
    limits.queuedBytes = 0;
    startServer(limits, [&](PipeServer& server) {
        server.onMessage([](PipeServer::Peer& peer, const std::string& message) {
            EXPECT_TRUE(peer.send(message));
            EXPECT_TRUE(peer.send(message));
        });
    });
    PipeChannel channel;
    ASSERT_TRUE(connect(channel));
    const std::string longest(1000, 'x');
    EXPECT_EQ(exchange(channel, longest), longest);
}

TEST_F(PipeServerTest, NoticesAStallInAWaitThatNothingElseEnds)
{
    const auto serveUntilTheClientIsClosed = [&] {
        PipeServer::Limits limits;
        limits.stallMs = 50;
        PipeServer server(limits);
        int error = 0;
        server.onClosed([&](PipeServer::Peer&, const SystemFailure& reason) {
            error = reason.error;
            throw std::runtime_error("the only end of the wait");
        });
        if (!server.listen("echo")) return 1;
        const RawSocket socket = connectRaw();
        if (!socket.send(makeFrame("message").substr(0, 9))) return 2;
        const RawSocket idle = connectRaw();
        try {
            server.serve(-1, nullptr);
        } catch (const std::runtime_error&) {
            return error == ETIMEDOUT ? kExpected : 3;
        }
        return 4;
    };
    const int hangLimitSec = 60;
    EXPECT_EQ(support::runInChild(serveUntilTheClientIsClosed, "", hangLimitSec).getEnd(),
              "exit 42");
}

TEST_F(PipeServerTest, AcceptsInAWaitThatNothingElseEndsOnceThereAreDescriptors)
{
    const auto serveUntilAClientIsAccepted = [&] {
        PipeServer server;
        server.onConnected(
            [](PipeServer::Peer&) { throw std::runtime_error("the only end of the wait"); });
        if (!server.listen("echo")) return 1;
        const RawSocket socket = connectRaw();
        rlimit enough = {};
        ::getrlimit(RLIMIT_NOFILE, &enough);
        const support::DescriptorLimit noneLeft(0);
        // Another process raises the limit, because the sanitizer needs descriptors for a thread.
        const pid_t served = ::getpid();
        const pid_t helper = ::fork();
        if (helper == 0) {
            ::usleep(200'000);
            ::_exit(::prlimit(served, RLIMIT_NOFILE, &enough, nullptr));
        }
        int end = 2;
        try {
            server.serve(-1, nullptr);
        } catch (const std::runtime_error&) {
            end = kExpected;
        }
        ::waitpid(helper, nullptr, 0);
        return end;
    };
    const int hangLimitSec = 60;
    EXPECT_EQ(support::runInChild(serveUntilAClientIsAccepted, "", hangLimitSec).getEnd(),
              "exit 42");
}

TEST_F(PipeServerTest, SendsToAllClients)
{
    startServer({}, [&](PipeServer& server) {
        server.onMessage([&server](PipeServer::Peer&, const std::string& message) {
            for (PipeServer::Peer* peer : server.getPeers())
                peer->send(message);
        });
    });
    std::vector<PipeChannel> channels(5);
    for (PipeChannel& channel : channels)
        ASSERT_TRUE(connect(channel));
    ASSERT_TRUE(support::waitUntil([&] { return mConnected == 5; }));
    ASSERT_TRUE(channels[2].send("to all", kLongMs, nullptr, &mFailure));
    for (PipeChannel& channel : channels) {
        std::string message;
        EXPECT_TRUE(channel.receive(message, kLongMs, nullptr, &mFailure));
        EXPECT_EQ(message, "to all");
    }
}

TEST_F(PipeServerTest, ClosesAClientOnRequest)
{
    startServer({}, [&](PipeServer& server) {
        server.onMessage([](PipeServer::Peer& peer, const std::string&) {
            peer.close();
            EXPECT_FALSE(peer.isOpen());
            EXPECT_FALSE(peer.send("more"));
        });
    });
    PipeChannel channel;
    ASSERT_TRUE(connect(channel));
    ASSERT_TRUE(channel.send("one", kLongMs, nullptr, &mFailure));
    EXPECT_EQ(waitForReason(), ECONNABORTED);
    EXPECT_EQ(mReason.step, "close by the server");
    std::string message;
    EXPECT_FALSE(channel.receive(message, kLongMs, nullptr, &mFailure));
    EXPECT_EQ(mFailure.error, ENOTCONN);
}

TEST_F(PipeServerTest, ClosesAClientWithoutAWaitInTheCallbackForAnother)
{
    const auto serveUntilBothAreClosed = [&] {
        PipeServer server;
        int closed = 0;
        server.onClosed([&](PipeServer::Peer&, const SystemFailure&) {
            for (PipeServer::Peer* const peer : server.getPeers())
                peer->close();
            if (++closed == 2) throw std::runtime_error("the only end of the wait");
        });
        PipeChannel first;
        PipeChannel second;
        if (!server.listen("echo") || !connect(first) || !connect(second)) return 1;
        if (!server.serve(0, nullptr) || server.getPeers().size() != 2) return 2;
        second.close();
        try {
            server.serve(-1, nullptr);
        } catch (const std::runtime_error&) {
            return kExpected;
        }
        return 3;
    };
    const int hangLimitSec = 60;
    const support::ChildResult child =
        support::runInChild(serveUntilBothAreClosed, "", hangLimitSec);
    EXPECT_EQ(child.getEnd(), "exit 42");
}

TEST_F(PipeServerTest, KeepsFurtherClientsWaitingAtTheMostConnections)
{
    PipeServer::Limits limits;
    limits.connections = 2;
    startServer(limits);
    std::vector<PipeChannel> channels(3);
    for (PipeChannel& channel : channels)
        ASSERT_TRUE(connect(channel));
    EXPECT_EQ(exchange(channels[0], "a"), "a");
    EXPECT_EQ(exchange(channels[1], "b"), "b");
    ASSERT_TRUE(channels[2].send("c", kLongMs, nullptr, &mFailure));
    std::string message;
    EXPECT_FALSE(channels[2].receive(message, 50, nullptr, &mFailure));
    EXPECT_EQ(mFailure.error, ETIMEDOUT);
    channels[0].close();
    EXPECT_TRUE(channels[2].receive(message, kLongMs, nullptr, &mFailure));
    EXPECT_EQ(message, "c");
}

TEST_F(PipeServerTest, GoesOnAfterAnExceptionOfACallback)
{
    PipeServer server;
    server.onMessage([](PipeServer::Peer& peer, const std::string& message) {
        if (message == "throw") throw std::runtime_error("from the callback");
        peer.send(message);
    });
    ASSERT_TRUE(server.listen("echo", &mFailure));
    PipeChannel channel;
    ASSERT_TRUE(connect(channel));
    ASSERT_TRUE(channel.send("throw", 0, nullptr, &mFailure));
    ASSERT_TRUE(channel.send("after", 0, nullptr, &mFailure));
    EXPECT_THROW(server.serve(100, nullptr, &mFailure), std::runtime_error);
    EXPECT_TRUE(server.serve(100, nullptr, &mFailure));
    std::string message;
    EXPECT_TRUE(channel.receive(message, 0, nullptr, &mFailure));
    EXPECT_EQ(message, "after");
}

TEST_F(PipeServerTest, LetsACallbackSetAnotherOneInItsPlace)
{
    PipeServer server;
    const std::string text = "kept by the callback, and too long for a place in it";
    std::vector<std::string> calls;
    server.onConnected([&, text](PipeServer::Peer&) {
        server.onConnected({});
        calls.push_back("connected " + text);
    });
    server.onMessage([&, text](PipeServer::Peer&, const std::string& message) {
        server.onMessage(
            [&](PipeServer::Peer&, const std::string& later) { calls.push_back("next " + later); });
        calls.push_back(message + " " + text);
    });
    server.onClosed([&, text](PipeServer::Peer&, const SystemFailure&) {
        server.onClosed({});
        calls.push_back("closed " + text);
    });
    ASSERT_TRUE(server.listen("echo", &mFailure));
    PipeChannel channel;
    ASSERT_TRUE(connect(channel));
    ASSERT_TRUE(channel.send("one", 0, nullptr, &mFailure));
    ASSERT_TRUE(channel.send("two", 0, nullptr, &mFailure));
    channel.close();
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(server.serve(0, nullptr, &mFailure));
    EXPECT_EQ(calls, (std::vector<std::string>{"connected " + text, "one " + text, "next two",
                                               "closed " + text}));
}

TEST_F(PipeServerTest, ServesOthersBeforeItAcceptsAllOfManyClients)
{
    PipeServer server;
    ASSERT_TRUE(server.listen("echo", &mFailure));
    std::vector<RawSocket> sockets;
    for (int i = 0; i < 70; ++i)
        sockets.push_back(connectRaw());
    EXPECT_TRUE(server.serve(0, nullptr, &mFailure));
    EXPECT_EQ(server.getPeers().size(), 64U);
    EXPECT_TRUE(server.serve(0, nullptr, &mFailure));
    EXPECT_EQ(server.getPeers().size(), 70U);
}

TEST_F(PipeServerTest, CountsAClientThatItHasClosedNoLonger)
{
    PipeServer server;
    server.onConnected([&](PipeServer::Peer& peer) {
        EXPECT_EQ(server.getPeers().size(), 1U);
        peer.close();
        EXPECT_TRUE(server.getPeers().empty());
    });
    ASSERT_TRUE(server.listen("echo", &mFailure));
    const RawSocket socket = connectRaw();
    EXPECT_TRUE(server.serve(0, nullptr, &mFailure));
}

TEST_F(PipeServerTest, LeavesItsClientsAndItsNameWithoutACallback)
{
    PipeServer server;
    server.onClosed([](PipeServer::Peer&, const SystemFailure&) { ADD_FAILURE(); });
    ASSERT_TRUE(server.listen("echo", &mFailure));
    PipeChannel channel;
    ASSERT_TRUE(connect(channel));
    EXPECT_TRUE(server.serve(0, nullptr, &mFailure));
    server.close();
    EXPECT_TRUE(server.getPeers().empty());
    std::string message;
    EXPECT_FALSE(channel.receive(message, kLongMs, nullptr, &mFailure));
    EXPECT_EQ(mFailure.error, ENOTCONN);
    PipeServer other;
    EXPECT_TRUE(other.listen("echo", &mFailure)) << mFailure.toString();
}

TEST_F(PipeServerTest, TakesAnEmptyCallbackForNone)
{
    PipeServer server;
    server.onConnected({});
    server.onMessage({});
    server.onClosed({});
    ASSERT_TRUE(server.listen("echo", &mFailure));
    PipeChannel channel;
    ASSERT_TRUE(connect(channel));
    ASSERT_TRUE(channel.send("message", 0, nullptr, &mFailure));
    channel.close();
    EXPECT_NO_THROW(for (int i = 0; i < 3; ++i) server.serve(0, nullptr));
    EXPECT_TRUE(server.getPeers().empty());
}

TEST_F(PipeServerTest, WaitsWithoutSpinningWhileAClientWaitsForAnother)
{
    PipeServer::Limits limits;
    limits.connections = 1;
    PipeServer server(limits);
    ASSERT_TRUE(server.listen("echo", &mFailure));
    const RawSocket first = connectRaw();
    const RawSocket second = connectRaw();
    const std::clock_t start = std::clock();
    EXPECT_TRUE(server.serve(400, nullptr, &mFailure)) << mFailure.toString();
    EXPECT_LT(std::clock() - start, CLOCKS_PER_SEC / 5);
    EXPECT_EQ(server.getPeers().size(), 1U);
}

TEST_F(PipeServerTest, WaitsWithoutSpinningWhileNoDescriptorIsLeft)
{
    PipeServer server;
    ASSERT_TRUE(server.listen("echo", &mFailure));
    bool isConnected = false;
    server.onConnected([&](PipeServer::Peer&) { isConnected = true; });
    const RawSocket socket = connectRaw();
    SystemFailure failure;  // not that of the fixture, which the sanitizer looks at by a descriptor
    {
        const support::DescriptorLimit noneLeft(0);
        const std::clock_t start = std::clock();
        EXPECT_TRUE(server.serve(400, nullptr, &failure)) << failure.toString();
        EXPECT_LT(std::clock() - start, CLOCKS_PER_SEC / 5);
    }
    EXPECT_FALSE(isConnected);
    EXPECT_TRUE(server.serve(400, nullptr, &mFailure));
    EXPECT_TRUE(isConnected);
}

TEST_F(PipeServerTest, LeavesNoDescriptorAndNoFileWhenMemoryIsShort)
{
    const std::size_t before = support::countOpenDescriptors();
    bool isAnswered = false;
    const std::size_t failed = support::failEachAllocation(
        [&] {
            PipeServer server;
            server.onMessage(
                [](PipeServer::Peer& peer, const std::string& text) { peer.send(text); });
            PipeChannel channel;
            std::string answer;
            isAnswered = server.listen("echo") && channel.connect("echo", 0, nullptr) &&
                         channel.send(std::string(20'000, 'x'), 0, nullptr) &&
                         server.serve(0, nullptr) && server.serve(0, nullptr) &&
                         server.serve(0, nullptr) && server.serve(0, nullptr) &&
                         channel.receive(answer, 0, nullptr);
        },
        [&](const support::AllocationFailure& failure) {
            EXPECT_EQ(support::countOpenDescriptors(), before) << failure.number;
            EXPECT_FALSE(std::filesystem::exists(getSocketPath())) << failure.number;
        });
    EXPECT_GT(failed, 10U);
    EXPECT_TRUE(isAnswered) << "the last run has no failure";
}

// --- The name

TEST_F(PipeServerTest, IsTheOnlyOneOfItsName)
{
    startServer();
    PipeServer second;
    EXPECT_FALSE(second.listen("echo", &mFailure));
    EXPECT_EQ(mFailure.error, EAGAIN);
    EXPECT_NE(mFailure.step.find("process " + std::to_string(::getpid())), std::string::npos);
    EXPECT_EQ(mFailure.step.find("lock " + mFolder.getPath("echo.pipe-lock")), 0U);
    EXPECT_FALSE(second.serve(0, nullptr, &mFailure));
    EXPECT_EQ(mFailure.error, ENOTCONN);
    EXPECT_EQ(mFailure.step, "serve, without a name");
    EXPECT_TRUE(second.listen("other", &mFailure)) << mFailure.toString();
    EXPECT_FALSE(second.listen("third", &mFailure));
    EXPECT_EQ(mFailure.error, EISCONN);
    expectThatOthersAreServed();
    stopServer();
    second.close();
    EXPECT_TRUE(second.listen("echo", &mFailure)) << mFailure.toString();
}

TEST_F(PipeServerTest, ReplacesWhatAKilledServerHasLeft)
{
    const support::ChildResult child = support::runInChild([&] {
        PipeServer server;
        return server.listen("echo") ? ::raise(SIGKILL) : 1;
    });
    ASSERT_EQ(child.signal, SIGKILL);
    EXPECT_TRUE(std::filesystem::exists(getSocketPath()));
    startServer();
    expectThatOthersAreServed();
}

TEST_F(PipeServerTest, StaysWithTheParentOfAFork)
{
    startServer();
    const support::ChildResult child = support::runInChild([&] {
        const bool isRefused = !mServer->serve(0, nullptr, &mFailure);
        mServer->close();
        return isRefused && mFailure.error == ENOTCONN ? kExpected : 1;
    });
    EXPECT_EQ(child.exitCode, kExpected);
    EXPECT_TRUE(std::filesystem::exists(getSocketPath())) << "the child has removed the socket";
    expectThatOthersAreServed();
}

}  // namespace qz::ext
