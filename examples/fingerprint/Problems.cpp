// SPDX-License-Identifier: MIT
#include "Problems.h"

#include <iostream>

#include <qz/SystemError.h>
#include <qz/ext/PrintableText.h>

namespace fingerprint {

void Problems::report(const std::string& what, const std::string& object, const std::string& reason)
{
    std::cerr << "fingerprint: " << what << " '" << qz::ext::makePrintable(object)
              << "': " << reason << '\n';
    ++mCount;
}

void Problems::report(const std::string& what, const std::string& object, int error)
{
    report(what, object, qz::SystemError(error).toString());
}

}  // namespace fingerprint
