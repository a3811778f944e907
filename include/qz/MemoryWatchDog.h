// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzExport.h>
#include <qz/qzMutex.h>
#include <qz/qzThread.h>
#include <qz/qzWaitCondition.h>

namespace qz {

/// Ends the process when it uses more memory than a limit.
///
/// It is a last resort: the process ends in an orderly way before the kernel kills it, or before
/// the machine runs out of memory. The memory is read every 200 ms, so fast growth may exceed the
/// limit by far.
///
/// @code
/// const MemoryWatchDog watchDog("import", 2048, EXIT_FAILURE);  // 2 GiB
/// @endcode
///
/// Threads: every call from any thread. In a forked child, which doesn't have the thread, only the
/// destructor may be called: others may wait for ever.
class QZ_API MemoryWatchDog : private qzThread {
public:
    /// Starts watching, on a thread of its own.
    /// @param name of the watchdog, for its entries in the log.
    /// @param thresholdMiB the limit in MiB of resident memory; it must be below 2^44.
    /// @param exitCode the exit status of the process.
    /// @throws std::system_error if the system can't make a thread.
    MemoryWatchDog(const std::string& name, unsigned long thresholdMiB, int exitCode);
    /// Ends the thread. If the process is exiting on that very thread, it is detached instead.
    ~MemoryWatchDog() override;

    /// Switches the watching on or off. Switching on checks the memory at once, even if it was on.
    void setMonitoringEnabled(bool enabled);
    /// Whether the watching is on.
    bool isMonitoringEnabled();

    /// The loop of the thread. When the limit is exceeded, it writes a CRITICAL entry and
    /// calls `exit`: exit handlers and static destructors run on this thread. Not for callers.
    void run() override;

private:
    friend class MemoryWatchDogTestPeer;

    QZ_LOCAL void awaitCheck();
    QZ_LOCAL void endProcess(unsigned long usedBytes);

    int mExitCode;
    unsigned long mThresholdBytes;
    std::string mName;
    qzMutex mMutex;
    qzWaitCondition mWake;
    bool mMonitoringEnabled = false;  // written under mMutex, polled by the thread
    bool mStopRequested = false;      // written under mMutex, polled by the thread
};

}  // namespace qz
