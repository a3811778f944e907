// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzExport.h>

namespace qz {

/// The state of the machine's power supply. Nothing fills it in on Linux, so it is always the
/// default.
class QZ_API qzPowerStatus {
public:
    /// Makes the unknown state.
    qzPowerStatus();

    /// True if both fields are equal.
    bool operator==(const qzPowerStatus& other) const;
    /// True only if both fields differ. Compatibility: with one field equal, both operators give
    /// false.
    bool operator!=(const qzPowerStatus& other) const;

    int powerSource = 2;     ///< 2 is unknown.
    int batteryLevel = 101;  ///< Percent; 101 is unknown.
};

/// Reads the state of the power supply, at most once in a period.
///
/// Threads: one thread at a time.
class QZ_API qzPowerStatusReader {
public:
    /// Reads the state for the first time.
    /// @param updatePeriodMs milliseconds for which a reading is used; with a negative period, each
    ///     call reads.
    explicit qzPowerStatusReader(long updatePeriodMs);

    /// Reads the state if the period is over.
    /// @param force reads it in any case.
    /// @return whether both fields have changed; false without a reading.
    bool updatePowerStatusReader(bool force);
    /// The state, which is read first if the period is over.
    /// @return a reference that is valid as long as the reader.
    const qzPowerStatus& getPowerStatus();

private:
    friend class qzPowerStatusTestPeer;

    long mUpdatePeriodMs;
    long mLastUpdateMs = 0;
    qzPowerStatus mStatus;
};

}  // namespace qz
