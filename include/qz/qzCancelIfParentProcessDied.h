// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include <qz/qzCancelInterface.h>
#include <qz/qzExport.h>

namespace qz {

class qzCancelIfParentProcessDiedImpl;

/// Requests work to stop when the parent of this process has ended.
///
/// A thread of its own polls for the end every 100 ms, and reports it as an INFO entry.
///
/// @code
/// const qzCancelIfParentProcessDied cancel;
/// while (!cancel.shouldCancel()) doNextStep();
/// @endcode
///
/// Threads: `shouldCancel` from any thread.
class QZ_API qzCancelIfParentProcessDied : public qzCancelInterfaceReadOnly {
public:
    /// Starts watching the present parent of this process.
    /// @param parent another source, used while the parent process lives; not owned, may be null.
    /// @throws std::system_error if the system can't make a thread.
    explicit qzCancelIfParentProcessDied(const qzCancelInterfaceReadOnly* parent = nullptr);
    /// Ends the thread, without waiting for its next poll.
    ~qzCancelIfParentProcessDied() override;
    qzCancelIfParentProcessDied(const qzCancelIfParentProcessDied&) = delete;
    qzCancelIfParentProcessDied& operator=(const qzCancelIfParentProcessDied&) = delete;

    /// True if the parent process has ended, or if the other source should cancel.
    bool shouldCancel() const override;

private:
    friend class qzCancelIfParentProcessDiedTestPeer;

    std::unique_ptr<qzCancelIfParentProcessDiedImpl> mImpl;
    const qzCancelInterfaceReadOnly* mParent;
};

}  // namespace qz
