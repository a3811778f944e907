#include "LockLine.h"

#include <charconv>

namespace qz::ext {

namespace {

constexpr std::string_view kStart = "Lock of process ";
constexpr std::string_view kBetween = ", ";

}  // namespace

std::string formatLockLine(const LockHolder& holder)
{
    std::string line(kStart);
    line += std::to_string(holder.pid);
    line += kBetween;
    for (const char c : holder.program) {
        if (line.size() + 1 == kMaxLockLineBytes) break;
        line += static_cast<unsigned char>(c) < ' ' ? '?' : c;
    }
    return line + '\n';
}

LockHolder parseLockLine(std::string_view text)
{
    if (!isLockText(text)) return {};
    text = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(kStart.size(), text.size()));
    LockHolder holder;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), holder.pid);
    if (error != std::errc()) return {};
    text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
    if (text.substr(0, kBetween.size()) == kBetween)
        holder.program = std::string(text.substr(kBetween.size()));
    return holder;
}

bool isLockText(std::string_view text)
{
    return text.empty() || text.substr(0, kStart.size()) == kStart;
}

}  // namespace qz::ext
