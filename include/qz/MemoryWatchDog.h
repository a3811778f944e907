#pragma once

#include <string>

#include <qz/qzExport.h>
#include <qz/qzMutex.h>
#include <qz/qzThread.h>
#include <qz/qzWaitCondition.h>

namespace qz {

/// Ends the process when it uses more memory than a limit.
///
/// A last resort, so that a process goes down in an orderly way before the kernel stops it, or
/// before it takes the machine down with it. The memory is read every 200 ms, so fast growth may
/// pass the limit by far.
///
///     const MemoryWatchDog watchDog("import", 2048, EXIT_FAILURE);  // 2 GiB
///
/// Threads: every call from any thread.
class QZ_API MemoryWatchDog : private qzThread {
public:
    /// Starts watching, on a thread of its own.
    /// @param name of the watchdog, for its entries in the log.
    /// @param thresholdMiB the limit in MiB of resident memory; it must be below 2^44.
    /// @param exitCode the status that the process ends with.
    MemoryWatchDog(const std::string& name, unsigned long thresholdMiB, int exitCode);
    /// Ends the thread. When the process is exiting on that very thread, it is let go instead.
    ~MemoryWatchDog() override;

    /// Switches the watching on or off. On checks the memory at once, also if it was on already.
    void setMonitoringEnabled(bool enabled);
    /// Tells whether it is on.
    bool isMonitoringEnabled();

    /// The loop of the thread. When the limit is passed, it writes a CRITICAL entry and calls
    /// `exit`: exit handlers and static destructors run on this thread.
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
