// SPDX-License-Identifier: MIT
#include "Problems.h"

#include <iostream>

#include <qz/SystemError.h>
#include <qz/ext/PrintableText.h>

namespace qzlog {

void Problems::report(std::string_view subject, const std::string& problem)
{
    mAreThere = true;
    std::cerr << "qz-log: '" << qz::ext::EscapedText(subject) << "': " << problem << std::endl;
}

void Problems::report(std::string_view subject, int error)
{
    report(subject, qz::SystemError(error).toString());
}

}  // namespace qzlog
