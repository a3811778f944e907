// SPDX-License-Identifier: MIT
#pragma once

namespace qz::ext::crash {

/// Limits what the calling thread does in a signal handler. When the time is over, a part of a
/// report is ended (see FaultGuard.h), or the process.
class Alarm {
public:
    /// @param kitSignal see `getKitSignal`.
    /// @param fatalSignal ends the process; 0 ends the part of the report.
    Alarm(int kitSignal, int timeoutMs, int fatalSignal);
    ~Alarm();
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

    /// In the handler of the kit's signal, on the thread of the alarm.
    /// @param number that of the signal; an alarm that has been cancelled meanwhile is ignored.
    static void Expire(int number);

private:
    int mTimer = -1;
    int mOuterNumber;
    int mOuterSignal;
};

/// Ends the process by a signal, as if nobody had handled it.
void endProcess(int signal);

}  // namespace qz::ext::crash
