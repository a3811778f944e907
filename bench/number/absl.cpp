// SPDX-License-Identifier: MIT
#include <absl/strings/str_cat.h>

#include "rows.h"

namespace bench {

namespace {

struct Abseil {
    static const std::string& toString(const std::string& text) { return text; }
};

struct Padded : Abseil {
    static std::string write(int number)
    {
        return absl::StrCat(absl::Dec(number, absl::kZeroPad8));
    }
};

struct Real : Abseil {
    static std::string write(double number) { return absl::StrCat(number); }
};

const NumberCase<PaddedRow, Padded> kPadded("Abseil");
const NumberCase<RealRow, Real> kReal("Abseil");

}  // namespace

}  // namespace bench
