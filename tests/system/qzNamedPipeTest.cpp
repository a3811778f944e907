// Pipes within one process, and with a peer in another one.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzNamedPipe.h>

#include "PipeTraffic.h"
#include "ProcessFixture.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Limits.h"
#include "support/LogCapture.h"

namespace qz {

using support::runInChild;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

using Clock = std::chrono::steady_clock;
using PipePointer = std::unique_ptr<qzNamedPipe>;

long getMsSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

std::string toText(const std::vector<char>& bytes)
{
    return {bytes.begin(), bytes.end()};
}

void append(std::vector<char>& queue, const std::string& text)
{
    queue.insert(queue.end(), text.begin(), text.end());
}

PipePointer takePending(qzNamedPipeServer& server)
{
    PipePointer pipe(server.editPendingConnections().front());
    server.editPendingConnections().pop_front();
    return pipe;
}

}  // namespace

// The temporary folder is one of the test's own.
class qzNamedPipeTest : public ::testing::Test {
protected:
    // Both ends of a connection by a name.
    void connect(const std::string& name = "pipe")
    {
        ASSERT_TRUE(mServer.listenUtf8(name));
        ASSERT_TRUE(mClient.connectToNamedPipeServerUtf8(name));
        ASSERT_TRUE(mServer.waitForNewConnection(60'000, nullptr));
        mFar = takePending(mServer);
    }
    // Sends a text from one end and receives it whole at the other.
    static std::string pass(qzNamedPipe& from, qzNamedPipe& to, const std::string& text)
    {
        append(from.editWriteQueue(), text);
        support::waitUntil([&] {
            from.processNamedPipeEvents(0, false);
            to.processNamedPipeEvents(0, false);
            return to.editReadQueue().size() >= text.size();
        });
        std::string received = toText(to.editReadQueue());
        to.editReadQueue().clear();
        return received;
    }
    std::string makeName(std::size_t pathSize) const
    {
        return std::string(pathSize - mFolder.getPath().size() - 1, 'n');
    }

    support::ScratchFolder mFolder;
    support::EnvironmentVariable mTmpdir{"TMPDIR", mFolder.getPath()};
    support::LibraryStart mStart;
    qzNamedPipeServer mServer;
    qzNamedPipe mClient;
    PipePointer mFar;
};

TEST_F(qzNamedPipeTest, StartsFresh)
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

TEST_F(qzNamedPipeTest, PassesBytesBothWays)
{
    connect();
    EXPECT_TRUE(mClient.isConnected() && mFar->isConnected());
    EXPECT_EQ(pass(mClient, *mFar, "hello"), "hello");
    EXPECT_EQ(pass(*mFar, mClient, std::string("a\0b\n", 4)), std::string("a\0b\n", 4));
    EXPECT_FALSE(mClient.hasPendingWrite());
}

TEST_F(qzNamedPipeTest, ListensInTheTemporaryFolder)
{
    ASSERT_TRUE(mServer.listenUtf8("by name"));
    struct stat status = {};
    ASSERT_EQ(::stat(mFolder.getPath("by name").c_str(), &status), 0);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    mServer.closeNamedPipeServer();
    EXPECT_EQ(::stat(mFolder.getPath("by name").c_str(), &status), 0) << "the file stays";
    ASSERT_TRUE(mServer.listenUtf8("by name")) << "and is replaced";
}

TEST_F(qzNamedPipeTest, EndsANameAtItsFirstZeroByte)
{
    ASSERT_TRUE(mServer.listenUtf8(std::string("cut\0here", 8)));
    EXPECT_TRUE(mClient.connectToNamedPipeServerUtf8("cut"));
}

// --- Refusals

TEST_F(qzNamedPipeTest, ReportsWhatItCannotListenOn)
{
    const support::LogCapture log;
    EXPECT_FALSE(mServer.listenUtf8(""));
    EXPECT_FALSE(mServer.listenUtf8(makeName(107)));
    EXPECT_FALSE(mServer.listenUtf8("missing/folder"));
    EXPECT_FALSE(mServer.listenUtf8("\xFF"));
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

TEST_F(qzNamedPipeTest, ReportsThatThereIsNoSocket)
{
    const support::LogCapture log;
    const support::DescriptorLimit noneLeft(0);
    EXPECT_FALSE(mServer.listenUtf8("pipe"));
    EXPECT_FALSE(mClient.connectToNamedPipeServerUtf8("pipe"));
    EXPECT_THAT(log.getMessages(),
                ElementsAre("Cannot open socket in qzNamedPipeServer::listenUtf8, socket() "
                            "returned INVALID_SOCKET"));
}

TEST_F(qzNamedPipeTest, TakesPathsOf106Bytes)
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

TEST_F(qzNamedPipeTest, RefusesAConnectionWithoutAWord)
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

TEST_F(qzNamedPipeTest, ConnectsAnewAfterAClose)
{
    connect();
    mClient.closeNamedPipe();
    EXPECT_TRUE(mClient.connectToNamedPipeServerUtf8("pipe"));
}

// --- The server

TEST_F(qzNamedPipeTest, ASecondServerTakesTheNameOver)
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

TEST_F(qzNamedPipeTest, AcceptsOneConnectionACallUpToEight)
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
    const auto start = Clock::now();
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

TEST_F(qzNamedPipeTest, WaitsForAConnectionForTheWholeTime)
{
    ASSERT_TRUE(mServer.listenUtf8("pipe"));
    const auto start = Clock::now();
    bool timedOut = false;
    EXPECT_FALSE(mServer.waitForNewConnection(120, &timedOut));
    EXPECT_TRUE(timedOut);
    EXPECT_GE(getMsSince(start), 119);
    mServer.processPipeServerEvents(60);
    EXPECT_GE(getMsSince(start), 178);
    EXPECT_FALSE(mServer.waitForNewConnection(0, nullptr));
}

TEST_F(qzNamedPipeTest, WaitsWithoutALimit)
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

TEST_F(qzNamedPipeTest, ClosesWhatIsPending)
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

TEST_F(qzNamedPipeTest, TheServerEndsWhenItsSocketIsClosedUnderIt)
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

// --- The events of a pipe

TEST_F(qzNamedPipeTest, WaitsOnlyWhenItIsIdleAndMay)
{
    connect();
    auto start = Clock::now();
    mClient.processNamedPipeEvents(100, true);
    EXPECT_GE(getMsSince(start), 99);
    start = Clock::now();
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
    const auto start = Clock::now();
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
        const auto start = Clock::now();
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

// --- A connection that takes its time, which sockets of this kind never do by themselves

struct ConnectRow {
    const char* way;
    const char* result;
};

class qzNamedPipeConnect : public ::testing::TestWithParam<ConnectRow> {};

TEST_P(qzNamedPipeConnect, EndsAsItsRow)
{
    const support::ScratchFolder folder;
    const support::ChildResult result =
        support::runProgram({.program = "pipe_connect",
                             .arguments = {GetParam().way},
                             .environment = {{"TMPDIR", folder.getPath()}}});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, GetParam().result);
}

const ConnectRow kConnectRows[] = {
    {"late", "connected, 2 waits of 10 ms, 20 ms"},
    {"refused", "not connected, 2 waits of 10 ms, 20 ms"},
    {"unknown", "not connected, 2 waits of 10 ms, 20 ms"},
    {"never", "not connected, 500 waits of 10 ms, 5000 ms"},
    {"broken", "not connected, 1 waits of 10 ms, 10 ms"},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzNamedPipeConnect, ::testing::ValuesIn(kConnectRows),
                         [](const auto& row) { return std::string(row.param.way); });

// --- With a peer in another process

namespace {

// Under a sanitizer each byte takes many times as long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::uint64_t kTrafficBytes = 8UL << 20;
#else
constexpr std::uint64_t kTrafficBytes = 256UL << 20;
#endif

const std::string kPeer = QZ_TEST_PROGRAMS_DIR "/pipe_peer";

}  // namespace

TEST_F(qzNamedPipeTest, PassesMuchBothWaysBetweenTwoProcesses)
{
    const std::string bytes = std::to_string(kTrafficBytes);
    ASSERT_TRUE(mServer.listenUtf8("traffic"));
    const support::StdoutCapture out;
    qzProcess peer;
    ASSERT_TRUE(peer.startProcess(kPeer, {"echo", "traffic", bytes, "2"}, false,
                                  qzProcess::PriorityInherit));
    ASSERT_TRUE(mServer.waitForNewConnection(120'000, nullptr));
    mFar = takePending(mServer);
    const TrafficResult result = exchangeTraffic(*mFar, kTrafficBytes, 1);
    EXPECT_TRUE(peer.waitForFinished(kLongMs));
    EXPECT_EQ(result.received, kTrafficBytes);
    EXPECT_EQ(out.getText(), std::to_string(result.receivedDigest) + ' ' +
                                 std::to_string(result.sentDigest) + ' ' + bytes);
}

TEST_F(qzNamedPipeTest, ConnectsToAServerInAnotherProcess)
{
    const support::StdoutCapture out;
    qzProcess peer;
    ASSERT_TRUE(peer.startProcess(kPeer, {"serve", "served", "100000", "3"}, false,
                                  qzProcess::PriorityInherit));
    ASSERT_TRUE(support::waitUntil([&] { return mClient.connectToNamedPipeServerUtf8("served"); }));
    const TrafficResult result = exchangeTraffic(mClient, 100'000, 4);
    EXPECT_TRUE(peer.waitForFinished(kLongMs));
    EXPECT_EQ(out.getText(), std::to_string(result.receivedDigest) + ' ' +
                                 std::to_string(result.sentDigest) + " 100000");
}

TEST_F(qzNamedPipeTest, SeesTheEndOfAPeerThatIsKilledAtAnyByte)
{
    ASSERT_TRUE(mServer.listenUtf8("killed"));
    for (const std::size_t bytesBefore : {0U, 1U, 999U, 1000U, 1001U, 5000U, 20'000U, 100'000U}) {
        SCOPED_TRACE(bytesBefore);
        const support::StdoutCapture out;
        qzProcess peer;
        ASSERT_TRUE(peer.startProcess(kPeer, {"write", "killed", "1000000"}, false,
                                      qzProcess::PriorityInherit));
        ASSERT_TRUE(mServer.waitForNewConnection(120'000, nullptr));
        mFar = takePending(mServer);
        std::size_t received = 0;
        const auto receive = [&] {
            mFar->processNamedPipeEvents(100, true);
            received += mFar->editReadQueue().size();
            mFar->editReadQueue().clear();
        };
        ASSERT_TRUE(
            support::waitUntil([&] { return received >= bytesBefore || (receive(), false); }));
        peer.killProcess();
        ASSERT_TRUE(
            support::waitUntil([&] { return mFar->isReadChannelClosed() || (receive(), false); }));
        EXPECT_TRUE(mFar->isConnected());
        EXPECT_FALSE(mFar->hasWriteFailed());
        // All that the peer saw sent has arrived.
        ASSERT_TRUE(peer.waitForFinished(kLongMs));
        EXPECT_GE(received, out.getText().size() * 1000);
        append(mFar->editWriteQueue(), "x");
        mFar->processNamedPipeEvents(0, false);
        EXPECT_TRUE(mFar->hasWriteFailed());
    }
}

}  // namespace qz
