// SPDX-License-Identifier: MIT
#include <qz/qzMathUtils.h>

#include <clocale>
#include <cstring>

#include "Digits.h"

namespace qz {

namespace {

// Fetched once in a process, so that the reports of one run have one form.
char fetchSeparator()
{
    const char* const separator = std::localeconv()->thousands_sep;
    return separator != nullptr && *separator != '\0' ? *separator : ',';
}

}  // namespace

std::string qzMathUtils::FormatIntegerSeparator(unsigned long value)
{
    static const char separator = fetchSeparator();
    char buffer[32];
    char* const end = buffer + sizeof buffer;
    char* at = end;
    for (; value >= 1000; value /= 1000) {
        text::writePadded(at -= 3, value % 1000, 3);
        *--at = separator;
    }
    const int digits = value >= 100 ? 3 : value >= 10 ? 2 : 1;
    text::writePadded(at -= digits, value, digits);
    return {at, end};
}

}  // namespace qz
