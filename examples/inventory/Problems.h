// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <utility>

namespace inventory {

/// Problems that don't end the work: printed on standard error at once, and counted.
class Problems {
public:
    /// @param prepare is called before each message, to make the terminal ready for it.
    explicit Problems(std::function<void()> prepare) : mPrepare(std::move(prepare)) {}

    void tell(const std::string& message);
    /// The same, with the reason that the system gave last in `errno`.
    void tellWithReason(const std::string& message);

    unsigned long getCount() const { return mCount; }

private:
    std::function<void()> mPrepare;
    unsigned long mCount = 0;
};

}  // namespace inventory
