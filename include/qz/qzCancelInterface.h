// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzExport.h>

namespace qz {

/// A request to stop that a long piece of work polls.
///
/// None of these classes owns the objects that it points to.
///
/// @code
/// bool isCancelled = false;
/// qzCancelInterfaceProxy cancel(isCancelled);
/// while (!cancel.shouldCancel()) doNextStep(cancel);  // the step may call cancel()
/// @endcode
///
/// Threads: a request may come from any thread; the work may see it late.
class QZ_API qzCancelInterfaceReadOnly {
public:
    virtual ~qzCancelInterfaceReadOnly();
    /// Whether the work should stop.
    virtual bool shouldCancel() const = 0;
};

/// A request to stop that can also be made.
class QZ_API qzCancelInterface : public qzCancelInterfaceReadOnly {
public:
    ~qzCancelInterface() override;
    /// Requests the work to stop, for good.
    virtual void cancel() = 0;
};

/// Reads a flag, and then another source.
class QZ_API qzCancelInterfaceProxyReadOnly : public qzCancelInterfaceReadOnly {
public:
    /// Makes a proxy. Without flag and parent it never cancels.
    /// @param flag read by each `shouldCancel`; may be null.
    /// @param parent used if the flag is not set; may be null.
    constexpr explicit qzCancelInterfaceProxyReadOnly(
        const bool* flag = nullptr, const qzCancelInterfaceReadOnly* parent = nullptr)
        : mFlag(flag), mParent(parent)
    {
    }
    ~qzCancelInterfaceProxyReadOnly() override;

    /// True if the flag is set, or if the parent should cancel.
    bool shouldCancel() const override;

private:
    const bool* mFlag;
    const qzCancelInterfaceReadOnly* mParent;
};

/// Sets and reads a flag, and passes the request on.
class QZ_API qzCancelInterfaceProxy : public qzCancelInterface {
public:
    /// Makes a proxy.
    /// @param flag set by `cancel`; other threads may read and set it.
    /// @param target receives each `cancel`, and is read as well; may be null.
    /// @param parent read last, and never cancelled; may be null.
    explicit qzCancelInterfaceProxy(bool& flag, qzCancelInterface* target = nullptr,
                                    const qzCancelInterfaceReadOnly* parent = nullptr)
        : mFlag(&flag), mTarget(target), mParent(parent)
    {
    }
    ~qzCancelInterfaceProxy() override;

    /// True if the flag is set, or if the target or the parent should cancel.
    bool shouldCancel() const override;
    /// Sets the flag, and then cancels the target.
    void cancel() override;

private:
    bool* mFlag;
    qzCancelInterface* mTarget;
    const qzCancelInterfaceReadOnly* mParent;
};

}  // namespace qz
