// SPDX-License-Identifier: MIT
#pragma once

namespace qz::ext::crash {

/// The right to write reports and to change the session, for one thread at a time. Safe in a signal
/// handler.
class ReportLock {
public:
    /// Waits until no other thread has the lock, for at most `timeoutMs`. A thread that has it
    /// already doesn't get it again.
    explicit ReportLock(int timeoutMs);
    ~ReportLock();
    ReportLock(const ReportLock&) = delete;
    ReportLock& operator=(const ReportLock&) = delete;

    bool isHeld() const { return mIsHeld; }

    /// Whether the calling thread has the lock.
    static bool IsHeldByCaller();
    /// In a forked child, in which the holder doesn't exist.
    static void Reset();

private:
    bool mIsHeld = false;
};

}  // namespace qz::ext::crash
