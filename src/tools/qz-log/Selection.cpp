// SPDX-License-Identifier: MIT
#include "Selection.h"

#include <cstring>

namespace qzlog {

namespace {

bool hasText(std::string_view bytes, const std::string& text)
{
    return ::memmem(bytes.data(), bytes.size(), text.data(), text.size()) != nullptr;
}

// An entry without a time counts as one of the same time as the entry before it.
bool isInTime(const LogFile& file, const Filter& filter)
{
    if (!filter.fromMs && !filter.toMs) return true;
    if (!file.hasTime()) return false;
    const long timeMs = file.getTimeMs();
    return (!filter.fromMs || timeMs >= *filter.fromMs) && (!filter.toMs || timeMs <= *filter.toMs);
}

// Whether an entry is as the filter requires, apart from its text.
bool isPrefixSelected(const LogFile& file, const Filter& filter)
{
    const Entry& entry = file.getEntry();
    const bool mustHavePrefix = filter.processId != 0 || !filter.subType.empty();
    if (!entry.hasPrefix && mustHavePrefix) return false;
    if (filter.processId != 0 && entry.line.processId != static_cast<long>(filter.processId))
        return false;
    if (!filter.subType.empty() && entry.line.subType != filter.subType) return false;
    return isInTime(file, filter);
}

// Lines that come later are shown with their entry, and also if they contain the text themselves.
bool isShown(LogFile& file, const Filter& filter)
{
    const Entry& entry = file.getEntry();
    LogFile::Decision& decision = file.editDecision();
    if (!entry.isContinuation) decision = {isPrefixSelected(file, filter), /*isShown=*/false};
    const bool hasWanted = filter.text.empty() || hasText(entry.bytes, filter.text);
    decision.isShown = decision.isPrefixSelected && (decision.isShown || hasWanted);
    return decision.isShown;
}

}  // namespace

bool findNext(LogFile& file, const Filter& filter)
{
    while (file.next()) {
        if (isShown(file, filter)) return true;
    }
    return false;
}

}  // namespace qzlog
