// SPDX-License-Identifier: MIT
// Guesses the type of a text of chance, reads it as each scalar, and compares with the functions of
// the C library.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include <qz/qzVariant.h>

#include "../tests/support/LibraryStart.h"
#include "../tests/variant/PlainNumbers.h"
#include "support/FuzzInput.h"

namespace {

using qz::qzVariant;
using qz::fuzz::expectSame;
using qz::plain::Integer;
using qz::plain::parseInteger;
using qz::plain::parseReal;
using qz::plain::Real;

// All bits of a value, so that NaNs and zeros are told apart.
template <typename T>
std::string getBytes(T value)
{
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

void checkGuess(const std::string& text)
{
    const qzVariant guess = qzVariant::BuildFromString(text);
    const Integer integer = parseInteger(text);
    std::string withPoints = text;
    std::replace(withPoints.begin(), withPoints.end(), ',', '.');
    const Real real = parseReal(withPoints);
    if (integer.isNumber) {
        expectSame(guess == qzVariant(integer.value), "guessed integer");
    } else if (real.isNumber) {
        expectSame(guess.getType() == qzVariant::REAL, "guess of a real");
        expectSame(getBytes(guess.toReal()) == getBytes(real.value), "guessed real");
    } else {
        expectSame(guess == qzVariant(text), "guessed string");
    }
}

void checkConversions(const std::string& text)
{
    const qzVariant value(text);
    const Integer integer = parseInteger(text);
    const Real real = parseReal(text);
    expectSame(value.toInteger() == (integer.isNumber ? integer.value : 0), "toInteger");
    expectSame(getBytes(value.toReal()) == getBytes(real.isNumber ? real.value : 0.0), "toReal");
    expectSame(value.toString() == text, "toString");
    qzVariant out;
    expectSame(value.convertLosslessTo(qzVariant::INTEGER, out) == integer.isNumber,
               "convertLosslessTo an integer");
    expectSame(value.convertLosslessTo(qzVariant::REAL, out) == real.isNumber,
               "convertLosslessTo a real");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const qz::support::LibraryStart library;
    const std::string text = qz::fuzz::FuzzInput(data, size).takeRest();
    checkGuess(text);
    checkConversions(text);
    return 0;
}
