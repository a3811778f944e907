#pragma once

#include <qz/qzCancelInterface.h>
#include <qz/qzExport.h>

namespace qz {

/// Makes the console's interrupt key and a polite kill into a request to stop: SIGINT and SIGTERM
/// set a flag, and do nothing else for as long as the catcher exists.
///
/// There is one catcher in the process at most. Threads: create and delete on the main thread; ask
/// from any.
class QZ_API qzCancelConsoleEventCatcher : public qzCancelInterfaceReadOnly {
public:
    /// Makes the catcher, with nothing requested, unless there is one.
    /// @return the catcher, owned by the library; on another thread than the main one, which is
    ///     reported, a source that never cancels.
    static qzCancelInterfaceReadOnly* Create();
    /// Deletes the catcher, flushes the log, and gives the two signals their default action: ending
    /// the process. Does nothing without a catcher; on another thread than the main one that is
    /// all, and it is reported.
    static void Delete();
    /// The catcher; null when there is none.
    static qzCancelConsoleEventCatcher* Get();

    ~qzCancelConsoleEventCatcher() override;

    /// True once one of the two signals has come.
    bool shouldCancel() const override;

private:
    QZ_LOCAL qzCancelConsoleEventCatcher();
};

}  // namespace qz
