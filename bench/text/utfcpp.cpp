// SPDX-License-Identifier: MIT
#include <utf8.h>

#include "rows.h"

namespace bench {

namespace {

struct Utfcpp {
    static bool isValid(const std::string& text)
    {
        return utf8::is_valid(text.begin(), text.end());
    }
    static std::size_t count(const std::string& text)
    {
        return static_cast<std::size_t>(utf8::distance(text.begin(), text.end()));
    }
};

const ValidateRows<Utfcpp> kValidate("utfcpp");
const CountRows<Utfcpp> kCount("utfcpp");

}  // namespace

}  // namespace bench
