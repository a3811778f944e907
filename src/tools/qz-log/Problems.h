// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace qzlog {

/// Reports what couldn't be read, in a line on standard error each, and remembers that there was
/// something.
class Problems {
public:
    /// @param subject a path, or another text from outside.
    void report(std::string_view subject, const std::string& problem);
    /// The same with the text of a system error.
    void report(std::string_view subject, int error);

    bool areThere() const { return mAreThere; }

private:
    bool mAreThere = false;
};

}  // namespace qzlog
