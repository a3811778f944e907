// SPDX-License-Identifier: MIT
#include "JsonPath.h"

#include <algorithm>

#include "JsonCharacters.h"

namespace qz::ext {

namespace {

constexpr std::size_t kMaxKeyBytes = 64;

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool isWord(std::string_view key)
{
    const auto isPart = [](char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '-'; };
    return !key.empty() && key.size() <= kMaxKeyBytes && isLetter(key[0]) &&
           std::all_of(key.begin(), key.end(), isPart);
}

void appendHexByte(std::string& text, char c)
{
    constexpr char digits[] = "0123456789abcdef";
    text += "\\x";
    text += digits[toByte(c) >> 4U];
    text += digits[toByte(c) & 0xFU];
}

}  // namespace

std::string quoteKey(std::string_view key)
{
    std::string text(1, '"');
    const char* const end = key.data() + key.size();
    for (const char* at = key.data(); at != end;) {
        if (text.size() > kMaxKeyBytes) {
            text += "...";
            break;
        }
        const Utf8Character character = decodeCharacter(at, end);
        const bool isPrintable = character.size > 1 || (character.value >= 0x20 && *at != '\x7f');
        const std::size_t size = character.size > 1 ? character.size : 1;
        if (*at == '"' || *at == '\\') text += '\\';
        if (isPrintable)
            text.append(at, size);
        else
            appendHexByte(text, *at);
        at += size;
    }
    return text + '"';
}

void appendKey(std::string& path, std::string_view key)
{
    if (!isWord(key)) {
        path += '[' + quoteKey(key) + ']';
        return;
    }
    if (!path.empty()) path += '.';
    path += key;
}

void appendIndex(std::string& path, std::size_t index)
{
    path += '[' + std::to_string(index) + ']';
}

}  // namespace qz::ext
