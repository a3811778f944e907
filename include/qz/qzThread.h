#pragma once

#include <string>

#include <qz/qzExport.h>

namespace qz {

/// A thread of the process.
class QZ_API qzThread {
public:
    qzThread() = delete;

    /// The kernel's number of the calling thread, in decimal, as log lines show it.
    ///
    /// The text is made at the first call on a thread and lives as long as the thread. In a forked
    /// child a text that was made before the fork keeps the parent's number.
    static const std::string& CurrentThreadId();
};

}  // namespace qz
