// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string_view>

#include <qz/qzVariant.h>

#include "VariantGuess.h"
#include "VariantText.h"
#include "text/NumberParse.h"

namespace qz {

namespace {

constexpr std::string_view kTrueTexts[] = {"true", "True", "TRUE", "t", "1"};
constexpr std::string_view kFalseTexts[] = {"false", "False", "FALSE", "f", "0"};
constexpr int kLosslessPrecision = 3;

template <std::size_t N>
bool isAmong(const std::string& text, const std::string_view (&texts)[N])
{
    return std::find(std::begin(texts), std::end(texts), text) != std::end(texts);
}

// Rounds toward zero. What 64 bits can't hold gives the smallest integer, as on the processor.
long truncate(double value)
{
    constexpr double limit = 0x1p63;
    if (!(value >= -limit && value < limit)) return std::numeric_limits<long>::min();
    return static_cast<long>(value);
}

std::optional<qzVariant> toLosslessInteger(const qzVariant& source)
{
    if (source.getType() == qzVariant::REAL) {
        const double real = source.toReal();
        // Numbers that don't fit become -2^63, which differs from all of them except -2^63 itself.
        if (static_cast<double>(truncate(real)) != real) return std::nullopt;
    }
    if (source.getType() == qzVariant::STRING) {
        long value = 0;
        if (!text::parseInteger(*source.getString(), value)) return std::nullopt;
    }
    return source.toInteger();
}

std::optional<qzVariant> toLosslessReal(const qzVariant& source)
{
    if (source.getType() == qzVariant::INTEGER) {
        const long integer = source.toInteger();
        const auto real = static_cast<double>(integer);
        // The largest integers are rounded to 2^63, which `truncate` makes the smallest integer.
        if (real >= 0x1p63 || truncate(real) != integer) return std::nullopt;
    }
    if (source.getType() == qzVariant::STRING) {
        double value = 0.0;
        if (!text::parseReal(*source.getString(), value)) return std::nullopt;
    }
    return source.toReal();
}

std::optional<qzVariant> toLosslessString(const qzVariant& source)
{
    switch (source.getType()) {
        case qzVariant::INTEGER:
            return variant::toClassicText(source.toInteger());
        case qzVariant::REAL:
            return variant::toClassicText(source.toReal(), kLosslessPrecision);
        default:
            return source.toString();
    }
}

std::optional<qzVariant> toLosslessBool(const qzVariant& source)
{
    switch (source.getType()) {
        case qzVariant::INTEGER:
        case qzVariant::REAL:
            if (source.toReal() == 1.0) return true;
            if (source.toReal() == 0.0) return false;
            return std::nullopt;
        case qzVariant::STRING:
            if (isAmong(*source.getString(), kTrueTexts)) return true;
            if (isAmong(*source.getString(), kFalseTexts)) return false;
            return std::nullopt;
        default:
            return source;
    }
}

bool isScalar(qzVariant::Type type)
{
    return type >= qzVariant::INTEGER && type <= qzVariant::BOOL;
}

std::optional<qzVariant> convertLossless(const qzVariant& source, qzVariant::Type target)
{
    switch (target) {
        case qzVariant::INTEGER:
            return toLosslessInteger(source);
        case qzVariant::REAL:
            return toLosslessReal(source);
        case qzVariant::STRING:
            return toLosslessString(source);
        default:
            return toLosslessBool(source);
    }
}

}  // namespace

long qzVariant::toInteger() const
{
    switch (mType) {
        case INTEGER:
        case DATETIME:
            return mCell.integer;
        case REAL:
            return truncate(mCell.real);
        case BOOL:
            return mCell.boolean ? 1 : 0;
        case STRING: {
            long value = 0;
            text::parseInteger(*mCell.string, value);
            return value;
        }
        default:
            return 0;
    }
}

double qzVariant::toReal() const
{
    switch (mType) {
        case INTEGER:
            return static_cast<double>(mCell.integer);
        case REAL:
            return mCell.real;
        case BOOL:
            return mCell.boolean ? 1.0 : 0.0;
        case STRING: {
            double value = 0.0;
            text::parseReal(*mCell.string, value);
            return value;
        }
        default:
            return std::numeric_limits<double>::quiet_NaN();
    }
}

bool qzVariant::toBool() const
{
    switch (mType) {
        case INTEGER:
            return mCell.integer != 0;
        case REAL:
            return mCell.real != 0.0;
        case BOOL:
            return mCell.boolean;
        case STRING:
            return isAmong(*mCell.string, kTrueTexts);
        default:
            return false;
    }
}

qzVariant::DateTime qzVariant::toDateTime() const
{
    return mType == INTEGER || mType == DATETIME ? DateTime(mCell.integer) : DateTime();
}

std::string qzVariant::toString() const
{
    return variant::toText(*this);
}

std::vector<std::string> qzVariant::toStringList() const
{
    if (mType == STRING) return {*mCell.string};
    if (mType == LIST) return mCell.list->toStringList();
    return {};
}

qzVariant::qzVariantListImpl qzVariant::toList() const
{
    if (mType == LIST) return *mCell.list;
    qzVariantListImpl list;
    list.push_back(*this);
    return list;
}

qzVariant::qzVariantMapImpl qzVariant::toMap() const
{
    return mType == MAP ? *mCell.map : qzVariantMapImpl();
}

qzVariant qzVariant::BuildFromString(const std::string& text)
{
    return variant::guess(text);
}

bool qzVariant::convertLosslessTo(Type target, qzVariant& out) const
{
    if (!isScalar(mType)) return false;
    if (!isScalar(target)) return out.mType == target;
    std::optional<qzVariant> converted = convertLossless(*this, target);
    if (!converted) return false;
    out = std::move(*converted);
    return true;
}

}  // namespace qz
