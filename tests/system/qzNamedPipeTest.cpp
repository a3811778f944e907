// SPDX-License-Identifier: MIT
// The events of a pipe, and its descriptor.

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzNamedPipe.h>

#include "PipeFixture.h"

namespace qz {

using support::runInChild;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class qzNamedPipeTest : public PipeFixture {};

// --- The events of a pipe

TEST_F(qzNamedPipeTest, WaitsOnlyWhenItIsIdleAndMay)
{
    connect();
    auto start = PipeClock::now();
    mClient.processNamedPipeEvents(100, true);
    EXPECT_GE(getMsSince(start), 99);
    start = PipeClock::now();
    mClient.processNamedPipeEvents(100'000, false);
    append(mClient.editReadQueue(), "not taken yet");
    mClient.processNamedPipeEvents(100'000, true);
    mClient.editReadQueue().clear();
    append(mClient.editWriteQueue(), "x");
    mClient.processNamedPipeEvents(100'000, true);
    EXPECT_FALSE(mClient.hasPendingWrite());
    EXPECT_LT(getMsSince(start), 90'000) << "a call with work to do waited";
}

TEST_F(qzNamedPipeTest, ReceivesUpToTheLimitOfItsQueue)
{
    connect();
    append(mClient.editWriteQueue(), std::string(30'000, 'x'));
    mClient.processNamedPipeEvents(0, false);
    append(mFar->editReadQueue(), "old");
    mFar->processNamedPipeEvents(0, false);
    EXPECT_EQ(toText(mFar->editReadQueue()), "old" + std::string(10'237, 'x'));
    const auto start = PipeClock::now();
    mFar->processNamedPipeEvents(100'000, true);
    EXPECT_THAT(mFar->editReadQueue(), SizeIs(10'240));
    EXPECT_LT(getMsSince(start), 90'000) << "a full queue waited";
    mFar->editReadQueue().erase(mFar->editReadQueue().begin());
    mFar->processNamedPipeEvents(0, false);
    EXPECT_THAT(mFar->editReadQueue(), SizeIs(10'240)) << "one more";
    mFar->editReadQueue().resize(20'000);
    mFar->processNamedPipeEvents(0, false);
    EXPECT_THAT(mFar->editReadQueue(), SizeIs(20'000));
}

TEST_F(qzNamedPipeTest, KeepsZeroBytesWhenTheSystemHasNoBytesAfterAll)
{
    // Out-of-band data wakes a wait, and a plain read finds nothing.
    connect();
    const char urgent = '!';
    if (::send(mFar->getSocket(), &urgent, 1, MSG_OOB | MSG_NOSIGNAL) != 1)
        GTEST_SKIP() << "this system has no out-of-band data for such sockets";
    append(mClient.editReadQueue(), "old");
    mClient.processNamedPipeEvents(0, false);
    if (toText(mClient.editReadQueue()) == "old!") GTEST_SKIP() << "delivered in line";
    EXPECT_EQ(toText(mClient.editReadQueue()), "old" + std::string(10'237, '\0'));
    EXPECT_FALSE(mClient.isReadChannelClosed());
}

TEST_F(qzNamedPipeTest, KeepsWhatWasReceivedWhenThePeerCloses)
{
    connect();
    append(mFar->editWriteQueue(), "last words");
    mFar->processNamedPipeEvents(0, false);
    mFar->closeNamedPipe();
    EXPECT_FALSE(mFar->isConnected());
    mClient.processNamedPipeEvents(0, false);
    EXPECT_FALSE(mClient.isReadChannelClosed()) << "bytes come first";
    mClient.processNamedPipeEvents(0, false);
    EXPECT_TRUE(mClient.isReadChannelClosed());
    EXPECT_TRUE(mClient.isConnected());
    EXPECT_EQ(toText(mClient.editReadQueue()), "last words");
    mClient.closeNamedPipe();
    EXPECT_FALSE(mClient.isReadChannelClosed());
    EXPECT_THAT(mClient.editReadQueue(), IsEmpty());
}

// The system reports an end with unread bytes at the other side as a reset.
TEST_F(qzNamedPipeTest, ClosesItsReadChannelWhenReceivingFails)
{
    connect();
    append(mClient.editWriteQueue(), "unread");
    mClient.processNamedPipeEvents(0, false);
    append(mClient.editReadQueue(), "old");
    mFar->closeNamedPipe();
    mClient.processNamedPipeEvents(0, false);
    EXPECT_TRUE(mClient.isReadChannelClosed());
    EXPECT_TRUE(mClient.isConnected());
    EXPECT_EQ(toText(mClient.editReadQueue()), "old");
}

TEST_F(qzNamedPipeTest, ReceivesNothingAfterItsReadChannelWasClosed)
{
    connect();
    mFar->closeNamedPipe();
    mClient.processNamedPipeEvents(0, false);
    ASSERT_TRUE(mClient.isReadChannelClosed());
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
    ASSERT_EQ(::write(ends[1], "text", 4), 4);
    const int before = mClient.getSocket();
    mClient.setSocket(ends[0]);
    mClient.processNamedPipeEvents(0, false);
    EXPECT_THAT(mClient.editReadQueue(), IsEmpty());
    EXPECT_TRUE(mClient.isReadChannelClosed());
    ::close(before);
    ::close(ends[1]);
}

// A copy of the socket, such as a forked child has, doesn't keep the connection up.
TEST_F(qzNamedPipeTest, EndsItsConnectionWhenItClosesOneOfTwoDescriptors)
{
    connect();
    const int copy = ::dup(mClient.getSocket());
    mClient.closeNamedPipe();
    mFar->processNamedPipeEvents(60'000, true);
    ASSERT_TRUE(mFar->isReadChannelClosed());
    const auto start = PipeClock::now();
    mFar->processNamedPipeEvents(100'000, true);
    EXPECT_LT(getMsSince(start), 90'000) << "there is nothing left to wait for";
    append(mFar->editWriteQueue(), "more");
    mFar->processNamedPipeEvents(0, false);
    EXPECT_FALSE(mFar->hasWriteFailed()) << "the copy can still read";
    ::close(copy);
}

TEST_F(qzNamedPipeTest, ForgetsAFailureWhenItConnectsAnew)
{
    connect();
    mFar->closeNamedPipe();
    append(mClient.editWriteQueue(), "unheard");
    mClient.processNamedPipeEvents(0, false);
    const int socket = mClient.getSocket();
    mClient.setSocket(-1);
    mClient.processNamedPipeEvents(0, false);
    EXPECT_TRUE(mClient.connectToNamedPipeServerUtf8("pipe"));
    EXPECT_FALSE(mClient.hasWriteFailed() || mClient.isWriteChannelClosed());
    ::close(socket);
}

TEST_F(qzNamedPipeTest, FailsToWriteToAPeerThatHasGoneWithoutASignal)
{
    const auto body = [this] {
        ::signal(SIGPIPE, SIG_DFL);
        mFar->closeNamedPipe();
        append(mClient.editWriteQueue(), "unheard");
        mClient.processNamedPipeEvents(0, false);
        const bool hasFailed = mClient.hasWriteFailed() && mClient.isWriteChannelClosed() &&
                               !mClient.hasPendingWrite() && mClient.isConnected();
        if (!hasFailed) return 1;
        append(mClient.editWriteQueue(), "more");
        mClient.processNamedPipeEvents(0, false);
        if (!mClient.hasPendingWrite()) return 2;  // nothing is sent any more
        mClient.closeNamedPipe();
        return mClient.hasWriteFailed() || mClient.hasPendingWrite() ? 3 : 0;
    };
    // In a process of its own, where nothing else holds the other end.
    const auto connected = [&] {
        connect();
        return body();
    };
    EXPECT_EQ(runInChild(connected).getEnd(), "exit 0");
}

TEST_F(qzNamedPipeTest, KeepsWhatTheSystemHasNoRoomFor)
{
    connect();
    for (int i = 0; i < 1000; ++i) {
        if (mClient.editWriteQueue().size() > 300'000) break;
        append(mClient.editWriteQueue(), std::string(10'000, 'x'));
        mClient.processNamedPipeEvents(0, false);
    }
    const std::size_t waiting = mClient.editWriteQueue().size();
    EXPECT_GT(waiting, 0U);
    mClient.processNamedPipeEvents(0, false);
    EXPECT_THAT(mClient.editWriteQueue(), SizeIs(waiting)) << "EAGAIN leaves all as it is";
    EXPECT_FALSE(mClient.hasWriteFailed());
    mClient.closeNamedPipe();
    EXPECT_FALSE(mClient.hasPendingWrite());
}

TEST_F(qzNamedPipeTest, ClosesAPipeWhoseDescriptorIsClosedUnderIt)
{
    const auto body = [this] {
        connect();
        append(mClient.editWriteQueue(), "x");
        ::close(mClient.getSocket());
        mClient.processNamedPipeEvents(-1, true);
        return mClient.isConnected() || mClient.hasPendingWrite() || mClient.hasWriteFailed();
    };
    EXPECT_EQ(runInChild([&] { return body() ? 1 : 0; }).getEnd(), "exit 0");
}

TEST_F(qzNamedPipeTest, WaitsForTheWholeTimeThroughSignals)
{
    const auto body = [this] {
        connect();
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        ::sigaction(SIGALRM, &action, nullptr);
        const itimerval often{{0, 5000}, {0, 5000}};
        ::setitimer(ITIMER_REAL, &often, nullptr);
        const auto start = PipeClock::now();
        mClient.processNamedPipeEvents(200, true);
        bool timedOut = false;
        mServer.waitForNewConnection(200, &timedOut);
        return mClient.isConnected() && timedOut && getMsSince(start) >= 398 ? 0 : 1;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

// --- Descriptors

TEST_F(qzNamedPipeTest, OwnsTheDescriptorThatWasSet)
{
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
    qzNamedPipe first;
    qzNamedPipe second;
    first.setSocket(ends[0]);
    second.setSocket(ends[1]);
    EXPECT_EQ(first.getSocket(), ends[0]);
    EXPECT_EQ(pass(first, second, "text"), "text");
    second.setSocket(-1);
    EXPECT_FALSE(second.isConnected());
    EXPECT_EQ(::fcntl(ends[1], F_GETFD), 0) << "the descriptor before is the caller's";
    second.setSocket(ends[1]);
    second.closeNamedPipe();
    EXPECT_EQ(::fcntl(ends[1], F_GETFD), -1);
}

TEST_F(qzNamedPipeTest, ItsSocketsDoNotBlockAndArentInherited)
{
    connect();
    for (const int socket : {mClient.getSocket(), mFar->getSocket()}) {
        EXPECT_NE(::fcntl(socket, F_GETFL) & O_NONBLOCK, 0);
        EXPECT_EQ(::fcntl(socket, F_GETFD), FD_CLOEXEC);
    }
}

// What the process prints would go to the peer otherwise.
TEST_F(qzNamedPipeTest, IsNoStandardStreamOfAProcessThatHasClosedThem)
{
    const auto body = [this] {
        for (int place = 0; place < 3; ++place)
            ::close(place);
        if (!mServer.listenUtf8("pipe") || !mClient.connectToNamedPipeServerUtf8("pipe")) return 1;
        if (!mServer.waitForNewConnection(60'000, nullptr)) return 2;
        mFar = takePending(mServer);
        for (int place = 0; place < 3; ++place) {
            if (::fcntl(place, F_GETFD) >= 0) return 3;
        }
        for (const int socket : {mClient.getSocket(), mFar->getSocket()}) {
            if (::fcntl(socket, F_GETFD) != FD_CLOEXEC) return 4;
            if ((::fcntl(socket, F_GETFL) & O_NONBLOCK) == 0) return 5;
        }
        return pass(mClient, *mFar, "hello") == "hello" ? 0 : 6;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

TEST_F(qzNamedPipeTest, WorksWithDescriptorsBeyondThoseOfSelect)
{
    rlimit limit = {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_max < 1200) GTEST_SKIP() << "the system gives no more descriptors";
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = 1200;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    std::vector<int> taken;
    while (taken.empty() || taken.back() < 1024)
        taken.push_back(::fcntl(0, F_DUPFD_CLOEXEC, 0));
    connect();
    EXPECT_GT(mClient.getSocket(), 1024);
    EXPECT_EQ(pass(mClient, *mFar, "hello"), "hello");
    EXPECT_EQ(pass(*mFar, mClient, "there"), "there");
    mFar->closeNamedPipe();
    mClient.processNamedPipeEvents(60'000, true);
    EXPECT_TRUE(mClient.isReadChannelClosed());
    for (const int descriptor : taken)
        ::close(descriptor);
    limit.rlim_cur = before;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

TEST_F(qzNamedPipeTest, AForkedChildEndsNoConnectionOfItsParent)
{
    connect();
    const support::ChildResult result = runInChild([this] {
        mClient.closeNamedPipe();
        mFar->closeNamedPipe();
        mServer.closeNamedPipeServer();
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(pass(mClient, *mFar, "hello"), "hello");
    EXPECT_EQ(pass(*mFar, mClient, "there"), "there");
    qzNamedPipe other;
    EXPECT_TRUE(other.connectToNamedPipeServerUtf8("pipe"));
}

}  // namespace qz
