#pragma once

#include <signal.h>

namespace qz::log {

/// Puts off the watched signals of the calling thread that can be: those that come from outside,
/// and not from what the thread itself does.
class SignalsPutOff {
public:
    SignalsPutOff() = default;
    /// Ends what was begun. A signal that came meanwhile is handled here, and some are handled by
    /// throwing.
    ~SignalsPutOff() noexcept(false);
    SignalsPutOff(const SignalsPutOff&) = delete;
    SignalsPutOff& operator=(const SignalsPutOff&) = delete;

    /// Begins it. A thread that is started from now on inherits it for its whole life.
    void begin();

private:
    bool mHasBegun = false;
    sigset_t mBefore;
};

}  // namespace qz::log
