// SPDX-License-Identifier: MIT
#include "Output.h"

#include <cerrno>

#include <unistd.h>

#include <qz/ext/PrintableText.h>

namespace qzlog {

namespace {

using qz::qzLog;

// What lines without a prefix begin with, which nobody can forge from within a message.
constexpr std::string_view kContinuation = "  | ";
constexpr std::string_view kDim = "\x1B[2m";
constexpr std::string_view kNormal = "\x1B[0m";

std::string_view getColour(int type)
{
    switch (type) {
        case qzLog::Critical:
            return "\x1B[1;31m";
        case qzLog::Warning:
            return "\x1B[33m";
        case qzLog::Info:
            return "\x1B[32m";
        default:
            return "\x1B[36m";
    }
}

// Calls `use` with each line.
template <typename Use>
void forEachLine(std::string_view text, const Use& use)
{
    for (;;) {
        const std::size_t end = text.find('\n');
        use(text.substr(0, end));
        if (end == std::string_view::npos) return;
        text.remove_prefix(end + 1);
    }
}

// A tab doesn't change other lines, and logs have many.
void appendEscaped(std::string& text, std::string_view line)
{
    for (;;) {
        const std::size_t end = line.find('\t');
        text += qz::ext::escaped(line.substr(0, end));
        if (end == std::string_view::npos) return;
        text += '\t';
        line.remove_prefix(end + 1);
    }
}

void appendPlain(std::string& text, const Entry& entry)
{
    bool isFirst = entry.hasPrefix;
    forEachLine(entry.bytes, [&](std::string_view line) {
        if (!isFirst) text += kContinuation;
        isFirst = false;
        if (entry.isDamaged)
            appendEscaped(text, line);
        else
            text += line;
        text += '\n';
    });
}

void appendColoured(std::string& text, const Entry& entry)
{
    bool isFirst = entry.hasPrefix;
    forEachLine(entry.bytes, [&](std::string_view line) {
        if (isFirst) {
            const std::size_t nameEnd = line.find_first_of(" (");
            text.append(getColour(entry.line.type)).append(line.substr(0, nameEnd));
            text += kNormal;
            line.remove_prefix(nameEnd);
        } else {
            text.append(kDim).append(kContinuation).append(kNormal);
        }
        isFirst = false;
        appendEscaped(text, line);
        text += '\n';
    });
}

void appendJson(std::string& text, const Entry& entry)
{
    if (entry.hasPrefix) {
        qz::ext::appendJsonLine(text, entry.line);
        return;
    }
    qz::ext::LogLine line;
    line.text = entry.bytes;
    qz::ext::appendJsonLine(text, line);
}

}  // namespace

bool Output::flush()
{
    std::string_view rest = mPending;
    while (mError == 0 && !rest.empty()) {
        const ssize_t count = ::write(STDOUT_FILENO, rest.data(), rest.size());
        if (count > 0)
            rest.remove_prefix(static_cast<std::size_t>(count));
        else if (count == 0 || errno != EINTR)
            mError = count == 0 ? EIO : errno;
    }
    mIsReaderGone = mError == EPIPE;
    mPending.clear();
    return mError == 0;
}

void appendEntry(std::string& text, const Entry& entry, Style style)
{
    switch (style) {
        case Style::Plain:
            return appendPlain(text, entry);
        case Style::Terminal:
            return appendColoured(text, entry);
        case Style::Json:
            return appendJson(text, entry);
    }
}

}  // namespace qzlog
