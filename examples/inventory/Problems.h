#pragma once

#include <string>

namespace inventory {

/// Problems that don't end the work: printed on standard error at once, and counted.
class Problems {
public:
    void tell(const std::string& message);
    /// The same, with the reason that the system gave last in `errno`.
    void tellWithReason(const std::string& message);

    unsigned long getCount() const { return mCount; }

private:
    unsigned long mCount = 0;
};

}  // namespace inventory
