// SPDX-License-Identifier: MIT
#include "Problems.h"

#include <cerrno>
#include <iostream>

#include <qz/SystemError.h>
#include <qz/ext/PrintableText.h>

namespace inventory {

void Problems::tell(const std::string& message)
{
    mPrepare();
    std::cerr << "inventory: " << qz::ext::escaped(message) << '\n';
    ++mCount;
}

void Problems::tellWithReason(const std::string& message)
{
    // An empty path, or one that can't be converted, never gets as far as the system.
    const int error = errno;
    tell(message + ": " + (error != 0 ? qz::SystemError(error).toString() : "it names nothing"));
}

}  // namespace inventory
