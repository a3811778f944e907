// SPDX-License-Identifier: MIT
#include "VariantText.h"

#include <charconv>
#include <locale>

#include "VariantTextWalk.h"
#include "text/SixDigits.h"

namespace qz::variant {

namespace {

constexpr std::size_t kNumberSize = 32;

void appendClassic(long value, std::string& out)
{
    char text[kNumberSize];
    out.append(text, std::to_chars(text, std::end(text), value).ptr);
}

void appendClassic(double value, std::string& out)
{
    char digits[text::kSixDigitsSize];
    out.append(digits, text::writeSixDigits(digits, value));
}

std::string toSixDigits(double value)
{
    char digits[text::kSixDigitsSize];
    return {digits, text::writeSixDigits(digits, value)};
}

bool isGlobalLocaleClassic()
{
    return std::locale() == std::locale::classic();
}

// Maps as "(key=value),(key=value)", lists without brackets.
class PlainStyle {
public:
    PlainStyle(std::string& out, const std::string& topSeparator)
        : mOut(out), mTopSeparator(topSeparator)
    {
    }

    void begin(bool /*isMap*/) {}
    void end(bool /*isMap*/) {}
    void separate(bool isMap, std::size_t depth)
    {
        if (isMap)
            mOut += ',';
        else if (depth == 1)
            mOut += mTopSeparator;
        else
            mOut += ' ';
    }
    void beginEntry(const std::string& key)
    {
        mOut += '(';
        mOut += key;
        mOut += '=';
    }
    void endEntry() { mOut += ')'; }
    void leaf(const qzVariant& value) { mLeafText.append(value, mOut); }

private:
    std::string& mOut;
    const std::string& mTopSeparator;
    LeafText mLeafText;
};

template <typename Tree>
std::string walk(const Tree& tree, const std::string& topSeparator)
{
    std::string out;
    PlainStyle style(out, topSeparator);
    TextWalk(style).write(tree);
    return out;
}

}  // namespace

LeafText::LeafText() : mIsClassic(isGlobalLocaleClassic()) {}

template <typename T>
void LeafText::appendByStream(T value, std::string& out)
{
    if (!mStream) mStream.emplace();
    mStream->str(std::string());
    *mStream << value;
    out += mStream->view();
}

void LeafText::append(long value, std::string& out)
{
    if (mIsClassic)
        appendClassic(value, out);
    else
        appendByStream(value, out);
}

void LeafText::append(double value, std::string& out)
{
    if (mIsClassic)
        appendClassic(value, out);
    else
        appendByStream(value, out);
}

void LeafText::append(const qzVariant& leaf, std::string& out)
{
    switch (leaf.getType()) {
        case qzVariant::INTEGER:
        case qzVariant::DATETIME:
            append(VariantAccess::getCell(leaf).integer, out);
            break;
        case qzVariant::REAL:
            append(VariantAccess::getCell(leaf).real, out);
            break;
        case qzVariant::STRING:
            out += *leaf.getString();
            break;
        case qzVariant::BOOL:
            out += VariantAccess::getCell(leaf).boolean ? "true" : "false";
            break;
        case qzVariant::VEC2D:
        case qzVariant::VEC3D:
        case qzVariant::VEC4D:
        case qzVariant::MAT3D:
        case qzVariant::MAT4D:
            for (std::size_t i = 0; i != leaf.arraySize(); ++i) {
                out += i == 0 ? '[' : ',';
                append(leaf.getArray()[i], out);
            }
            out += ']';
            break;
        default:
            break;
    }
}

std::string toClassicText(double value, int precision)
{
    char text[kNumberSize];
    const auto end =
        std::to_chars(text, std::end(text), value, std::chars_format::general, precision);
    return {text, end.ptr};
}

std::string toClassicText(long value)
{
    char text[kNumberSize];
    return {text, std::to_chars(text, std::end(text), value).ptr};
}

std::string toText(const qzVariant& value)
{
    switch (value.getType()) {
        case qzVariant::STRING:
            return *value.getString();
        case qzVariant::MAP:
        case qzVariant::LIST:
            return walk(value, " ");
        case qzVariant::BOOL:
            return value.toBool() ? "true" : "false";
        case qzVariant::INTEGER:
            if (isGlobalLocaleClassic()) return toClassicText(value.toInteger());
            break;
        case qzVariant::REAL:
            if (isGlobalLocaleClassic()) return toSixDigits(value.toReal());
            break;
        default:
            break;
    }
    std::string out;
    LeafText().append(value, out);
    return out;
}

std::string toText(const Map& map)
{
    return walk(map, " ");
}

std::string toText(const List& list, const std::string& separator)
{
    return walk(list, separator);
}

}  // namespace qz::variant
