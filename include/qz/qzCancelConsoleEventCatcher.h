// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzCancelInterface.h>
#include <qz/qzExport.h>

namespace qz {

/// Turns the console's interrupt key and `kill` into a request to stop: while the catcher exists,
/// SIGINT and SIGTERM only set a flag.
///
/// @code
/// const auto* const catcher = qz::qzCancelConsoleEventCatcher::Create();
/// while (!catcher->shouldCancel()) work();
/// qz::qzCancelConsoleEventCatcher::Delete();
/// @endcode
///
/// There is at most one catcher in the process. Threads: it must be created and deleted on the main
/// thread; `shouldCancel` may be called from any.
class QZ_API qzCancelConsoleEventCatcher : public qzCancelInterfaceReadOnly {
public:
    /// Makes the catcher, with the flag clear, unless there is one.
    ///
    /// Call it after the full start, which would replace its handlers. The main thread is the one
    /// that loaded the library; in a forked child, the copy of that thread is.
    /// @return the catcher, owned by the library and valid until `Delete`. On another thread than
    ///     the main one it reports so and returns a source that never cancels.
    static qzCancelInterfaceReadOnly* Create();
    /// Deletes the catcher, flushes the log, and sets the two signals to their default action,
    /// which ends the process. Does nothing without a catcher. On another thread than the main one
    /// it only reports so.
    static void Delete();
    /// The catcher; null if there is none.
    static qzCancelConsoleEventCatcher* Get();

    ~qzCancelConsoleEventCatcher() override;

    /// Whether one of the two signals has come.
    bool shouldCancel() const override;

private:
    QZ_LOCAL qzCancelConsoleEventCatcher();
};

}  // namespace qz
