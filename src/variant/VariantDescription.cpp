// SPDX-License-Identifier: MIT
// The text of a value for tests and debuggers.

#include <ostream>

#include <qz/qzVariant.h>

#include "VariantText.h"
#include "VariantTextWalk.h"
#include "text/NumberParse.h"

namespace qz {

namespace {

class DescriptionStyle {
public:
    explicit DescriptionStyle(std::ostream& stream) : mStream(stream) {}

    void begin(bool isMap) { mStream << (isMap ? '{' : '['); }
    void end(bool isMap) { mStream << (isMap ? '}' : ']'); }
    void separate(bool /*isMap*/, std::size_t /*depth*/) { mStream << ", "; }
    void beginEntry(const std::string& key)
    {
        quote(key);
        mStream << ": ";
    }
    void endEntry() {}
    void leaf(const qzVariant& value);

private:
    void quote(const std::string& text);
    void writeArray(const qzVariant& array);

    std::ostream& mStream;
};

// Writes unprintable bytes by their number, and those of UTF-8 as they are.
void DescriptionStyle::quote(const std::string& text)
{
    constexpr const char* digits = "0123456789abcdef";
    mStream << '"';
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\')
            mStream << '\\' << c;
        else if (byte < 0x20 || byte == 0x7f)
            mStream << "\\x" << digits[byte >> 4] << digits[byte & 15];
        else
            mStream << c;
    }
    mStream << '"';
}

// The fewest digits that are read as the same real, with a point if there would be none.
std::string describeReal(double value)
{
    std::string text;
    for (int precision = 15; precision <= 17; ++precision) {
        text = variant::toClassicText(value, precision);
        double readBack = 0.0;
        if (text::parseReal(text, readBack) && readBack == value) break;
    }
    return text.find_first_not_of("-0123456789") == std::string::npos ? text + ".0" : text;
}

void DescriptionStyle::writeArray(const qzVariant& array)
{
    mStream << array.getTypeAsString();
    for (std::size_t i = 0; i != array.arraySize(); ++i)
        mStream << (i == 0 ? "[" : ", ") << describeReal(array.getArray()[i]);
    mStream << ']';
}

void DescriptionStyle::leaf(const qzVariant& value)
{
    switch (value.getType()) {
        case qzVariant::UNKNOWN:
            mStream << "UNKNOWN";
            break;
        case qzVariant::STRING:
            quote(*value.getString());
            break;
        case qzVariant::REAL:
            mStream << describeReal(value.toReal());
            break;
        case qzVariant::INTEGER:
            mStream << variant::toClassicText(value.toInteger());
            break;
        case qzVariant::BOOL:
            mStream << (value.toBool() ? "true" : "false");
            break;
        case qzVariant::DATETIME:
            mStream << "DATETIME(" << variant::toClassicText(value.toInteger()) << ')';
            break;
        case qzVariant::USERDATA:
            mStream << "USERDATA(" << value.getUserData() << ')';
            break;
        case qzVariant::DESTROYED:
            mStream << "DESTROYED";
            break;
        case qzVariant::VEC2D:
        case qzVariant::VEC3D:
        case qzVariant::VEC4D:
        case qzVariant::MAT3D:
        case qzVariant::MAT4D:
            writeArray(value);
            break;
        default:
            mStream << value.getTypeAsString();
            break;
    }
}

template <typename Tree>
std::ostream& describe(std::ostream& stream, const Tree& tree)
{
    DescriptionStyle style(stream);
    variant::TextWalk(style).write(tree);
    return stream;
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const qzVariant& value)
{
    return describe(stream, value);
}

std::ostream& operator<<(std::ostream& stream, const qzVariant::qzVariantMapImpl& map)
{
    return describe(stream, map);
}

std::ostream& operator<<(std::ostream& stream, const qzVariant::qzVariantListImpl& list)
{
    return describe(stream, list);
}

}  // namespace qz
