// SPDX-License-Identifier: MIT
#include <qz/ext/PrintableText.h>

#include <algorithm>
#include <ostream>

#include <qz/qzStringUtils.h>

#include "Utf8Character.h"

namespace qz::ext {

namespace {

constexpr char kDigits[] = "0123456789ABCDEF";

void appendByteEscape(std::string& text, unsigned int byte)
{
    text += {'\\', 'x', kDigits[byte >> 4U], kDigits[byte & 0xFU]};
}

void appendEscape(std::string& text, char32_t character)
{
    switch (character) {
        case '\n':
            text += "\\n";
            return;
        case '\r':
            text += "\\r";
            return;
        case '\t':
            text += "\\t";
            return;
        default:
            break;
    }
    if (character < 0x80) return appendByteEscape(text, character);
    text += {'\\',
             'u',
             kDigits[character >> 12U],
             kDigits[character >> 8U & 0xFU],
             kDigits[character >> 4U & 0xFU],
             kDigits[character & 0xFU]};
}

}  // namespace

std::string escaped(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at != end;) {
        const Utf8Character character = decodeCharacter(at, end);
        if (character.size == 0) {
            appendByteEscape(result, toByte(*at++));
            continue;
        }
        if (isControlling(character.value))
            appendEscape(result, character.value);
        else
            result.append(at, character.size);
        at += character.size;
    }
    return result;
}

std::ostream& operator<<(std::ostream& stream, const EscapedText& text)
{
    return stream << escaped(text.getText());
}

std::string makePrintable(std::string text)
{
    const bool isUtf8 = qzStringUtils::IsUtf8String(text);
    const auto isHidden = [isUtf8](char c) {
        const unsigned char byte = toByte(c);
        return byte < 0x20 || byte == 0x7F || (byte >= 0x80 && !isUtf8);
    };
    std::replace_if(text.begin(), text.end(), isHidden, '?');
    // The control characters from U+0080 to U+009F, some of which terminals take for "ESC [".
    for (std::size_t at = 0; (at = text.find('\xC2', at)) != std::string::npos; ++at) {
        if (toByte(text[at + 1]) < 0xA0) text.replace(at, 2, "?");
    }
    return text;
}

}  // namespace qz::ext
