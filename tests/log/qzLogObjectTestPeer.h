// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

#include <qz/qzLogObject.h>

namespace qz {

/// Sees the fields of a report.
class qzLogObjectTestPeer {
    using Report = qzLogObject::Report;

public:
    static constexpr std::size_t kOffsets[] = {
        offsetof(qzLogObject, mReport) + offsetof(Report, threadId),
        offsetof(qzLogObject, mReport) + offsetof(Report, subType),
        offsetof(qzLogObject, mReport) + offsetof(Report, systemLogTag),
        offsetof(qzLogObject, mReport) + offsetof(Report, log),
        offsetof(qzLogObject, mReport) + offsetof(Report, stream),
        offsetof(qzLogObject, mType),
        offsetof(qzLogObject, mTimeMs),
        offsetof(qzLogObject, mSynchronous)};
    using Type = decltype(qzLogObject::mType);
    using TimeMs = decltype(qzLogObject::mTimeMs);
    using Synchronous = decltype(qzLogObject::mSynchronous);

    static const std::string& getThreadId(const qzLogObject& object)
    {
        return object.mReport.threadId;
    }
    static const std::string* getSubType(const qzLogObject& object)
    {
        return object.mReport.subType.get();
    }
    static const std::string* getSystemLogTag(const qzLogObject& object)
    {
        return object.mReport.systemLogTag.get();
    }
    static const qzLog* getLog(const qzLogObject& object) { return object.mReport.log; }
    static bool hasStream(const qzLogObject& object) { return object.mReport.stream != nullptr; }
    static int getType(const qzLogObject& object) { return object.mType; }
    static long getTimeMs(const qzLogObject& object) { return object.mTimeMs; }
    static bool isSynchronous(const qzLogObject& object) { return object.mSynchronous; }
};

}  // namespace qz
