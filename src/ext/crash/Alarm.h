// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

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
    /// @param number that of the signal; an alarm that has been cancelled meanwhile is ignored, and
    ///     so is one whose handler was left by a jump.
    /// @param stackPointer of what the signal has interrupted.
    static void Expire(int number, std::uintptr_t stackPointer);
    /// In the handler of any other signal: cancels the alarms whose handlers were left by a jump.
    /// @param stackPointer as above.
    static void CancelAbandoned(std::uintptr_t stackPointer);

private:
    struct Limit {
        int number = 0;  // 0 for none
        int timer = -1;
        int fatalSignal = 0;
        // What runs under the alarm is in this part of the stack.
        std::uintptr_t stackBegin = 0;
        std::uintptr_t stackEnd = 0;
    };
    // The alarms of a thread that can expire: the innermost, and the one that ends the process,
    // however many others begin and end within it.
    struct State {
        Limit innermost;
        Limit outermostFatal;
    };
    static State& editState();
    static void Cancel(State& state, int number);

    const State mOuter;
};

/// Ends the process by a signal, as if nobody had handled it.
void endProcess(int signal);

}  // namespace qz::ext::crash
