// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <random>
#include <string>

namespace qz {

/// Gives `visit` each text of up to `length` bytes over an alphabet, the empty one first.
template <typename Visit>
void visitTexts(const std::string& alphabet, std::size_t length, const Visit& visit,
                const std::string& text = {})
{
    visit(text);
    if (text.size() == length) return;
    for (const char byte : alphabet)
        visitTexts(alphabet, length, visit, text + byte);
}

/// A text of chance over an alphabet.
inline std::string makeText(std::mt19937& random, const std::string& alphabet, std::size_t length)
{
    std::string text(length, '\0');
    for (char& byte : text)
        byte = alphabet[random() % alphabet.size()];
    return text;
}

}  // namespace qz
