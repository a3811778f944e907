// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <qz/qzProcess.h>

namespace qz {

/// What a process object knows.
struct qzProcess::Impl {
    std::vector<std::string> environment;  // "NAME=value", UTF-8
    std::vector<std::string> arguments;    // without the program, UTF-8
    std::string workingDirectory;          // UTF-8, empty for the caller's
    std::string program;                   // as given to the start, UTF-8
    ProcessState state = NotStarted;
    int pid = 0;       // of the child; 0 when none is known
    int exitCode = 0;  // or the number of the signal that ended the process
    bool crashed : 1 = false;
    bool killed : 1 = false;  // ended by a signal, without a core dump
    bool started : 1 = false;
    bool detached : 1 = false;
    bool currentProcess : 1 = false;
    bool waitOnDestroy : 1 = false;
    bool parentProcess : 1 = false;
    bool inheritEnvironment : 1 = true;
    // An update has seen the end of `pid`, which may be another process by now.
    bool endSeen : 1 = false;

    /// Forgets how the process ended, and what it was.
    void clearEnd()
    {
        exitCode = 0;
        crashed = false;
        killed = false;
        started = false;
        currentProcess = false;
        parentProcess = false;
    }

    /// Follows another process from now on.
    void setPid(int newPid)
    {
        pid = newPid;
        endSeen = false;
    }
};

}  // namespace qz
