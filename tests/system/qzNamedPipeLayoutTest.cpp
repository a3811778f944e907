// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Environment.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"
#include "system/qzNamedPipeTestPeer.h"

// Programs that were built against an earlier release hold these objects by value, and their inline
// functions read the fields.

namespace qz {

using ::testing::ElementsAre;
using Peer = qzNamedPipeTestPeer;

static_assert(sizeof(qzNamedPipe) == 112 && sizeof(qzNamedPipeServer) == 80);
static_assert(std::has_virtual_destructor_v<qzNamedPipe>);
static_assert(std::has_virtual_destructor_v<qzNamedPipeServer>);
static_assert(!std::is_copy_constructible_v<qzNamedPipe>);
static_assert(!std::is_copy_constructible_v<qzNamedPipeServer>);

TEST(qzNamedPipeLayout, KeepsTheOrderOfItsFields)
{
    const qzNamedPipe pipe;
    EXPECT_THAT(Peer::getOffsets(pipe), ElementsAre(8, 16, 24, 32, 64, 88));
    EXPECT_EQ(Peer::getReadLimit(pipe), 10'240U);
    EXPECT_EQ(Peer::getWriteReserve(pipe), 10'240U);
    const qzNamedPipeServer server;
    EXPECT_THAT(Peer::getOffsets(server), ElementsAre(8, 16, 40, 72));
    EXPECT_EQ(Peer::getMaxPending(server), 8);
}

TEST(qzNamedPipeLayout, KeepsSocketAndFlagsInItsRecord)
{
    const support::ScratchFolder folder;
    const support::EnvironmentVariable tmpdir("TMPDIR", folder.getPath());
    const support::LibraryStart start;
    qzNamedPipeServer server;
    EXPECT_EQ(readField<int>(Peer::getNative(server), 0), -1);
    ASSERT_TRUE(server.listenUtf8("pipe"));
    EXPECT_GE(readField<int>(Peer::getNative(server), 0), 0);
    EXPECT_EQ(Peer::getName(server), "pipe");
    qzNamedPipe pipe;
    EXPECT_EQ(readField<int>(Peer::getNative(pipe), 0), -1);
    ASSERT_TRUE(pipe.connectToNamedPipeServerUtf8("pipe"));
    EXPECT_EQ(Peer::getName(pipe), "pipe");
    EXPECT_EQ(readField<int>(Peer::getNative(pipe), 0), pipe.getSocket());
    const auto getFlags = [&] { return readField<unsigned char>(Peer::getNative(pipe), 4) & 7; };
    EXPECT_EQ(getFlags(), 0);
    ASSERT_TRUE(server.waitForNewConnection(60'000, nullptr));
    EXPECT_EQ(Peer::getName(*server.editPendingConnections().front()), "");
    server.closeNamedPipeServer();
    EXPECT_EQ(Peer::getName(server), "");
    pipe.processNamedPipeEvents(60'000, true);
    EXPECT_EQ(getFlags(), 2) << "read channel closed";
    pipe.editWriteQueue().push_back('x');
    pipe.processNamedPipeEvents(0, false);
    EXPECT_EQ(getFlags(), 7) << "write channel closed, write failed";
    pipe.closeNamedPipe();
    EXPECT_EQ(getFlags(), 0);
    EXPECT_EQ(Peer::getName(pipe), "");
}

TEST(qzNamedPipeLayout, EndsByItsVirtualDestructor)
{
    EXPECT_TRUE(isEndedBySlot<qzNamedPipe>(1));
    EXPECT_TRUE(isEndedBySlot<qzNamedPipeServer>(1));
}

}  // namespace qz
