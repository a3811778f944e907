// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace fingerprint {

/// Problems that don't end the work: printed on standard error, a line each, and counted.
class Problems {
public:
    /// @param what for example "cannot read".
    /// @param object a name of the system.
    void report(const std::string& what, const std::string& object, const std::string& reason);
    /// The same with an `errno` as the reason.
    void report(const std::string& what, const std::string& object, int error);

    unsigned long getCount() const { return mCount; }

private:
    unsigned long mCount = 0;
};

}  // namespace fingerprint
