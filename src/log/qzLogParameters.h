// SPDX-License-Identifier: MIT
#pragma once

#include <set>
#include <string>

#include <qz/qzLog.h>

namespace qz {

/// No day.
inline constexpr long kNoDay = -1;

/// The settings that a batch of entries is written under, and which file is in use.
/// The order of the fields is fixed; additions come last.
struct qzLogParameters {
    qzLog::CustomHandler customHandler = nullptr;
    void* customHandlerData = nullptr;
    std::set<std::string> subTypeBlacklist;  // switched-off sub-types of DEBUG entries
    std::string pendingNotice;               // goes out before the next DEBUG entry
    int fileFlags = 0;
    int maxFileCount = 0;
    long maxFileSize = 0;
    qzLog::TimeRotationInterval timeRotation = qzLog::RotateNever;
    bool echoToConsole = true;
    bool consoleFallback = false;  // set when the file can't be written
    bool rotationPending = false;  // old files must be pruned
    std::string folder;
    std::string baseName;
    std::string extension;
    std::string requestedPath;
    std::string currentFileUtf8;
    std::string currentFileLocal;
    long currentFileDay = kNoDay;  // on which the current name was made
};

/// Compares what callers can set: neither the notice nor the file in use.
bool haveSameSettings(const qzLogParameters& left, const qzLogParameters& right);

}  // namespace qz
