// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

#include <qz/qzVariant.h>

namespace qz::plain {

/// Reads JSON as the grammar is written, a function a rule, with recursion and without a thought of
/// speed. Keys that occur twice are refused, and so are numbers that would change.
class JsonParser {
public:
    explicit JsonParser(std::string text) : mText(std::move(text)) {}

    std::optional<qzVariant> parse()
    {
        qzVariant value;
        skipSpace();
        if (!parseValue(value)) return std::nullopt;
        skipSpace();
        if (mAt != mText.size()) return std::nullopt;
        return value;
    }

private:
    int peek() const { return mAt < mText.size() ? static_cast<unsigned char>(mText[mAt]) : -1; }
    bool skip(char c)
    {
        if (peek() != c) return false;
        ++mAt;
        return true;
    }
    bool skip(const std::string& word)
    {
        if (mText.compare(mAt, word.size(), word) != 0) return false;
        mAt += word.size();
        return true;
    }
    void skipSpace()
    {
        while (skip(' ') || skip('\t') || skip('\n') || skip('\r')) {
        }
    }

    bool parseValue(qzVariant& value)
    {
        if (skip('[')) return parseArray(value);
        if (skip('{')) return parseObject(value);
        if (skip("null")) return true;
        if (skip("true")) return set(value, true);
        if (skip("false")) return set(value, false);
        if (peek() != '"') return parseNumber(value);
        std::string text;
        if (!parseString(text)) return false;
        value = text;
        return true;
    }

    static bool set(qzVariant& value, bool truth)
    {
        value = truth;
        return true;
    }

    bool parseArray(qzVariant& value)
    {
        qzVariant::qzVariantListImpl list;
        skipSpace();
        if (!skip(']')) {
            do {
                skipSpace();
                if (!parseValue(list.emplace_back())) return false;
                skipSpace();
            } while (skip(','));
            if (!skip(']')) return false;
        }
        value = qzVariant(std::move(list));
        return true;
    }

    bool parseObject(qzVariant& value)
    {
        qzVariant::qzVariantMapImpl map;
        skipSpace();
        if (!skip('}')) {
            do {
                std::string key;
                skipSpace();
                if (!parseString(key) || map.count(key) != 0) return false;
                skipSpace();
                if (!skip(':')) return false;
                skipSpace();
                if (!parseValue(map[key])) return false;
                skipSpace();
            } while (skip(','));
            if (!skip('}')) return false;
        }
        value = qzVariant(std::move(map));
        return true;
    }

    bool skipDigits()
    {
        const std::size_t begin = mAt;
        while (peek() >= '0' && peek() <= '9')
            ++mAt;
        return mAt != begin;
    }

    bool parseNumber(qzVariant& value)
    {
        const std::size_t begin = mAt;
        skip('-');
        if (!skip('0') && !skipDigits()) return false;
        bool isReal = mText.substr(begin, mAt - begin) == "-0";
        if (skip('.')) {
            isReal = true;
            if (!skipDigits()) return false;
        }
        if (skip('e') || skip('E')) {
            isReal = true;
            if (!skip('+')) skip('-');
            if (!skipDigits()) return false;
        }
        const std::string token = mText.substr(begin, mAt - begin);
        return isReal ? convertReal(token, value) : convertInteger(token, value);
    }

    static bool convertReal(const std::string& token, qzVariant& value)
    {
        const double real = std::strtod(token.c_str(), nullptr);
        value = real;
        return real - real == 0;  // finite
    }

    static bool convertInteger(const std::string& token, qzVariant& value)
    {
        errno = 0;
        value = std::strtol(token.c_str(), nullptr, 10);
        if (errno == 0) return true;
        if (!convertReal(token, value)) return false;
        char digits[400];
        std::snprintf(digits, sizeof digits, "%.0f", value.toReal());
        return digits == token;
    }

    bool parseString(std::string& text)
    {
        if (!skip('"')) return false;
        while (!skip('"')) {
            char32_t character = 0;
            if (!parseCharacter(character)) return false;
            append(text, character);
        }
        return true;
    }

    // The bytes of a character after the first one; -1 if none begins so.
    static int countMoreBytes(int lead)
    {
        if (lead < 0x80) return 0;
        if (lead < 0xC0 || lead >= 0xF8) return -1;
        return lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    }

    bool parseCharacter(char32_t& character)
    {
        if (skip('\\')) return parseEscape(character);
        const int lead = peek();
        if (lead < 0x20) return false;
        ++mAt;
        int more = countMoreBytes(lead);
        if (more < 0) return false;
        character = static_cast<char32_t>(lead & (more == 0 ? 0x7F : 0x3F >> more));
        std::string bytes(1, static_cast<char>(lead));
        for (; more > 0; --more) {
            const int next = peek();
            if (next < 0x80 || next > 0xBF) return false;
            character = character * 64 + static_cast<char32_t>(next - 0x80);
            bytes += static_cast<char>(next);
            ++mAt;
        }
        std::string shortest;
        append(shortest, character);
        return shortest == bytes && !isHalf(character, 0xD800) && !isHalf(character, 0xDC00) &&
               character <= 0x10FFFF;
    }

    bool parseEscape(char32_t& character)
    {
        const std::string names = "\"\\/bfnrt";
        const std::string values = "\"\\/\b\f\n\r\t";
        const std::size_t number = peek() < 0 ? names.npos : names.find(mText[mAt]);
        if (number != names.npos) {
            character = static_cast<char32_t>(values[number]);
            ++mAt;
            return true;
        }
        if (!skip('u') || !parseHex(character)) return false;
        if (isHalf(character, 0xDC00)) return false;
        if (!isHalf(character, 0xD800)) return true;
        char32_t second = 0;
        if (!skip("\\u") || !parseHex(second) || !isHalf(second, 0xDC00)) return false;
        character = 0x10000 + (character - 0xD800) * 0x400 + (second - 0xDC00);
        return true;
    }

    bool parseHex(char32_t& value)
    {
        const std::string token = mText.substr(mAt, 4);
        if (token.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) return false;
        if (token.size() != 4) return false;
        mAt += 4;
        value = static_cast<char32_t>(std::strtoul(token.c_str(), nullptr, 16));
        return true;
    }

    static bool isHalf(char32_t value, char32_t first)
    {
        return value >= first && value < first + 0x400;
    }

    static void append(std::string& text, char32_t character)
    {
        if (character < 0x80) {
            text += static_cast<char>(character);
            return;
        }
        std::string more;
        char32_t firstLimit = 0x40;
        char32_t lead = 0x80;
        while (character >= firstLimit) {
            more.insert(more.begin(), static_cast<char>(0x80 + character % 64));
            character /= 64;
            lead = lead / 2 + 0x80;
            firstLimit = firstLimit == 0x40 ? 0x20 : firstLimit / 2;
        }
        text += static_cast<char>(lead + character);
        text += more;
    }

    std::string mText;
    std::size_t mAt = 0;
};

}  // namespace qz::plain
