// SPDX-License-Identifier: MIT
#pragma once

#include <sys/resource.h>

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qz/ext/PipeChannel.h>
#include <qz/qzCancelInterface.h>

#include "ext/RawPeer.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"
#include "support/Waiting.h"

namespace qz::ext {

/// A server in a folder of its own, which runs in a thread and answers with the same message.
class PipeFixture : public ::testing::Test {
protected:
    static constexpr int kLongMs = 120'000;  // only ends a hang

    ~PipeFixture() override { stopServer(); }

    /// Starts the server of "echo".
    /// @param setUp may set other callbacks.
    void startServer(const PipeServer::Limits& limits = {},
                     const std::function<void(PipeServer&)>& setUp = {})
    {
        mServer = std::make_unique<PipeServer>(limits);
        mServer->onConnected([&](PipeServer::Peer&) { ++mConnected; });
        mServer->onMessage([&](PipeServer::Peer& peer, const std::string& message) {
            ++mMessages;
            peer.send(message);
        });
        mServer->onClosed([&](PipeServer::Peer&, const SystemFailure& reason) {
            const std::lock_guard<std::mutex> lock(mMutex);
            mReasons.push_back(reason);
        });
        if (setUp) setUp(*mServer);
        ASSERT_TRUE(mServer->listen("echo", &mFailure)) << mFailure.toString();
        mThread = std::thread([&] {
            SystemFailure failure;
            EXPECT_TRUE(mServer->serve(-1, &mCancel, &failure)) << failure.toString();
        });
    }
    void stopServer()
    {
        mCancel.isRequested = true;
        if (mThread.joinable()) mThread.join();
        mServer.reset();
        mCancel.isRequested = false;
    }
    /// Waits until so many connections have ended, and gives the reasons.
    std::vector<SystemFailure> waitForReasons(std::size_t count)
    {
        const auto getReasons = [&] {
            const std::lock_guard<std::mutex> lock(mMutex);
            return mReasons;
        };
        EXPECT_TRUE(support::waitUntil([&] { return getReasons().size() >= count; }));
        return getReasons();
    }
    int waitForReason(std::size_t count = 1)
    {
        const std::vector<SystemFailure> reasons = waitForReasons(count);
        mReason = reasons.size() < count ? SystemFailure() : reasons[count - 1];
        return mReason.error;
    }
    bool connect(PipeChannel& channel)
    {
        return channel.connect("echo", kLongMs, nullptr, &mFailure);
    }
    /// Sends a message and receives the answer; an error as its text.
    std::string exchange(PipeChannel& channel, const std::string& message)
    {
        std::string answer;
        if (!channel.send(message, kLongMs, nullptr, &mFailure)) return mFailure.toString();
        if (!channel.receive(answer, kLongMs, nullptr, &mFailure)) return mFailure.toString();
        return answer;
    }
    void expectThatOthersAreServed()
    {
        PipeChannel other;
        EXPECT_TRUE(connect(other)) << mFailure.toString();
        EXPECT_EQ(exchange(other, "another one"), "another one");
    }
    std::string getSocketPath() const { return mFolder.getPath("echo.pipe"); }
    RawSocket connectRaw() const
    {
        RawSocket socket;
        EXPECT_TRUE(socket.connect(getSocketPath()));
        return socket;
    }

    struct Cancel : qzCancelInterfaceReadOnly {
        bool shouldCancel() const override { return isRequested; }
        std::atomic<bool> isRequested = false;
    };

    support::LibraryStart mStart;
    support::ScratchFolder mFolder;
    support::EnvironmentVariable mRuntimeFolder{"XDG_RUNTIME_DIR", mFolder.getPath()};
    SystemFailure mFailure;
    SystemFailure mReason;  // what was waited for last
    std::unique_ptr<PipeServer> mServer;
    std::thread mThread;
    Cancel mCancel;
    std::atomic<int> mConnected = 0;
    std::atomic<int> mMessages = 0;
    std::mutex mMutex;
    std::vector<SystemFailure> mReasons;  // guarded by mMutex
};

}  // namespace qz::ext
