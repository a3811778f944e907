// SPDX-License-Identifier: MIT
#pragma once

// The compare of versions in its plain form; the real one must not differ from it.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace qz::plain {

/// Step by step, with a text of its own for each component.
inline std::optional<std::vector<std::uint32_t>> parseVersion(std::string text, std::size_t bound)
{
    const auto isBlank = [](char byte) {
        return std::string(" \t\n\v\f\r").find(byte) != std::string::npos;
    };
    while (!text.empty() && isBlank(text.front()))
        text.erase(0, 1);
    while (!text.empty() && isBlank(text.back()))
        text.pop_back();
    text = text.substr(0, text.find(' '));
    std::vector<std::string> tokens(1);
    for (const char byte : text) {
        if (byte == '.')
            tokens.emplace_back();
        else
            tokens.back() += byte;
    }
    std::vector<std::uint32_t> numbers;
    for (std::size_t i = 0; i < tokens.size() && i < bound; ++i) {
        char* end = nullptr;
        const long long value = std::strtoll(tokens[i].c_str(), &end, 0);
        if (end != tokens[i].c_str() + tokens[i].size()) return std::nullopt;
        if (value < 0 || value > 0xFFFFFFFFLL) return std::nullopt;
        numbers.push_back(static_cast<std::uint32_t>(value));
    }
    if (numbers.empty()) return std::nullopt;
    return numbers;
}

inline int compareVersions(const std::string& a, const std::string& b, std::size_t bound)
{
    auto ofA = parseVersion(a, bound);
    const auto ofB = parseVersion(b, bound);
    if (!ofA || !ofB) return 1;
    const std::size_t count = std::min(bound, ofB->size());
    ofA->resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        if ((*ofA)[i] != (*ofB)[i]) return (*ofA)[i] < (*ofB)[i] ? 3 : 4;
    }
    return 2;
}

}  // namespace qz::plain
