// SPDX-License-Identifier: MIT
#include <qz/qzPowerStatus.h>

#include <qz/qzSystemUtils.h>

namespace qz {

qzPowerStatus::qzPowerStatus() = default;

bool qzPowerStatus::operator==(const qzPowerStatus& other) const
{
    return powerSource == other.powerSource && batteryLevel == other.batteryLevel;
}

bool qzPowerStatus::operator!=(const qzPowerStatus& other) const
{
    return powerSource != other.powerSource && batteryLevel != other.batteryLevel;
}

qzPowerStatusReader::qzPowerStatusReader(long updatePeriodMs) : mUpdatePeriodMs(updatePeriodMs)
{
    updatePowerStatusReader(/*force=*/true);
}

bool qzPowerStatusReader::updatePowerStatusReader(bool force)
{
    const auto now = static_cast<long>(qzSystemUtils::GetTimeBaseMs());
    if (!force && now - mLastUpdateMs <= mUpdatePeriodMs) return false;
    const qzPowerStatus fresh;
    const bool hasChanged = fresh != mStatus;
    mStatus = fresh;
    mLastUpdateMs = now;
    return hasChanged;
}

const qzPowerStatus& qzPowerStatusReader::getPowerStatus()
{
    updatePowerStatusReader(/*force=*/false);
    return mStatus;
}

}  // namespace qz
