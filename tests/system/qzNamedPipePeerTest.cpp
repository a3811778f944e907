// SPDX-License-Identifier: MIT
// Connections that take their time, and peers in other processes.

#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzNamedPipe.h>

#include "PipeFixture.h"
#include "PipeTraffic.h"

namespace qz {

class qzNamedPipePeer : public PipeFixture {};

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

TEST_F(qzNamedPipePeer, PassesMuchBothWaysBetweenTwoProcesses)
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

TEST_F(qzNamedPipePeer, ConnectsToAServerInAnotherProcess)
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

TEST_F(qzNamedPipePeer, SeesTheEndOfAPeerThatIsKilledAtAnyByte)
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
