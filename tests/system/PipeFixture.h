// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzNamedPipe.h>

#include "ProcessFixture.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"

namespace qz {

using PipeClock = std::chrono::steady_clock;
using PipePointer = std::unique_ptr<qzNamedPipe>;

/// The milliseconds from a time until now.
inline long getMsSince(PipeClock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(PipeClock::now() - start).count();
}

/// The bytes of a queue.
inline std::string toText(const std::vector<char>& bytes)
{
    return {bytes.begin(), bytes.end()};
}

/// Appends a text to a queue.
inline void append(std::vector<char>& queue, const std::string& text)
{
    queue.insert(queue.end(), text.begin(), text.end());
}

/// Takes the first pending connection off the list.
inline PipePointer takePending(qzNamedPipeServer& server)
{
    PipePointer pipe(server.editPendingConnections().front());
    server.editPendingConnections().pop_front();
    return pipe;
}

/// Both ends of a pipe. The temporary folder is one of the test's own.
class PipeFixture : public ::testing::Test {
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

}  // namespace qz
