// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include <qz/qzLog.h>

namespace qz::log {

/// Builds the prefix of an entry like `LogEntry::computeLogPrefix`.
/// @param time the text of the entry's time with a blank after it; empty to leave the time out.
void computePrefix(qzLog::LogEntry& entry, std::string_view time);

}  // namespace qz::log
