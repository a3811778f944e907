// SPDX-License-Identifier: MIT
#include "Show.h"

#include <algorithm>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>

#include <cxxabi.h>

#include <qz/ext/PrintableText.h>
#include <qz/qzSystemUtils.h>

#include "Symbols.h"

namespace {

using qz::ext::makePrintable;

// Some names are left as they are: the C++ library unravels long ones by recursion, and each
// reference to a part (S, T) can double what comes out.
std::string demangle(const std::string& type)
{
    constexpr std::size_t kLongest = 1024;
    constexpr long kMostReferences = 24;
    const long references = std::count_if(type.begin(), type.end(), [](char character) {
        return character == 'S' || character == 'T';
    });
    if (type.size() > kLongest || references > kMostReferences) return type;
    const auto release = [](char* text) { std::free(text); };
    const std::unique_ptr<char, decltype(release)> name(
        abi::__cxa_demangle(type.c_str(), nullptr, nullptr, nullptr), release);
    return name != nullptr ? name.get() : type;
}

std::string toHex(std::uint64_t value)
{
    std::ostringstream text;
    text << std::hex << std::showbase << value;
    return text.str();
}

// "shop+0x1f", or the bare address for a frame in no file.
std::string describePlace(const qz::ext::CrashFrame& frame)
{
    if (frame.file.empty()) return toHex(frame.address);
    return frame.file.substr(frame.file.rfind('/') + 1) + "+" + toHex(frame.offset);
}

void showFrame(std::size_t number, const qz::ext::CrashFrame& frame, const Symbols& symbols)
{
    const std::string place = makePrintable(describePlace(frame));
    std::cout << "  #" << std::left << std::setw(3) << number;
    const std::vector<SourcePlace>& sources = symbols.find(frame);
    if (sources.empty() || sources[0].function == "??") {
        std::cout << ' ' << place << '\n';
        return;
    }
    for (std::size_t i = 0; i < sources.size(); ++i) {
        if (i != 0) std::cout << "      ";
        std::cout << ' ' << makePrintable(sources[i].function);
        if (sources[i].hasLine()) std::cout << " at " << makePrintable(sources[i].line);
        if (i + 1 != sources.size()) std::cout << " (inlined)";
        std::cout << (i == 0 ? "  [" + place + "]\n" : "\n");
    }
}

void showEvent(const qz::ext::CrashEvent& event, const Symbols& symbols, const ShowOptions& options)
{
    std::cout << "\nreport " << event.number << ": " << makePrintable(event.cause) << "\n  "
              << describeTime(event.timeMs) << ", thread " << makePrintable(event.thread) << '\n';
    if (!event.exceptionType.empty())
        std::cout << "  exception " << makePrintable(demangle(event.exceptionType)) << ": "
                  << makePrintable(event.exceptionText) << '\n';
    for (std::size_t i = 0; i < event.frames.size(); ++i)
        showFrame(i, event.frames[i], symbols);
    for (const std::string& remark : event.remarks)
        std::cout << "  " << makePrintable(remark) << '\n';
    if (!event.isComplete) std::cout << "  the report is incomplete: the process ended meanwhile\n";
    if (!options.showsRegisters) return;
    for (const std::string& value : event.registers)
        std::cout << "  " << makePrintable(value) << '\n';
}

// Lines after the first one are indented, so that no text can pass for another entry.
void showEntry(const std::string& entry)
{
    std::istringstream stream(entry);
    const char* indentation = "";
    for (std::string line; std::getline(stream, line); indentation = "    ")
        std::cout << indentation << makePrintable(line.substr(line[0] == '\t' ? 1 : 0)) << '\n';
}

void showEntries(const std::vector<std::string>& entries, const ShowOptions& options)
{
    if (entries.empty() || options.mostEntries == 0) return;
    std::cout << "\nthe last log entries:\n";
    const std::size_t count = std::min(options.mostEntries, entries.size());
    for (std::size_t i = entries.size() - count; i < entries.size(); ++i)
        showEntry(entries[i]);
}

}  // namespace

void show(const qz::ext::CrashReport& report, const ShowOptions& options)
{
    const Symbols symbols(report);
    for (const std::string& remark : symbols.getRemarks())
        std::cerr << "qz-crash: " << makePrintable(remark) << '\n';
    std::cout << "program: " << makePrintable(report.program) << "\nprocess: " << report.processId
              << ", since " << describeTime(report.startMs) << "\nend: " << describeEnd(report)
              << '\n';
    for (const qz::ext::CrashEvent& event : report.events)
        showEvent(event, symbols, options);
    showEntries(report.entries, options);
}

std::string describeEnd(const qz::ext::CrashReport& report)
{
    if (report.events.empty())
        return report.isRunning ? "none, the process is running"
                                : "without a report: killed, or by a signal such as SIGTERM";
    const std::string cause = makePrintable(report.events[0].cause);
    if (report.isRunning) return "none, the process is running after " + cause;
    return (report.hasEndedNormally ? "normal, after " : "abnormal, after ") + cause;
}

std::string describeTime(long timeMs)
{
    return qz::qzSystemUtils::ConvertSecElapsedSinceEpochToString(timeMs / 1000,
                                                                  "%Y-%m-%d %H:%M:%S", true);
}
