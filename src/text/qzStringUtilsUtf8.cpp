#include <qz/qzStringUtils.h>

#include "Utf8Scan.h"

namespace qz {

bool qzStringUtils::IsUtf8String(const std::string& text)
{
    return text::isUtf8(text);
}

std::size_t qzStringUtils::CountUtf8Char(const std::string& text)
{
    return text::countUtf8(text);
}

std::string qzStringUtils::UnknownEncodingToUtf8(const std::string& text, char replacement)
{
    if (IsUtf8String(text)) return text;
    // A conversion that failed gives an empty text, and callers know that as the answer.
    std::string converted = convertCharset(text, CharSetLocal, CharSetUtf8);
    if (IsUtf8String(converted)) return converted;
    std::string ascii = text;
    for (char& byte : ascii) {
        if (static_cast<unsigned char>(byte) >= 0x80) byte = replacement;
    }
    return ascii;
}

}  // namespace qz
