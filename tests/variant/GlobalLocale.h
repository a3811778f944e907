// SPDX-License-Identifier: MIT
#pragma once

#include <locale>
#include <string>

namespace qz {

/// Makes a locale the global one of C++ until the end of the scope.
class GlobalLocale {
public:
    explicit GlobalLocale(const std::locale& locale) : mBefore(std::locale::global(locale)) {}
    ~GlobalLocale() { std::locale::global(mBefore); }
    GlobalLocale(const GlobalLocale&) = delete;
    GlobalLocale& operator=(const GlobalLocale&) = delete;

private:
    std::locale mBefore;
};

/// Numbers as "1.234,5".
class GroupedNumbers : public std::numpunct<char> {
protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
    std::string do_truename() const override { return "ja"; }
    std::string do_falsename() const override { return "nein"; }
};

/// A locale that has no name, in which all numbers look different.
inline std::locale makeGroupedLocale()
{
    return {std::locale::classic(), new GroupedNumbers};
}

}  // namespace qz
