// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzLog.h>
#include <qz/qzProcess.h>
#include <qz/qzSystem.h>

#include "TestPaths.h"
#include "support/Children.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/OutputCapture.h"
#include "support/ScratchFolder.h"
#include "support/Waiting.h"

namespace qz {

/// The path of tests/programs/child.cpp.
inline const std::string kChild = QZ_TEST_PROGRAMS_DIR "/child";

/// Far longer than anything takes, to end a hang.
inline constexpr unsigned int kLongMs = 120'000;

/// Restores the actions of all signals at its end: those of a full start stay otherwise.
class SignalActionsGuard {
public:
    SignalActionsGuard()
    {
        for (std::size_t i = 1; i < mActions.size(); ++i)
            ::sigaction(static_cast<int>(i), nullptr, &mActions[i]);
    }
    ~SignalActionsGuard()
    {
        for (std::size_t i = 1; i < mActions.size(); ++i) {
            if (i != SIGKILL && i != SIGSTOP)
                ::sigaction(static_cast<int>(i), &mActions[i], nullptr);
        }
    }
    SignalActionsGuard(const SignalActionsGuard&) = delete;
    SignalActionsGuard& operator=(const SignalActionsGuard&) = delete;

private:
    std::array<struct sigaction, 32> mActions = {};
};

/// A started library, and children of a kind that a test needs.
class ProcessFixture {
public:
    explicit ProcessFixture(InitType type = LightInit) : mStart(type) {}

    /// Starts the child program with a job; see tests/programs/child.cpp.
    static bool startChild(qzProcess& process, const std::vector<std::string>& job,
                           qzProcess::ProcessPriority priority = qzProcess::PriorityInherit)
    {
        return process.startProcess(kChild, job, false, priority);
    }
    /// Runs a job to its end and returns what it prints.
    static std::string getOutput(qzProcess& process, const std::vector<std::string>& job,
                                 qzProcess::ProcessPriority priority = qzProcess::PriorityInherit)
    {
        const support::StdoutCapture out;
        EXPECT_TRUE(startChild(process, job, priority));
        EXPECT_TRUE(process.waitForFinished(kLongMs));
        EXPECT_EQ(process.exitCode(), 0);
        return out.getText();
    }
    /// Waits for a file that a child makes.
    static bool waitForFile(const std::string& path)
    {
        return support::waitUntil([&] { return std::filesystem::exists(path); });
    }
    const support::ScratchFolder& getFolder() const { return mFolder; }

private:
    SignalActionsGuard mActions;
    support::LibraryStart mStart;
    support::ScratchFolder mFolder;
};

}  // namespace qz
