// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include <qz/qzExport.h>

/// A stopwatch that reads the wall clock, in microseconds. It follows every change of that clock,
/// so the elapsed time may jump or be negative.
/// Threads: one at a time.
class QZ_API qzHighResTimer {
public:
    /// Makes a cleared timer.
    qzHighResTimer();
    ~qzHighResTimer();
    qzHighResTimer(const qzHighResTimer&) = delete;
    qzHighResTimer& operator=(const qzHighResTimer&) = delete;

    /// Stops the timer and sets its times to 0.
    void clearTimer();
    /// Starts the timer anew from now.
    void start();
    /// Stops the timer at the present time. Does nothing if the timer doesn't run.
    void stop();
    /// Whether the timer was started and not stopped since.
    bool isRunning();

    /// Microseconds from the start to the stop, or to now while the timer runs. The call sets the
    /// stop time of a running timer.
    double getElapsedTimeInMicroSec();
    /// The same in milliseconds.
    double getElapsedTimeInMilliSec();
    /// The same in seconds.
    double getElapsedTimeInSec();

private:
    struct Times;
    std::unique_ptr<Times> mTimes;
};
