// SPDX-License-Identifier: MIT
// When a client of a server stalls, and when it is only slow. The steps of `serve` are made one by
// one, so that no thread of the test can be late.

#include "ext/channel/PipePeer.h"

#include <malloc.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ext/RawPeer.h"
#include "support/Allocations.h"

namespace qz::ext {

namespace {

constexpr int kStallMs = 100;

PipeServer::Limits makeLimits()
{
    PipeServer::Limits limits;
    limits.messageBytes = 1'000'000;
    limits.queuedBytes = 2'000'016;
    limits.stallMs = kStallMs;
    return limits;
}

/// The server's end of a connection, whose other end is a plain socket.
struct Connection {
    Connection()
    {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
        client = RawSocket(ends[0]);
        peer = std::make_unique<PipePeer>(OwnDescriptor::Open([&] { return ends[1]; }), ucred(),
                                          limits);
    }
    void receive(bool isReady) const
    {
        peer->receive(isReady, [&](PipeServer::Peer& sender, const std::string& message) {
            if (message == "give") sender.send(std::string(limits.messageBytes, 'x'));
        });
    }
    void readAll() const
    {
        std::string bytes(65536, '\0');
        while (::recv(client.get(), bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) {
        }
    }
    void sendAll() const
    {
        while (peer->isOpen() && peer->getEvents() != POLLIN) {
            readAll();
            peer->sendQueued();
        }
    }
    int countUnreadBytes() const
    {
        int count = 0;
        EXPECT_EQ(::ioctl(peer->getSocket(), FIONREAD, &count), 0);
        return count;
    }

    const PipeServer::Limits limits = makeLimits();
    RawSocket client;
    std::unique_ptr<PipePeer> peer;
};

void waitLongerThanAStall()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(kStallMs + 20));
}

// On a busy machine, some time may pass between the steps of a connection. So several of them get a
// chance to stay open.
template <typename Steps>
bool staysOpen(const Steps& steps)
{
    for (int i = 0; i < 20; ++i) {
        const Connection connection;
        steps(connection);
        if (connection.peer->isOpen()) return true;
        EXPECT_EQ(connection.peer->getReason().error, ETIMEDOUT);
    }
    return false;
}

const std::string kFrame = makeFrame("message");
const std::string kHalf = kFrame.substr(0, 9);
const std::string kRest = kFrame.substr(9);

}  // namespace

TEST(PipePeerTest, ClosesAClientThatStallsInsideAMessage)
{
    const Connection connection;
    ASSERT_TRUE(connection.client.send(kHalf));
    connection.receive(true);
    waitLongerThanAStall();
    connection.receive(false);
    EXPECT_EQ(connection.peer->getReason().error, ETIMEDOUT);
}

TEST(PipePeerTest, ClosesAClientThatReadsNothing)
{
    const Connection connection;
    ASSERT_TRUE(connection.peer->send(std::string(1'000'000, 'x')));
    EXPECT_TRUE(connection.peer->hasTimer());
    connection.peer->sendQueued();
    waitLongerThanAStall();
    EXPECT_TRUE(connection.peer->send("another one")) << "which gives it no more time";
    connection.peer->sendQueued();
    EXPECT_EQ(connection.peer->getReason().error, ETIMEDOUT);
}

TEST(PipePeerTest, ClosesAClientThatHasGoneBeforeItsAnswers)
{
    Connection connection;
    ASSERT_TRUE(connection.peer->send("answer"));
    connection.client.close();
    connection.peer->sendQueued();
    EXPECT_EQ(connection.peer->getReason().step, "send");
    EXPECT_EQ(connection.peer->getReason().error, EPIPE);
}

TEST(PipePeerTest, QueuesAsManyBytesAsItsLimitWithTheHeaders)
{
    const Connection connection;
    const std::string longest(connection.limits.messageBytes, 'x');
    EXPECT_TRUE(connection.peer->send(longest));
    EXPECT_TRUE(connection.peer->send(longest));
    EXPECT_FALSE(connection.peer->send(longest + "x"));
    EXPECT_TRUE(connection.peer->isOpen()) << "closed for a message beyond the limit";
    EXPECT_FALSE(connection.peer->send(""));
    EXPECT_EQ(connection.peer->getReason().error, ENOBUFS);
}

TEST(PipePeerTest, NeitherSendsNorDeliversAnythingOnceItIsClosed)
{
    const Connection connection;
    ASSERT_TRUE(connection.client.send(kFrame + kFrame));
    int delivered = 0;
    connection.peer->receive(true, [&](PipeServer::Peer& peer, const std::string&) {
        ++delivered;
        EXPECT_TRUE(peer.send("answer"));
        peer.close();
    });
    connection.peer->sendQueued();
    EXPECT_EQ(delivered, 1);
    char byte = 0;
    EXPECT_LT(::recv(connection.client.get(), &byte, 1, MSG_DONTWAIT), 0);
}

TEST(PipePeerTest, CountsTheTimeOfEachMessageFromItsOwnBeginning)
{
    EXPECT_TRUE(staysOpen([](const Connection& connection) {
        connection.client.send(kHalf);
        connection.receive(true);
        waitLongerThanAStall();
        connection.client.send(kRest + kHalf);
        connection.receive(true);
        connection.receive(false);
    }));
}

TEST(PipePeerTest, ReceivesTheRestOfAMessageThatIsThereAlready)
{
    const Connection connection;
    ASSERT_TRUE(connection.client.send(kHalf));
    connection.receive(true);
    waitLongerThanAStall();
    ASSERT_TRUE(connection.client.send(kRest));
    connection.receive(false);
    EXPECT_TRUE(connection.peer->isOpen()) << "a slow callback was taken for a slow client";
}

TEST(PipePeerTest, CountsNoTimeWhileItDoesntReadItself)
{
    EXPECT_TRUE(staysOpen([](const Connection& connection) {
        connection.client.send(makeFrame("give") + makeFrame("give") + kHalf);
        connection.receive(true);
        waitLongerThanAStall();
        connection.receive(true);
        connection.sendAll();
        connection.receive(false);
    }));
}

TEST(PipePeerTest, LeavesTheInputInTheSocketWhileItsAnswersAreQueued)
{
    const Connection connection;
    ASSERT_TRUE(connection.client.send(makeFrame("give")));
    connection.receive(true);
    EXPECT_EQ(connection.peer->getEvents(), POLLIN | POLLOUT) << "paused at half of the limit";
    ASSERT_TRUE(connection.client.send(makeFrame("give")));
    connection.receive(true);
    EXPECT_EQ(connection.peer->getEvents(), POLLOUT);
    ASSERT_TRUE(connection.client.send(kFrame));
    connection.receive(true);
    EXPECT_EQ(connection.countUnreadBytes(), static_cast<int>(kFrame.size()));
}

TEST(PipePeerTest, DeliversAllThatAClientHasSentBeforeItsEnd)
{
    const Connection connection;
    const std::string give = makeFrame("give");
    ASSERT_TRUE(connection.client.send(give + give + give + give + kFrame));
    ASSERT_EQ(::shutdown(connection.client.get(), SHUT_WR), 0);
    connection.receive(true);
    connection.sendAll();
    EXPECT_TRUE(connection.peer->hasWork()) << "messages are left";
    connection.receive(true);  // finds the end, and room for two answers again
    EXPECT_TRUE(connection.peer->isOpen());
    connection.sendAll();
    connection.receive(false);
    EXPECT_EQ(connection.peer->getReason().error, ENOTCONN);
}

TEST(PipePeerTest, CountsTheTimeOfAnAnswerFromItsOwnBeginning)
{
    EXPECT_TRUE(staysOpen([](const Connection& connection) {
        connection.peer->send("first");
        connection.peer->sendQueued();
        // The socket is full, and the queue is empty.
        const std::string bytes(65536, 'x');
        while (::send(connection.peer->getSocket(), bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) {
        }
        waitLongerThanAStall();
        connection.peer->send("second");
        connection.peer->sendQueued();
    }));
}

TEST(PipePeerTest, KeepsAClientThatReadsSlowly)
{
    EXPECT_TRUE(staysOpen([](const Connection& connection) {
        connection.peer->send(std::string(1'000'000, 'x'));
        connection.peer->sendQueued();
        waitLongerThanAStall();
        connection.readAll();
        connection.peer->sendQueued();
        connection.peer->sendQueued();
    }));
}

TEST(MessageStreamTest, KeepsTheFirstFailure)
{
    int ends[2] = {-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const RawSocket own(ends[0]);
    RawSocket other(ends[1]);
    MessageStream stream(10);
    ASSERT_TRUE(stream.append("message"));
    ASSERT_TRUE(other.send(toBytes(11) + toBytes(0)));
    ASSERT_EQ(stream.receive(own.get()), MessageStream::Step::Moved);
    std::string message;
    EXPECT_FALSE(stream.take(message));
    EXPECT_EQ(stream.getFailure().error, EMSGSIZE);
    other.close();
    EXPECT_EQ(stream.send(own.get()), MessageStream::Step::Broken);
    EXPECT_EQ(stream.receive(own.get()), MessageStream::Step::Broken);
    EXPECT_EQ(stream.getFailure().error, EMSGSIZE);
}

// The header alone would be sent before the next message.
TEST(MessageStreamTest, QueuesNothingOfAMessageThatMemoryIsTooShortFor)
{
    const std::string message(1000, 'x');
    const std::size_t whole = MessageStream::kHeaderBytes + message.size();
    std::size_t queued = 0;
    const std::size_t failed = support::failEachAllocation(
        [&] {
            MessageStream stream(message.size());
            try {
                stream.append(message);
                stream.append(message);
            } catch (const std::bad_alloc&) {
                queued = stream.getOutputBytes();
                throw;
            }
        },
        [&](const support::AllocationFailure& failure) {
            EXPECT_EQ(queued % whole, 0U) << failure.number;
        });
    EXPECT_GT(failed, 0U);
}

TEST(MessageStreamTest, RefusesALengthThatItsHeaderCantHold)
{
    MessageStream stream(SIZE_MAX);
    const char byte = 'x';  // nothing is read
    EXPECT_FALSE(stream.append({&byte, UINT32_MAX + 1UL}));
    EXPECT_EQ(stream.getOutputBytes(), 0U);
}

TEST(MessageStreamTest, KeepsNoSentBytesWhileTheQueueIsNeverEmpty)
{
    constexpr std::size_t kBytes = 1'000'000;
    int ends[2] = {-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const RawSocket own(ends[0]);
    const RawSocket other(ends[1]);
    MessageStream stream(kBytes);
    const std::string message(kBytes, 'x');
    std::string received(kBytes, '\0');
    ASSERT_TRUE(stream.append(message));
    // 0 with a sanitizer, which has an allocator of its own.
    const auto countBytesInUse = [] {
        const struct mallinfo2 memory = ::mallinfo2();
        return memory.uordblks + memory.hblkhd;
    };
    const std::size_t before = countBytesInUse();
    for (int i = 0; i < 50; ++i) {
        ASSERT_TRUE(stream.append(message));
        while (stream.getOutputBytes() > kBytes) {
            if (stream.send(own.get()) == MessageStream::Step::Moved) continue;
            ASSERT_GT(::recv(other.get(), received.data(), kBytes, MSG_DONTWAIT), 0);
        }
    }
    EXPECT_LT(countBytesInUse(), before + 10 * kBytes);
}

TEST(PipePeerTest, KeepsTheFirstReasonOfItsEnd)
{
    const Connection connection;
    connection.peer->close();
    ASSERT_TRUE(connection.client.send(toBytes(0xFFFFFFFF) + toBytes(0)));
    connection.receive(true);
    connection.peer->close(SystemFailure{"later", EIO});
    EXPECT_EQ(connection.peer->getReason().error, ECONNABORTED);
}

}  // namespace qz::ext
