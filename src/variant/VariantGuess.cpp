// SPDX-License-Identifier: MIT
#include "VariantGuess.h"

#include <algorithm>
#include <optional>
#include <string>

#include "VariantAccess.h"
#include "text/NumberParse.h"

namespace qz::variant {

namespace {

// The rule as it is documented, for the texts that `readPlainNumber` leaves unclear.
qzVariant guessWhole(std::string text)
{
    long integer = 0;
    if (text::parseInteger(text, integer)) return integer;
    double real = 0.0;
    if (text.find(',') == std::string::npos) {
        if (text::parseReal(text, real)) return real;
    } else {
        std::string withPoints = text;
        std::replace(withPoints.begin(), withPoints.end(), ',', '.');
        if (text::parseReal(withPoints, real)) return real;
    }
    return {std::move(text)};
}

}  // namespace

qzVariant guess(std::string_view text)
{
    long integer = 0;
    double real = 0.0;
    switch (text::readPlainNumber(text, integer, real)) {
        case text::NumberKind::None:
            return VariantAccess::makeString(text);
        case text::NumberKind::Integer:
            return integer;
        case text::NumberKind::Real:
            return real;
        case text::NumberKind::Unclear:
            break;
    }
    return guessWhole(std::string(text));
}

}  // namespace qz::variant
