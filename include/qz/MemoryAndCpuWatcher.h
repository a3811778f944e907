// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <type_traits>
#include <vector>

#include <qz/qzExport.h>
#include <qz/qzMutex.h>
#include <qz/qzThread.h>
#include <qz/qzWaitCondition.h>

namespace qz {

/// Measures the memory and the processor time of this process while it works.
///
/// A thread of its own takes samples at a fixed period. The program marks the end of each segment
/// of its work, and gets a table with a row for each segment. Optionally the watcher also records a
/// time series.
///
/// @code
/// MemoryAndCpuWatcher watcher;
/// watcher.startWatching(500);
/// load();
/// watcher.stampReference("load");
/// compute();
/// watcher.stampReference("compute");
/// logInfo() << '\n' << watcher.getUsageAsAsciiTable();
/// @endcode
///
/// Threads: every call from any thread. A call may wait for a sample that is being taken. In a
/// forked child, which doesn't have the thread, only the destructor may be called: others may wait
/// for ever.
class QZ_API MemoryAndCpuWatcher : private qzThread {
public:
    /// The samples of one quantity, as `long` or `float`.
    template <typename T>
    struct Series {
        /// The type of the sum.
        using Sum = std::conditional_t<std::is_floating_point_v<T>, double, T>;

        /// Makes an empty series.
        Series();
        /// Adds a sample.
        void addSample(T value);
        /// Empties the series and resets its mode; the capacity of `samples` is kept.
        void clear();

        int mode = 0;             ///< 1 keeps each sample in `samples`; the watcher leaves it 0.
        int state = 0;            ///< Reset by each sample.
        T minimum;                ///< The largest value of T if there is no sample.
        T maximum;                ///< The smallest value of T if there is no sample.
        Sum sum = 0;              ///< The sum of all samples.
        unsigned long count = 0;  ///< The number of samples.
        double average = -1.0;    ///< -1.0 if it isn't computed; reset by each sample.
        std::vector<T> samples;   ///< Filled with mode 1 only.
    };

    /// A segment of the program's work, up to a call of `stampReference`.
    struct QZ_API TimestampReference {
        /// Empties all fields; the capacity of vectors is kept.
        void clear();

        std::string label;          ///< The text of the caller.
        long timeMs = 0;            ///< The time of the last sample, in ms since 1970 UTC.
        long lastRam = 0;           ///< The last figure of the memory in use, in bytes.
        Series<long> ramSeries;     ///< The memory in use, in bytes.
        Series<long> secondSeries;  ///< Always empty.
        Series<float> cpuSeries;    ///< The load; 1.0 is the full time of one processor.
    };

    /// An entry of the time series; it covers the time since the entry before.
    struct MonitorEntry {
        long timeMs = 0;    ///< When it was made, in ms since 1970 UTC.
        long peakRam = 0;   ///< The most memory in use, in bytes.
        long lastRam = 0;   ///< The last figure of the memory in use, in bytes.
        float peakCpu = 0;  ///< The highest load; 1.0 is the full time of one processor.
    };

    /// What was measured.
    struct RamUsageData {
        long startTimeMs = 0;                        ///< The start, in ms since 1970 UTC.
        Series<long> overallRam;                     ///< The memory in use, in bytes.
        std::vector<TimestampReference> references;  ///< The ended segments.
        std::vector<MonitorEntry> monitor;           ///< The time series.
    };

    /// Makes the watcher and its thread, which sleeps until `startWatching`.
    /// @throws std::system_error if the system can't make a thread.
    MemoryAndCpuWatcher();
    /// Ends the thread.
    ~MemoryAndCpuWatcher() override;

    /// Starts watching, and takes the first sample. Segments and time series of an earlier start
    /// are dropped. Compatibility: the overall figures are not; they continue.
    ///
    /// If there is no memory for segments and entries, the exception changes nothing.
    /// @param periodMs milliseconds between two samples; less than 250 counts as 250.
    /// @param monitorPeriodSeconds seconds between two entries of the time series; 0 for none.
    /// @param monitorReserve the number of entries to allocate memory for in advance.
    /// @param monitorMaxEntries the number of entries after which the time series ends.
    void startWatching(unsigned int periodMs, unsigned int monitorPeriodSeconds = 0,
                       unsigned int monitorReserve = 0, unsigned int monitorMaxEntries = 0);
    /// Stops watching; the figures remain.
    void stopWatching();
    /// Whether it is watching. It may miss a change that another thread is making.
    bool isWatching() const;

    /// Takes one sample now.
    ///
    /// Processor time is counted in whole seconds of user time. With short periods most loads are 0
    /// and some are high; the average of a segment is right. A program name with a blank in it
    /// makes the load wrong. A sample is also taken while nothing is watched, and counts in the
    /// overall figures.
    /// @param force also adds an entry to the time series, if there is one and it isn't full.
    void captureNow(bool force);
    /// Takes a sample and ends the segment. Does nothing while not watching.
    /// @param label the name of the segment in the table.
    void stampReference(std::string label);

    /// Copies the figures so far.
    RamUsageData extractResult();
    /// Draws a table with a row for each ended segment; empty if there is none.
    std::string getUsageAsAsciiTable();

private:
    friend class MemoryAndCpuWatcherTestPeer;

    void run() override;
    QZ_LOCAL static bool IsDebugEnabled();
    QZ_LOCAL void sampleRam(long nowMs);
    QZ_LOCAL void sampleCpu();
    QZ_LOCAL bool readUserSeconds(long& seconds);
    QZ_LOCAL bool readProcessStatistics();
    QZ_LOCAL void splitProcessStatistics();
    QZ_LOCAL void addMonitorEntry(long nowMs, bool force);

    std::vector<char> mFileBuffer;         // of the last statistics; reused by each sample
    std::vector<std::string> mStatFields;  // of the last statistics; reused by each sample
    qzMutex mMutex;                        // guards the fields here
    qzWaitCondition mWake;
    RamUsageData mUsage;
    long mLastCpuSeconds = 0;
    long mLastCpuTimeMs = 0;  // of the monotonic clock
    long mLastMonitorTimeMs = 0;
    TimestampReference mCurrent;        // the open segment
    TimestampReference mMonitorWindow;  // the samples since the last entry of the time series
    unsigned int mPeriodMs = 0;         // 0 while not watching; polled without the mutex
    unsigned int mMonitorPeriodSeconds = 0;
    unsigned int mMonitorMaxEntries = 0;
    bool mStopRequested = false;
};

extern template struct MemoryAndCpuWatcher::Series<long>;
extern template struct MemoryAndCpuWatcher::Series<float>;

}  // namespace qz
