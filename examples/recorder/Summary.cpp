// SPDX-License-Identifier: MIT
#include "Summary.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <string>

#include <qz/qzSystemUtils.h>

namespace recorder {

namespace {

constexpr int kNameWidth = 24;
constexpr int kValueWidth = 14;

void printRow(const std::string& name, const std::string& value)
{
    std::cout << "  " << std::left << std::setw(kNameWidth) << name << std::right
              << std::setw(kValueWidth) << value << '\n';
}

std::string formatKiB(unsigned long bytes)
{
    return std::to_string(bytes / 1024) + " KiB";
}

// In units of 10^6 bytes; a run below a millisecond counts as one.
std::string formatRate(const Way& way)
{
    const unsigned long bytesPerMs = way.counts.bytesIn / std::max(way.durationMs, 1UL);
    return std::to_string(bytesPerMs / 1000) + "." + std::to_string(bytesPerMs / 100 % 10) +
           " MB/s";
}

}  // namespace

EntryCounter::EntryCounter()
{
    qz::qzLog::msInstance->installCustomHandler(Count, this);
}

EntryCounter::~EntryCounter()
{
    qz::qzLog::msInstance->installCustomHandler(nullptr, nullptr);
}

void EntryCounter::Count(std::list<qz::qzLog::LogEntry>& batch, void* counter)
{
    for (const qz::qzLog::LogEntry& entry : batch) {
        ++static_cast<EntryCounter*>(counter)->mCounts[entry.type];
    }
}

void addWay(Way& total, const Way& part)
{
    total.counts.files += part.counts.files;
    total.counts.records += part.counts.records;
    total.counts.bytesIn += part.counts.bytesIn;
    total.counts.bytesOut += part.counts.bytesOut;
    total.counts.memory = std::max(total.counts.memory, part.counts.memory);
    total.durationMs = std::max(total.durationMs, part.durationMs);
}

void printSummary(const Way& written, const Way& readBack, const EntryCounter& entries)
{
    const std::string rule = "  " + std::string(kNameWidth + kValueWidth, '-') + "\n";
    std::cout << '\n' << rule;
    printRow("files", std::to_string(written.counts.files));
    printRow("records", std::to_string(written.counts.records));
    printRow("bytes in", std::to_string(written.counts.bytesIn));
    printRow("bytes out", std::to_string(written.counts.bytesOut));
    printRow("written at", formatRate(written));
    printRow("read back at", formatRate(readBack));
    if (written.counts.memory != 0)
        printRow("collected in memory", formatKiB(written.counts.memory));
    const unsigned long resident =
        qz::qzSystemUtils::GetUsedRamQuantityInBytes(qz::qzSystemUtils::RamResident);
    printRow("resident at the end", formatKiB(resident));
    std::cout << rule;
    printRow("DEV entries", std::to_string(entries.getCount(qz::qzLog::Dev)));
    printRow("TRACE entries", std::to_string(entries.getCount(qz::qzLog::Trace)));
    printRow("DEBUG entries", std::to_string(entries.getCount(qz::qzLog::Debug)));
    printRow("INFO entries", std::to_string(entries.getCount(qz::qzLog::Info)));
    printRow("WARNING entries", std::to_string(entries.getCount(qz::qzLog::Warning)));
    printRow("CRITICAL entries", std::to_string(entries.getCount(qz::qzLog::Critical)));
    std::cout << rule << std::flush;
}

}  // namespace recorder
