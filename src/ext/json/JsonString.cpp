// SPDX-License-Identifier: MIT
#include "JsonString.h"

#include "JsonCharacters.h"

namespace qz::ext {

namespace {

// What may follow a backslash, and what it stands for.
constexpr std::string_view kEscapes = "\"\\/bfnrt";
constexpr std::string_view kEscaped = "\"\\/\b\f\n\r\t";

// Passes the characters beyond ASCII.
JsonFault skipCharacters(JsonText& text)
{
    while (!text.isAtEnd() && toByte(*text.at) >= 0x80) {
        const Utf8Character character = decodeCharacter(text.at, text.end);
        if (character.size == 0)
            return {JsonError::Kind::Encoding, text.at, "The string isn't UTF-8"};
        text.at += character.size;
    }
    return {};
}

// The value of a hexadecimal digit, or 16.
char32_t getDigit(char c)
{
    if (c >= '0' && c <= '9') return static_cast<char32_t>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<char32_t>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F') return static_cast<char32_t>(c - 'A' + 10);
    return 16;
}

JsonFault parseFourDigits(JsonText& text, char32_t& value)
{
    value = 0;
    for (int i = 0; i < 4; ++i, ++text.at) {
        const char32_t digit = getDigit(text.peek());
        if (digit == 16) return makeSyntaxFault(text, "A hexadecimal digit is missing");
        value = value * 16 + digit;
    }
    return {};
}

// Reads what follows "\u", and the second half of a pair.
JsonFault parseCodePoint(JsonText& text, char32_t& value)
{
    const JsonFault loneHalf = {JsonError::Kind::Encoding, text.at - 2,
                                "The other half of the surrogate pair is missing"};
    if (const JsonFault fault = parseFourDigits(text, value)) return fault;
    if (!isSurrogate(value)) return {};
    const bool isFirstHalf = value < 0xDC00;
    if (!isFirstHalf || text.end - text.at < 2 || text.at[0] != '\\' || text.at[1] != 'u')
        return loneHalf;
    text.at += 2;
    char32_t second = 0;
    if (const JsonFault fault = parseFourDigits(text, second)) return fault;
    if (!isSurrogate(second) || second < 0xDC00) return loneHalf;
    value = 0x10000 + ((value - 0xD800) << 10U) + (second - 0xDC00);
    return {};
}

// Reads the escape whose backslash is the next byte.
JsonFault parseEscape(JsonText& text, std::string& out)
{
    const char* const begin = text.at++;
    const std::size_t number = kEscapes.find(text.peek());
    if (number != std::string_view::npos) {
        out += kEscaped[number];
        ++text.at;
        return {};
    }
    if (text.isAtEnd()) return makeEndFault(text);
    if (*text.at != 'u') return {JsonError::Kind::Syntax, begin, "The escape sequence is unknown"};
    ++text.at;
    char32_t value = 0;
    if (const JsonFault fault = parseCodePoint(text, value)) return fault;
    appendCharacter(out, value);
    return {};
}

}  // namespace

JsonFault parseString(JsonText& text, std::string& buffer, std::string_view& content)
{
    const char* run = ++text.at;  // the bytes that are not in the buffer
    buffer.clear();
    for (;;) {
        text.at = findSpecial(text.at, text.end);
        if (text.isAtEnd()) return makeEndFault(text);
        if (*text.at == '"') break;
        if (toByte(*text.at) >= 0x80) {
            if (const JsonFault fault = skipCharacters(text)) return fault;
        } else if (*text.at == '\\') {
            buffer.append(run, text.at);
            if (const JsonFault fault = parseEscape(text, buffer)) return fault;
            run = text.at;
        } else {
            return {JsonError::Kind::Syntax, text.at, "A control character must be escaped"};
        }
    }
    content = std::string_view(run, static_cast<std::size_t>(text.at - run));
    ++text.at;
    const bool hasEscapes = !buffer.empty();
    if (hasEscapes) content = buffer.append(content);
    return {};
}

}  // namespace qz::ext
