// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace qz::faults {

// Few headers and plain lists, as each table is compiled by itself.

using Texts = std::vector<std::string>;

/// A call that a scenario makes and the error that it fails with.
///
/// What the scenario then comes to, over all the times that it makes the call, holds all that must
/// come up, and nothing else but what may: how often a call is made is the library's own affair,
/// and a fast road may spare some.
struct CallRow {
    const char* call;
    int error;
    Texts must;
    Texts may = {};
};

/// What one scenario comes to. Its program is in scenario_NAME.cpp, its table in table_NAME.cpp.
struct FaultTable {
    const char* name;
    const char* locale;
    std::string goodOutcome;
    std::vector<CallRow> calls;
    Texts allocations;  ///< Empty for a scenario whose allocations are failed elsewhere.
};

/// The system's text for an error number.
std::string describe(int error);

// The texts of a file device, which those that use one hand on.
inline const std::string kReadError = "std sub stream bad bit is set after a read";
inline const std::string kWriteError = "std sub stream fail bit is set after a write";
inline const std::string kSeekError = "std sub stream is in error after a seekp";
inline const std::string kOpenError = "failed to open file: 'FILE' (bits 10)";

/// At the end of an outcome if a child process was not waited for.
inline const char* const kChildLeft = "; a child is left";

FaultTable getStartStopFaults();
FaultTable getThreadsFaults();
FaultTable getPoolFaults();
FaultTable getCharsetFaults();
FaultTable getLogDispatchFaults();
FaultTable getLogFileFaults();
FaultTable getJsonLinesFaults();
FaultTable getFileDeviceFaults();
FaultTable getFilesFaults();
FaultTable getTraversalFaults();
FaultTable getResolverFaults();
FaultTable getDataStreamFaults();
FaultTable getFilterChainFaults();
FaultTable getBuffersFaults();
FaultTable getIniFileFaults();
FaultTable getCsvFaults();
FaultTable getProcessesFaults();
FaultTable getChildProcessFaults();
FaultTable getPipesFaults();
FaultTable getLockFilesFaults();
FaultTable getFileLockFaults();
FaultTable getSafeFilesFaults();
FaultTable getRemoveTreeFaults();
FaultTable getPipeChannelFaults();
FaultTable getCheckedStreamFaults();
FaultTable getSecureRandomFaults();
FaultTable getWatcherFaults();
FaultTable getWatchdogFaults();
FaultTable getWatchdogExitFaults();

}  // namespace qz::faults
