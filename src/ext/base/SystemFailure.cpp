// SPDX-License-Identifier: MIT
#include <qz/ext/SystemFailure.h>

#include <qz/SystemError.h>

namespace qz::ext {

std::string SystemFailure::toString() const
{
    if (error == 0) return {};
    return step + ": " + SystemError(error).toString();
}

}  // namespace qz::ext
