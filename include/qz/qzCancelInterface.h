#pragma once

#include <qz/qzExport.h>

namespace qz {

/// What long work asks from time to time: whether it should stop.
///
/// Nothing here owns what it points at. Threads: a request may come from any thread; work that
/// polls sees it late at worst.
class QZ_API qzCancelInterfaceReadOnly {
public:
    virtual ~qzCancelInterfaceReadOnly();
    /// Tells whether the work should stop.
    virtual bool shouldCancel() const = 0;
};

/// A request to stop that can also be made.
class QZ_API qzCancelInterface : public qzCancelInterfaceReadOnly {
public:
    ~qzCancelInterface() override;
    /// Asks the work to stop; there is no way back.
    virtual void cancel() = 0;
};

/// Asks a flag, and then another source.
class QZ_API qzCancelInterfaceProxyReadOnly : public qzCancelInterfaceReadOnly {
public:
    /// Makes a proxy over what is given; without either it never cancels.
    /// @param flag read at each question; may be null.
    /// @param parent asked when the flag is not set; may be null.
    constexpr explicit qzCancelInterfaceProxyReadOnly(
        const bool* flag = nullptr, const qzCancelInterfaceReadOnly* parent = nullptr)
        : mFlag(flag), mParent(parent)
    {
    }
    ~qzCancelInterfaceProxyReadOnly() override;

    /// True when the flag is set, or else when the parent says so.
    bool shouldCancel() const override;

private:
    const bool* mFlag;
    const qzCancelInterfaceReadOnly* mParent;
};

/// Sets and asks a flag, and passes the request on.
class QZ_API qzCancelInterfaceProxy : public qzCancelInterface {
public:
    /// Makes a proxy over what is given.
    /// @param flag set by `cancel`; other threads may read and set it.
    /// @param target hears of each request, and is asked as well; may be null.
    /// @param parent asked last, and never told; may be null.
    explicit qzCancelInterfaceProxy(bool& flag, qzCancelInterface* target = nullptr,
                                    const qzCancelInterfaceReadOnly* parent = nullptr)
        : mFlag(&flag), mTarget(target), mParent(parent)
    {
    }
    ~qzCancelInterfaceProxy() override;

    /// True when the flag is set, or else when the target or the parent says so.
    bool shouldCancel() const override;
    /// Sets the flag, and then asks the target to stop.
    void cancel() override;

private:
    bool* mFlag;
    qzCancelInterface* mTarget;
    const qzCancelInterfaceReadOnly* mParent;
};

}  // namespace qz
