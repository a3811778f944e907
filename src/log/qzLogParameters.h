#pragma once

#include <set>
#include <string>

#include <qz/qzLog.h>

namespace qz {

/// No second since the epoch.
inline constexpr long kNoSecond = -1;

/// The settings that a batch of entries is written under, and what the file handler knows of its
/// file.
struct qzLogParameters {
    qzLog::CustomHandler customHandler = nullptr;
    void* customHandlerData = nullptr;
    std::set<std::string> subTypeBlacklist;  // switched-off sub-types of DEBUG entries
    std::string pendingNotice;               // goes out ahead of the next DEBUG entry
    int fileFlags = 0;
    int maxFileCount = 0;
    long maxFileSize = 0;
    qzLog::TimeRotationInterval timeRotation = qzLog::RotateNever;
    bool echoToConsole = true;
    bool consoleFallback = false;  // set when the file can't be written
    bool rotationPending = false;  // old files are to be pruned
    std::string folder;
    std::string baseName;
    std::string extension;
    std::string requestedPath;
    std::string currentFileUtf8;
    std::string currentFileLocal;
    long currentFileSecond = kNoSecond;  // in which the current file's name was made
};

/// Compares what callers can set; the notice and the file in use play no part.
bool haveSameSettings(const qzLogParameters& left, const qzLogParameters& right);

}  // namespace qz
