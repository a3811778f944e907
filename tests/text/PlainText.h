// SPDX-License-Identifier: MIT
#pragma once

// The text helpers in their plain form: step by step, and as slow as that is. The real ones take
// short ways and must not differ from these.

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace qz::plain {

/// What the tests take for a position that isn't there.
constexpr std::size_t kNone = std::string::npos;

/// The size of the well-formed sequence at the beginning; 0 when there is none.
inline std::size_t getSequenceSize(std::string_view text)
{
    const auto at = [&](std::size_t i) -> std::uint32_t {
        return static_cast<unsigned char>(text[i]);
    };
    const std::uint32_t lead = at(0);
    if (lead < 0x80) return 1;
    const std::size_t size = lead >> 5U == 6 ? 2 : lead >> 4U == 14 ? 3 : lead >> 3U == 30 ? 4 : 0;
    if (size == 0 || text.size() < size) return 0;
    std::uint32_t value = lead & (0x7FU >> size);
    for (std::size_t i = 1; i < size; ++i) {
        if (at(i) >> 6U != 2) return 0;
        value = value << 6U | (at(i) & 0x3FU);
    }
    constexpr std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
    return value >= kLeast[size] && value < 0x110000 && !isSurrogate ? size : 0;
}

/// The number of code points; `kNone` for a text that isn't well formed.
inline std::size_t countUtf8(std::string_view text)
{
    std::size_t count = 0;
    for (; !text.empty(); ++count) {
        const std::size_t size = getSequenceSize(text);
        if (size == 0) return kNone;
        text.remove_prefix(size);
    }
    return count;
}

inline std::string lower(std::string text)
{
    for (char& byte : text)
        byte = static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
    return text;
}

inline std::size_t findIgnoringCase(const std::string& text, const std::string& what,
                                    std::size_t from)
{
    return lower(text).find(lower(what), from);
}

/// All places of `what`, none overlapping the one before.
inline std::vector<std::size_t> findAll(std::string_view text, std::string_view what)
{
    std::vector<std::size_t> places;
    for (std::size_t place = text.find(what); place != kNone;
         place = text.find(what, place + what.size())) {
        places.push_back(place);
    }
    return places;
}

inline unsigned replaceAll(std::string& text, const std::string& from, const std::string& to)
{
    unsigned count = 0;
    for (std::size_t place = text.find(from); place != kNone;
         place = text.find(from, place + to.size())) {
        text.replace(place, from.size(), to);
        ++count;
    }
    return count;
}

inline std::string escapeXml(std::string_view text)
{
    std::string result;
    for (const char byte : text) {
        switch (byte) {
            case '"':
                result += "&quot;";
                break;
            case '\'':
                result += "&apos;";
                break;
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            default:
                result += byte;
        }
    }
    return result;
}

/// 1 and 0 for the words of true and false, -1 for any other text.
inline int parseBool(std::string text)
{
    const auto isBlank = [](char byte) {
        return std::isspace(static_cast<unsigned char>(byte)) != 0;
    };
    text = lower(text);
    while (!text.empty() && isBlank(text.front()))
        text.erase(0, 1);
    while (!text.empty() && isBlank(text.back()))
        text.pop_back();
    for (const char* word : {"t", "true", "1", "on"}) {
        if (text == word) return 1;
    }
    for (const char* word : {"f", "false", "0", "off"}) {
        if (text == word) return 0;
    }
    return -1;
}

/// Every text up to `longest` letters of the alphabet, the shorter ones first.
inline std::vector<std::string> makeAllTexts(std::string_view alphabet, std::size_t longest)
{
    std::vector<std::string> texts = {""};
    for (std::size_t begin = 0, size = 0; size < longest; ++size) {
        const std::size_t end = texts.size();
        for (; begin < end; ++begin) {
            for (const char letter : alphabet)
                texts.push_back(texts[begin] + letter);
        }
    }
    return texts;
}

inline std::size_t choose(std::mt19937& random, std::size_t count)
{
    return random() % count;
}

inline std::string makeText(std::mt19937& random, std::string_view alphabet, std::size_t size)
{
    std::string text;
    for (std::size_t i = 0; i < size; ++i)
        text += alphabet[choose(random, alphabet.size())];
    return text;
}

/// The seeds of all generated texts; a failure prints its own.
constexpr unsigned kSeeds[] = {1, 2, 3, 20261114};

}  // namespace qz::plain
