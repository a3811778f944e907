// SPDX-License-Identifier: MIT
#include "LockLine.h"

#include <algorithm>
#include <charconv>

#include <qz/ext/PrintableText.h>

namespace qz::ext {

namespace {

constexpr std::string_view kStart = "Lock of process ";
constexpr std::string_view kBetween = ", ";

// The start of a text in UTF-8, without a part of a character.
std::string shorten(const std::string& text, std::size_t maxBytes)
{
    if (text.size() <= maxBytes) return text;
    const auto isInside = [&](std::size_t at) {
        return (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80;
    };
    while (maxBytes > 0 && isInside(maxBytes))
        --maxBytes;
    return text.substr(0, maxBytes);
}

}  // namespace

std::string formatLockLine(const LockHolder& holder)
{
    std::string line(kStart);
    line += std::to_string(holder.pid);
    line += kBetween;
    line += shorten(makePrintable(holder.program), kMaxLockLineBytes - 1 - line.size());
    return line + '\n';
}

LockHolder parseLockLine(std::string_view text)
{
    if (!isLockText(text)) return {};
    text = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(kStart.size(), text.size()));
    LockHolder holder;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), holder.pid);
    // The numbers below stand for groups of processes, in case somebody sends a signal there.
    if (error != std::errc() || holder.pid <= 0) return {};
    text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
    if (text.substr(0, kBetween.size()) == kBetween)
        holder.program = makePrintable(std::string(text.substr(kBetween.size())));
    return holder;
}

bool isLockText(std::string_view text)
{
    return text.empty() || text.substr(0, kStart.size()) == kStart;
}

}  // namespace qz::ext
