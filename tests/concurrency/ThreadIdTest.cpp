// SPDX-License-Identifier: MIT
#include <qz/qzThread.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <iostream>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"

namespace qz {

namespace {

std::string getKernelThreadId()
{
    return std::to_string(::syscall(SYS_gettid));
}

}  // namespace

TEST(ThreadIdTest, NumbersTheThreadAsTheKernelDoes)
{
    EXPECT_EQ(qzThread::CurrentThreadId(), getKernelThreadId());
}

TEST(ThreadIdTest, GivesTheSameTextObjectAtEachCall)
{
    const std::string& first = qzThread::CurrentThreadId();
    const std::string& second = qzThread::CurrentThreadId();
    EXPECT_EQ(&first, &second);
}

TEST(ThreadIdTest, GivesEachThreadATextOfItsOwn)
{
    std::string idOfThread;
    std::string kernelIdOfThread;
    std::thread([&] {
        idOfThread = qzThread::CurrentThreadId();
        kernelIdOfThread = getKernelThreadId();
    }).join();
    EXPECT_EQ(idOfThread, kernelIdOfThread);
    EXPECT_NE(idOfThread, qzThread::CurrentThreadId());
}

TEST(ThreadIdTest, KeepsTheParentsNumberInAForkedChildThatAskedBefore)
{
    const std::string parentsId = qzThread::CurrentThreadId();
    const support::ChildResult result = support::runInChild([] {
        std::cout << qzThread::CurrentThreadId();
        return 0;
    });
    EXPECT_EQ(result.out, parentsId);
}

TEST(ThreadIdTest, NumbersAnewInAForkedChildWhereNobodyAskedBefore)
{
    std::string idOfChild;
    std::string kernelIdOfChild;
    std::thread([&] {
        // This thread has not asked yet, and it alone goes on in the child.
        const support::ChildResult result = support::runInChild([] {
            std::cout << qzThread::CurrentThreadId();
            std::cerr << getKernelThreadId();
            return 0;
        });
        idOfChild = result.out;
        kernelIdOfChild = result.err;
    }).join();
    EXPECT_EQ(idOfChild, kernelIdOfChild);
}

}  // namespace qz
