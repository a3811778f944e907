// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <string>

#include <locale.h>

/// The rule by which texts are numbers: that of the C library, in the locale of C, for the whole
/// text.
namespace qz::plain {

inline locale_t getCLocale()
{
    static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}

struct Integer {
    bool isNumber;
    long value;
};

struct Real {
    bool isNumber;
    double value;
};

inline Integer parseInteger(const std::string& text)
{
    char* stop = nullptr;
    const long value = ::strtoll_l(text.c_str(), &stop, 0, getCLocale());
    return {stop == text.c_str() + text.size(), value};
}

inline Real parseReal(const std::string& text)
{
    char* stop = nullptr;
    const double value = ::strtod_l(text.c_str(), &stop, getCLocale());
    return {stop == text.c_str() + text.size(), value};
}

}  // namespace qz::plain
