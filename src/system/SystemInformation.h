// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <qz/qzSystemUtils.h>

namespace qz {

/// What can't change while the process runs: read once, at the start of the library.
struct SystemInformation {
    std::vector<qzSystemUtils::DirectXDeviceInfo> displayDevices;  // always empty here
    qzSystemUtils::CPUInfo cpu;
    std::string osText = "Unknown OS";
    qzVariant::qzVariantMapImpl queryResults[2];  // of GetWmicInfo; always empty here
    qzVariant::qzVariantMapImpl libraryVersions;
    unsigned long ramBytes = 0;
    unsigned int idealThreadCount = 1;
    bool isQueryDone = false;
};

/// Null before a start and after the last stop.
extern SystemInformation* gSystemInformation;

}  // namespace qz
