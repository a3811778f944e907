// SPDX-License-Identifier: MIT
#include "JsonPath.h"

#include <algorithm>

#include <qz/ext/PrintableText.h>

#include "base/Utf8Character.h"

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
        const std::size_t size = std::max(decodeCharacter(at, end).size, 1U);
        if (*at == '"' || *at == '\\') text += '\\';
        text.append(at, size);
        at += size;
    }
    return escaped(text) + '"';
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
