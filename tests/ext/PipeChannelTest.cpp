// SPDX-License-Identifier: MIT
#include <qz/ext/PipeChannel.h>

#include <malloc.h>
#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <csignal>
#include <deque>
#include <filesystem>
#include <random>

#include "ext/PipeFixture.h"
#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/Limits.h"
#include "support/RefusedCalls.h"

namespace qz::ext {

using PipeChannelTest = PipeFixture;

namespace {

constexpr int kExpected = 42;

std::string makeBytes(std::mt19937_64& random, std::size_t size)
{
    std::string bytes(size, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

// A process that listens, and accepts nobody.
pid_t startListener(const std::string& path, bool (*prepare)())
{
    int ready[2] = {};
    EXPECT_EQ(::pipe(ready), 0);
    const pid_t pid = ::fork();
    if (pid == 0) {
        const RawSocket listener;
        const bool listens = prepare() && listener.listen(path);
        if (::write(ready[1], &listens, 1) == 1) ::pause();
        ::_exit(0);
    }
    bool listens = false;
    EXPECT_EQ(::read(ready[0], &listens, 1), 1);
    EXPECT_TRUE(listens);
    ::close(ready[0]);
    ::close(ready[1]);
    return pid;
}

void killAndReap(pid_t pid)
{
    ::kill(pid, SIGKILL);
    EXPECT_EQ(::waitpid(pid, nullptr, 0), pid);
}

}  // namespace

TEST_F(PipeChannelTest, CarriesMessagesOfAllSizesUpToTheLimit)
{
    startServer();
    PipeChannel channel;
    ASSERT_TRUE(connect(channel)) << mFailure.toString();
    std::mt19937_64 random(1);
    for (const std::size_t size : {0UL, 1UL, 2UL, 16'375UL, 16'376UL, 16'377UL, 100'000UL,
                                   PipeChannel::msMessageLimit - 1, PipeChannel::msMessageLimit}) {
        const std::string message = makeBytes(random, size);
        EXPECT_TRUE(exchange(channel, message) == message) << size;
    }
}

TEST_F(PipeChannelTest, RefusesALongerMessageAndStaysConnected)
{
    startServer();
    PipeChannel channel;
    ASSERT_TRUE(connect(channel));
    EXPECT_FALSE(channel.send(std::string(PipeChannel::msMessageLimit + 1, 'x'), kLongMs, nullptr,
                              &mFailure));
    EXPECT_EQ(mFailure.error, EMSGSIZE);
    EXPECT_EQ(mFailure.step, "send, a message of 1048577 bytes");
    EXPECT_EQ(exchange(channel, "short"), "short");
}

TEST_F(PipeChannelTest, CarriesRandomSizesBothWays)
{
    startServer();
    for (const unsigned int seed : {1U, 2U, 3U}) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(seed);
        PipeChannel channel;
        ASSERT_TRUE(connect(channel));
        std::deque<std::string> expected;
        std::string received;
        for (int i = 0; i < 500; ++i) {
            expected.push_back(makeBytes(random, random() % (random() % 100'000 + 1)));
            ASSERT_TRUE(channel.send(expected.back(), kLongMs, nullptr, &mFailure))
                << mFailure.toString();
            while (expected.size() > random() % 20) {
                ASSERT_TRUE(channel.receive(received, kLongMs, nullptr, &mFailure))
                    << mFailure.toString();
                ASSERT_TRUE(received == expected.front()) << i;
                expected.pop_front();
            }
        }
    }
}

TEST_F(PipeChannelTest, SendsWhileTheServerWaitsForItsReader)
{
    PipeServer::Limits limits;
    limits.messageBytes = 4'000'000;
    limits.queuedBytes = 8'000'016;
    startServer(limits);
    PipeChannel channel(limits.messageBytes);
    ASSERT_TRUE(connect(channel));
    // The sockets hold less than one of these, so each side is sending while the other one is.
    const std::string message(limits.messageBytes, 'x');
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(channel.send(message, kLongMs, nullptr, &mFailure)) << mFailure.toString();
    std::string answer;
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(channel.receive(answer, kLongMs, nullptr, &mFailure)) << mFailure.toString();
        EXPECT_TRUE(answer == message);
    }
}

TEST_F(PipeChannelTest, KnowsTheProcessOfTheServer)
{
    const pid_t server = startListener(getSocketPath(), [] { return true; });
    PipeChannel channel;
    EXPECT_EQ(channel.getPeerPid(), 0);
    ASSERT_TRUE(connect(channel));
    EXPECT_EQ(channel.getPeerPid(), server);
    EXPECT_TRUE(channel.isConnected());
    channel.close();
    EXPECT_FALSE(channel.isConnected());
    EXPECT_EQ(channel.getPeerPid(), 0);
    killAndReap(server);
}

TEST_F(PipeChannelTest, MovesTheConnection)
{
    startServer();
    PipeChannel channel;
    ASSERT_TRUE(connect(channel));
    PipeChannel moved(std::move(channel));
    EXPECT_EQ(exchange(moved, "one"), "one");
    PipeChannel other;
    other = std::move(moved);
    EXPECT_EQ(exchange(other, "two"), "two");
    EXPECT_FALSE(moved.isConnected());
}

TEST_F(PipeChannelTest, IsClosedByAConnectionThatFails)
{
    startServer();
    PipeChannel channel;
    ASSERT_TRUE(connect(channel));
    EXPECT_FALSE(channel.connect("nobody", 0, nullptr, &mFailure));
    EXPECT_EQ(mFailure.error, ENOENT);
    EXPECT_FALSE(channel.isConnected());
    EXPECT_EQ(waitForReason(), ENOTCONN);
}

TEST_F(PipeChannelTest, FailsAtOnceWithoutAServer)
{
    PipeChannel channel;
    EXPECT_FALSE(connect(channel));
    EXPECT_EQ(mFailure.error, ENOENT);
    EXPECT_EQ(mFailure.step, "connect " + getSocketPath());
    ASSERT_TRUE(RawSocket().listen(getSocketPath()));
    EXPECT_FALSE(connect(channel));
    EXPECT_EQ(mFailure.error, ECONNREFUSED);
    EXPECT_FALSE(channel.send("x", 0, nullptr, &mFailure));
    EXPECT_EQ(mFailure.error, ENOTCONN);
    std::string message;
    EXPECT_FALSE(channel.receive(message, 0, nullptr, &mFailure));
    EXPECT_EQ(mFailure.step, "receive");
    EXPECT_EQ(mFailure.error, ENOTCONN);
}

TEST_F(PipeChannelTest, HasASocketWhosePathHasUpTo107Bytes)
{
    const std::size_t otherBytes = mFolder.getPath("/.pipe").size();
    for (const std::size_t pathBytes : {106UL, 107UL, 108UL}) {
        const std::string name(pathBytes - otherBytes + 1, 'n');
        PipeServer server;
        PipeChannel channel;
        const bool isListening = server.listen(name, &mFailure);
        const bool isConnected = channel.connect(name, 0, nullptr, &mFailure);
        EXPECT_EQ(isListening, pathBytes <= 107) << mFailure.toString();
        EXPECT_EQ(isConnected, pathBytes <= 107) << mFailure.toString();
    }
    EXPECT_EQ(mFailure.error, ENAMETOOLONG);
}

TEST_F(PipeChannelTest, BuffersNoMoreThanTheLongestMessageWhileItSends)
{
    constexpr std::size_t kMaxBytes = 4UL * PipeChannel::msMessageLimit;
    const RawSocket listener;
    ASSERT_TRUE(listener.listen(getSocketPath()));
    PipeChannel channel;
    ASSERT_TRUE(connect(channel)) << mFailure.toString();
    std::atomic<bool> isOver = false;
    std::atomic<std::size_t> taken = 0;
    std::thread server([&] {
        const RawSocket peer = listener.accept();
        const std::string bytes(65536, '\0');
        while (!isOver && taken <= kMaxBytes) {
            const std::size_t count = peer.sendWithoutWaiting(bytes);
            taken += count;
            if (count == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    const std::string message(PipeChannel::msMessageLimit, 'x');
    EXPECT_FALSE(channel.send(message, 1000, nullptr, &mFailure)) << "nobody reads it";
    isOver = true;
    server.join();
    EXPECT_GT(taken, 0U);
    EXPECT_LE(taken, kMaxBytes);
}

TEST_F(PipeChannelTest, KeepsNoMemoryForALargeMessageThatHasPassed)
{
    constexpr std::size_t kMessageBytes = 64UL * 1024 * 1024;
    PipeServer::Limits limits;
    limits.messageBytes = kMessageBytes;
    startServer(limits);
    PipeChannel channel(kMessageBytes);
    ASSERT_TRUE(connect(channel));
    EXPECT_EQ(exchange(channel, "small"), "small");
    // 0 with a sanitizer, which has an allocator of its own.
    const auto countBytesInUse = [] {
        const struct mallinfo2 memory = ::mallinfo2();
        return memory.uordblks + memory.hblkhd;
    };
    const std::size_t before = countBytesInUse();
    EXPECT_EQ(exchange(channel, std::string(kMessageBytes, 'x')).size(), kMessageBytes);
    EXPECT_TRUE(support::waitUntil([&] { return countBytesInUse() < before + kMessageBytes / 8; },
                                   std::chrono::seconds(60)))
        << countBytesInUse() - before;
}

TEST_F(PipeChannelTest, RefusesNamesAndFoldersThatDontFit)
{
    PipeChannel channel;
    EXPECT_FALSE(channel.connect("../echo", 0, nullptr, &mFailure));
    EXPECT_EQ(mFailure.error, EINVAL);
    EXPECT_EQ(mFailure.step, "use of the name '../echo'");
    EXPECT_FALSE(channel.connect(std::string(100, 'x'), 0, nullptr, &mFailure));
    EXPECT_EQ(mFailure.error, ENAMETOOLONG);
    EXPECT_EQ(mFailure.step,
              "use of the socket " + mFolder.getPath(std::string(100, 'x') + ".pipe"));
    std::filesystem::permissions(mFolder.getPath(), std::filesystem::perms(0755));
    EXPECT_FALSE(connect(channel));
    EXPECT_EQ(mFailure.error, EPERM);
    PipeServer server;
    EXPECT_FALSE(server.listen("echo", &mFailure));
    EXPECT_EQ(mFailure.error, EPERM);
}

TEST_F(PipeChannelTest, WaitsForAServerThatHasTooManyClients)
{
    const RawSocket listener;
    ASSERT_TRUE(listener.listen(getSocketPath(), 0));
    PipeChannel first;
    PipeChannel second;
    ASSERT_TRUE(connect(first));
    struct CountPolls : qzCancelInterfaceReadOnly {
        bool shouldCancel() const override { return ++polls < 0; }
        mutable int polls = 0;
    } tries;
    EXPECT_FALSE(second.connect("echo", 50, &tries, &mFailure));
    EXPECT_EQ(mFailure.error, ETIMEDOUT);
    EXPECT_LE(tries.polls, 20) << "no pause of 5 ms between the tries";
    mCancel.isRequested = true;
    EXPECT_FALSE(second.connect("echo", -1, &mCancel, &mFailure));
    EXPECT_EQ(mFailure.error, ECANCELED);
    mCancel.isRequested = false;
}

// --- Waits

TEST_F(PipeChannelTest, KeepsTheConnectionAfterAReceiveWithoutAMessage)
{
    const RawSocket listener;
    ASSERT_TRUE(listener.listen(getSocketPath()));
    PipeChannel channel;
    ASSERT_TRUE(connect(channel));
    const RawSocket server = listener.accept();
    std::string message = "as before";
    EXPECT_FALSE(channel.receive(message, 0, nullptr, &mFailure));
    EXPECT_EQ(mFailure.step, "wait for the peer");
    EXPECT_EQ(mFailure.error, ETIMEDOUT);
    const std::string frame = makeFrame("in two parts");
    ASSERT_TRUE(server.send(frame.substr(0, 10)));
    EXPECT_FALSE(channel.receive(message, 20, nullptr, &mFailure));
    EXPECT_EQ(mFailure.error, ETIMEDOUT);
    mCancel.isRequested = true;
    EXPECT_FALSE(channel.receive(message, -1, &mCancel, &mFailure));
    EXPECT_EQ(mFailure.error, ECANCELED);
    EXPECT_EQ(message, "as before");
    ASSERT_TRUE(server.send(frame.substr(10)));
    EXPECT_TRUE(channel.receive(message, 0, nullptr, &mFailure));
    EXPECT_EQ(message, "in two parts");
    mCancel.isRequested = false;
}

TEST_F(PipeChannelTest, ReportsAWaitThatTheSystemRefuses)
{
    const RawSocket listener;
    ASSERT_TRUE(listener.listen(getSocketPath()));
    const auto receive = [&] {
        PipeChannel channel;
        std::string message;
        if (!connect(channel)) return 1;
        support::refuseSystemCall(SYS_poll, ENOMEM);
        if (channel.receive(message, -1, nullptr, &mFailure) || mFailure.error != ENOMEM) return 2;
        return mFailure.step == "wait for the peer" ? kExpected : 3;
    };
    const int hangLimitSec = 60;
    EXPECT_EQ(support::runInChild(receive, "", hangLimitSec).getEnd(), "exit 42");
}

TEST_F(PipeChannelTest, ClosesAfterASendThatTheServerDoesntRead)
{
    const RawSocket listener;
    ASSERT_TRUE(listener.listen(getSocketPath()));
    const std::string message(PipeChannel::msMessageLimit, 'x');
    PipeChannel channel;
    ASSERT_TRUE(connect(channel));
    EXPECT_FALSE(channel.send(message, 50, nullptr, &mFailure));
    EXPECT_EQ(mFailure.error, ETIMEDOUT);
    EXPECT_FALSE(channel.isConnected());
    ASSERT_TRUE(connect(channel));
    mCancel.isRequested = true;
    EXPECT_FALSE(channel.send(message, -1, &mCancel, &mFailure));
    EXPECT_EQ(mFailure.error, ECANCELED);
    EXPECT_FALSE(channel.isConnected());
    mCancel.isRequested = false;
}

TEST_F(PipeChannelTest, WaitsOnAcrossSignals)
{
    startServer({}, [](PipeServer& server) {
        server.onMessage([](PipeServer::Peer& peer, const std::string& message) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            peer.send(message);
        });
    });
    PipeChannel channel;
    ASSERT_TRUE(connect(channel));
    struct sigaction action = {};
    struct sigaction oldAction = {};
    action.sa_handler = [](int) {};
    ::sigaction(SIGUSR2, &action, &oldAction);  // without SA_RESTART
    std::atomic<bool> isDone = false;
    const pthread_t self = ::pthread_self();
    const pthread_t server = mThread.native_handle();
    std::thread sender([&] {
        while (!isDone) {
            ::pthread_kill(self, SIGUSR2);
            ::pthread_kill(server, SIGUSR2);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(exchange(channel, "across"), "across");
    isDone = true;
    sender.join();
    ::sigaction(SIGUSR2, &oldAction, nullptr);
}

// --- Servers that end or lie

TEST_F(PipeChannelTest, ReportsAServerThatEndsAfterAnyByte)
{
    const RawSocket listener;
    ASSERT_TRUE(listener.listen(getSocketPath()));
    const std::string frame = makeFrame("a message");
    for (std::size_t sent = 0; sent <= frame.size(); ++sent) {
        SCOPED_TRACE(sent);
        PipeChannel channel;
        ASSERT_TRUE(connect(channel));
        ASSERT_TRUE(listener.accept().send(frame.substr(0, sent)));
        std::string message;
        if (sent == frame.size()) {
            EXPECT_TRUE(channel.receive(message, kLongMs, nullptr, &mFailure));
            EXPECT_EQ(message, "a message");
        }
        EXPECT_FALSE(channel.receive(message, kLongMs, nullptr, &mFailure));
        EXPECT_EQ(mFailure.error, sent % frame.size() == 0 ? ENOTCONN : ECONNRESET);
        EXPECT_FALSE(channel.isConnected());
    }
}

TEST_F(PipeChannelTest, ClosesAfterADamagedMessage)
{
    const RawSocket listener;
    ASSERT_TRUE(listener.listen(getSocketPath()));
    std::string wrongContent = makeFrame("message");
    wrongContent.back() ^= 1;
    const std::pair<std::string, int> rows[] = {
        {wrongContent, EBADMSG},
        {toBytes(PipeChannel::msMessageLimit + 1) + toBytes(0), EMSGSIZE},
        {toBytes(0xFFFFFFFF) + toBytes(0xFFFFFFFF), EMSGSIZE},
    };
    for (const auto& [bytes, error] : rows) {
        PipeChannel channel;
        ASSERT_TRUE(connect(channel));
        const RawSocket server = listener.accept();
        ASSERT_TRUE(server.send(bytes));
        std::string message;
        EXPECT_FALSE(channel.receive(message, kLongMs, nullptr, &mFailure));
        EXPECT_EQ(mFailure.error, error) << mFailure.toString();
        EXPECT_FALSE(channel.isConnected());
    }
}

TEST_F(PipeChannelTest, RaisesNoSignalWhenTheServerHasGone)
{
    const support::ChildResult child = support::runInChild([&] {
        std::signal(SIGPIPE, SIG_DFL);
        const RawSocket listener;
        PipeChannel channel;
        if (!listener.listen(getSocketPath()) || !connect(channel)) return 1;
        listener.accept().close();
        const bool isRefused = !channel.send("x", kLongMs, nullptr, &mFailure);
        return isRefused && mFailure.error == EPIPE && !channel.isConnected() ? kExpected : 2;
    });
    EXPECT_EQ(child.getEnd(), "exit 42");
}

TEST_F(PipeChannelTest, RefusesAServerOfAnotherUser)
{
    if (::geteuid() != 0) GTEST_SKIP() << "only root can be another user";
    // One who has got into the folder.
    const pid_t server =
        startListener(getSocketPath(), [] { return ::seteuid(65534) == 0 && ::setfsuid(0) >= 0; });
    PipeChannel channel;
    EXPECT_FALSE(connect(channel));
    EXPECT_EQ(mFailure.error, EACCES);
    EXPECT_EQ(mFailure.step, "connect to a server of user 65534");
    killAndReap(server);
}

// --- Descriptors

TEST_F(PipeChannelTest, WorksWithDescriptorsFrom1024Upward)
{
    rlimit limit = {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit more = {std::min<rlim_t>(limit.rlim_max, 2000), limit.rlim_max};
    if (more.rlim_cur < 2000) GTEST_SKIP() << "too few descriptors";
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &more), 0);
    std::vector<RawSocket> fillers;
    do {
        fillers.emplace_back();
    } while (fillers.back().get() < 1030);
    startServer();
    PipeChannel channel;
    ASSERT_TRUE(connect(channel)) << mFailure.toString();
    EXPECT_EQ(exchange(channel, "high"), "high");
    channel.close();
    stopServer();
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

TEST_F(PipeChannelTest, LeavesNoDescriptorAndNoFile)
{
    const std::size_t before = support::countOpenDescriptors();
    const std::size_t inherited = support::countInheritedDescriptors();
    startServer();
    PipeChannel channel;
    ASSERT_TRUE(connect(channel));
    EXPECT_EQ(exchange(channel, "x"), "x");
    EXPECT_EQ(support::countInheritedDescriptors(), inherited);
    channel.close();
    stopServer();
    EXPECT_EQ(support::countOpenDescriptors(), before);
    EXPECT_FALSE(std::filesystem::exists(getSocketPath()));
}

TEST_F(PipeChannelTest, IsNotPassedOnToAForkedChild)
{
    startServer();
    PipeChannel channel;
    ASSERT_TRUE(connect(channel));
    EXPECT_EQ(exchange(channel, "x"), "x");
    int ready[2] = {};
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const char hasNone = !channel.isConnected() && channel.getPeerPid() == 0;
        channel.close();
        if (::write(ready[1], &hasNone, 1) == 1) ::pause();
        ::_exit(0);
    }
    char hasNone = 0;
    ASSERT_EQ(::read(ready[0], &hasNone, 1), 1);
    EXPECT_EQ(hasNone, 1);
    EXPECT_EQ(exchange(channel, "y"), "y") << "the child has closed the parent's connection";
    channel.close();
    EXPECT_EQ(waitForReason(), ENOTCONN) << "the child keeps the connection open";
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ::close(ready[0]);
    ::close(ready[1]);
}

}  // namespace qz::ext
