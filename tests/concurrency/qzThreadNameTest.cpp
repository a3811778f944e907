// SPDX-License-Identifier: MIT
#include <qz/qzThread.h>

#include <atomic>
#include <sstream>
#include <string>
#include <thread>
#include <typeinfo>

#include <gtest/gtest.h>

#include "ThreadFixture.h"
#include "io/VirtualSlots.h"
#include "qzThreadTestPeer.h"

namespace qz {

namespace {

// The cell after the first field holds the pointer to the thread.
std::thread*& editThread(const qzThread& thread)
{
    return *readField<std::thread**>(&thread, 8);
}

}  // namespace

TEST_F(qzThreadTest, IsDescribedByItsNameAndId)
{
    BusyThread thread;
    EXPECT_EQ(qzThreadTestPeer::getDescription(thread), "busy " + thread.getThreadId());
}

TEST_F(qzThreadTest, IsDescribedByTheTypeOfTheObjectWithoutAName)
{
    NamedThread thread;
    thread.startThread(nullptr);
    EXPECT_EQ(qzThreadTestPeer::getDescription(thread),
              "N2qz11NamedThreadE " + thread.getThreadId());
    thread.waitThread(qzThread::msNoLimit);
}

TEST_F(qzThreadTest, IsDescribedWithoutAMarkOfALocalType)
{
    class LocalThread : public NamedThread {};
    LocalThread thread;
    thread.startThread(nullptr);
    const std::string description = qzThreadTestPeer::getDescription(thread);
    EXPECT_EQ(description, std::string(typeid(LocalThread).name()) + ' ' + thread.getThreadId());
    EXPECT_NE(description.front(), '*');
    thread.waitThread(qzThread::msNoLimit);
}

TEST_F(qzThreadTest, IsDescribedByAnEmptyName)
{
    NamedThread thread;
    thread.startThread("");
    EXPECT_EQ(qzThreadTestPeer::getDescription(thread), ' ' + thread.getThreadId());
    thread.waitThread(qzThread::msNoLimit);
    EXPECT_NE(qzThreadTestPeer::getDescription(thread), "") << "it stays";
}

TEST_F(qzThreadTest, ReportsTheNumberOfTheStandardThread)
{
    std::string ownId;
    std::string kernelId;
    TestThread thread([&] {
        std::ostringstream text;
        text << std::this_thread::get_id();
        ownId = text.str();
        kernelId = qzThread::CurrentThreadId();
    });
    thread.startThread("numbered");
    const std::string id = thread.getThreadId();
    thread.waitThread(qzThread::msNoLimit);
    EXPECT_EQ(id, ownId);
    EXPECT_NE(id, kernelId) << "another number";
}

// Often enough that the thread is sometimes faster than its starter.
TEST_F(qzThreadTest, HasItsNumberInsideItsBodyFromTheFirstStepOn)
{
    std::string seen;
    TestThread thread([&] { seen = thread.getThreadId(); });
    for (int i = 0; i < 5000; ++i) {
        thread.startThread("asked");
        const std::string id = thread.getThreadId();
        thread.waitThread(qzThread::msNoLimit);
        ASSERT_EQ(seen, id);
    }
}

TEST_F(qzThreadTest, KeepsItsNumberForOthersWhileAThreadWaitsForIt)
{
    std::atomic<bool> ends = false;
    BusyThread thread;
    std::thread asker([&] {
        while (!ends)
            EXPECT_NE(thread.getThreadId(), "");
    });
    ASSERT_TRUE(thread.awaitInside());
    thread.end();
    ends = true;
    asker.join();
    EXPECT_EQ(thread.getThreadId(), "InvalidThread");
}

TEST_F(qzThreadTest, ReportsThatAThreadDoesNotExecute)
{
    NamedThread thread;
    std::thread none;
    editThread(thread) = &none;
    EXPECT_EQ(thread.getThreadId(), "thread::id of a non-executing thread");
    EXPECT_FALSE(thread.isFinished());
    editThread(thread) = nullptr;
    EXPECT_EQ(thread.getThreadId(), "InvalidThread");
}

}  // namespace qz
