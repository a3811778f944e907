// SPDX-License-Identifier: MIT
#pragma once

#include <new>

#include <qz/ext/LogTools.h>

namespace qz::ext {

/// Passes an entry to an outlet. A lack of memory counts as a loss, so that it doesn't end the
/// process, and other outlets still get the entry.
inline bool offerEntry(LogOutlet& outlet, const qzLog::LogEntry& entry)
{
    try {
        return outlet.take(entry);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace qz::ext
