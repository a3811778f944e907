// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include <poll.h>

#include <qz/ext/ChildProcess.h>
#include <qz/ext/SystemFailure.h>

#include "Launch.h"
#include "LaunchThread.h"
#include "StreamEnds.h"

namespace qz::ext {

/// The programs of one start, which it kills and reaps at its end.
///
/// The programs are reaped together, after the last signal: until then no other process can have
/// their ids or that of their group.
class ProgramGroup {
public:
    ProgramGroup() = default;
    ~ProgramGroup();
    ProgramGroup(const ProgramGroup&) = delete;
    ProgramGroup& operator=(const ProgramGroup&) = delete;

    /// Starts all programs, or none that lives on.
    bool start(const ChildOptions& options, const StreamEnds& streams, SystemFailure& failure);

    /// Whether this process has started the programs, and not one that it was forked from.
    bool isOwn() const;

    /// Adds an entry for each program that still runs, which is readable when it has ended.
    void addWaits(std::vector<pollfd>& waits) const;
    /// Finds out which programs have ended.
    void updateEnds();
    /// Whether all programs had ended at the last update.
    bool haveAllEnded() const;
    /// Whether an end can only be found by a call from time to time.
    bool mustPoll() const;
    std::vector<int> getPids() const;
    /// Sends a signal to the group and to programs that have left it, or to the programs without a
    /// group. @return whether anything has received it.
    bool sendSignal(int number) const;
    /// Reaps all programs, which must have ended or end soon.
    std::vector<ChildEnd> reap(SystemFailure& failure);

private:
    struct Program {
        Launched launched;
        bool hasEnded = false;
    };

    static bool hasLeft(const Program& program, pid_t group);
    void launchAll(const std::vector<std::unique_ptr<ProgramImage>>& images,
                   const ChildOptions& options, const StreamEnds& streams);

    std::vector<Program> mPrograms;
    bool mIsOwnGroup = false;
    pid_t mOwner = -1;  // the process that started the programs
    std::unique_ptr<LaunchThread> mThread;
};

}  // namespace qz::ext
