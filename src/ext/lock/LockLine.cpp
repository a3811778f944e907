#include "LockLine.h"

#include <charconv>

namespace qz::ext {

namespace {

constexpr std::string_view kStart = "Lock of process ";
constexpr std::string_view kBetween = ", ";

// The name of a program without what would control a terminal or end a line of a log.
std::string makePrintable(std::string_view program)
{
    std::string text(program);
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '?';
    }
    return text;
}

}  // namespace

std::string formatLockLine(const LockHolder& holder)
{
    std::string line(kStart);
    line += std::to_string(holder.pid);
    line += kBetween;
    line += makePrintable(holder.program).substr(0, kMaxLockLineBytes - 1 - line.size());
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
        holder.program = makePrintable(text.substr(kBetween.size()));
    return holder;
}

bool isLockText(std::string_view text)
{
    return text.empty() || text.substr(0, kStart.size()) == kStart;
}

}  // namespace qz::ext
