// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include <qz/qzThread.h>

#include "support/LibraryStart.h"
#include "support/Waiting.h"

namespace qz {

/// In the library's namespace, so that its name is known.
class NamedThread : public qzThread {
public:
    void run() override {}
};

/// Runs a given body.
class TestThread : public qzThread {
public:
    explicit TestThread(std::function<void()> body) : mBody(std::move(body)) {}
    ~TestThread() override { waitThread(msNoLimit); }
    void run() override { mBody(); }

private:
    std::function<void()> mBody;
};

/// A thread that goes on until it is told to end.
class BusyThread : public qzThread {
public:
    BusyThread() { startThread("busy"); }
    ~BusyThread() override { end(); }
    void run() override
    {
        mIsInside = true;
        while (!mMayEnd)
            std::this_thread::yield();
    }
    bool awaitInside() const
    {
        return support::waitUntil([this] { return mIsInside.load(); });
    }
    void letEnd() { mMayEnd = true; }
    void end()
    {
        letEnd();
        waitThread(msNoLimit);
    }

private:
    std::atomic<bool> mIsInside = false;
    std::atomic<bool> mMayEnd = false;
};

class qzThreadTest : public ::testing::Test {
protected:
    support::LibraryStart mLibrary{FullInit};
};

}  // namespace qz
