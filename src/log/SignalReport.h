#pragma once

namespace qz::log {

/// Marks the calling thread as one that reports a signal for as long as the object lives: a report
/// from the log thread itself then goes out at once, since the thread may not come back to its
/// queue.
class SignalReport {
public:
    SignalReport() noexcept;
    ~SignalReport();
    SignalReport(const SignalReport&) = delete;
    SignalReport& operator=(const SignalReport&) = delete;

    /// Whether the calling thread reports a signal.
    static bool IsUnderWay();
};

}  // namespace qz::log
