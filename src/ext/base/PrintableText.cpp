// SPDX-License-Identifier: MIT
#include <qz/ext/PrintableText.h>

#include <ostream>

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
    const bool isLong = character > 0xFFFF;
    text += isLong ? "\\U" : "\\u";
    for (unsigned int shift = isLong ? 32 : 16; shift != 0;)
        text += kDigits[character >> (shift -= 4) & 0xFU];
}

bool isUtf8(std::string_view text)
{
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at != end;) {
        const unsigned int size = decodeCharacter(at, end).size;
        if (size == 0) return false;
        at += size;
    }
    return true;
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
        if (isMisleading(character.value))
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
    const char* const end = text.data() + text.size();
    const bool isWhole = isUtf8(text);
    std::string result;
    result.reserve(text.size());
    for (const char* at = text.data(); at != end;) {
        const Utf8Character character = isWhole ? decodeCharacter(at, end) : Utf8Character();
        const bool isByte = character.size == 0;
        const unsigned int size = isByte ? 1 : character.size;
        const bool isHidden =
            isByte ? toByte(*at) >= 0x7F || toByte(*at) < 0x20 : isMisleading(character.value);
        if (isHidden)
            result += '?';
        else
            result.append(at, size);
        at += size;
    }
    return result;
}

}  // namespace qz::ext
