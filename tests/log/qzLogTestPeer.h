// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <type_traits>

#include <qz/qzLog.h>

namespace qz {

/// Sees the fields of the logger.
class qzLogTestPeer {
public:
    /// Sees the fields of its thread; defined in qzLogThreadTestPeer.h.
    class Thread;

    static constexpr std::size_t kParametersOffset = offsetof(qzLog, mParameters);
    static constexpr std::size_t kLogThreadOffset = offsetof(qzLog, mLogThread);
    static constexpr std::size_t kTypeEnabledOffset = offsetof(qzLog, mTypeEnabled);
    using TypeEnabled = decltype(qzLog::mTypeEnabled);

    static qzLogParameters& editParameters(qzLog& log) { return *log.mParameters; }
    static const TypeEnabled& getTypeEnabled(const qzLog& log) { return log.mTypeEnabled; }
};

}  // namespace qz
