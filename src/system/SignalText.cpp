// SPDX-License-Identifier: MIT
#include "SignalText.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "frame/base/WatchedSignals.h"

namespace qz {

namespace {

struct CodeText {
    int code;
    const char* text;
};

// Compatibility: two of the texts have a blank before the bracket.
constexpr CodeText kGenericCodes[] = {
    {0, " (SI_USER)"},     {-1, " (SI_QUEUE)"}, {-2, " (SI_TIMER)"},  {-3, " (SI_MESGQ )"},
    {-4, " (SI_ASYNCIO)"}, {-5, " (SI_SIGIO)"}, {-6, " (SI_TKILL )"}, {128, " (SI_KERNEL)"},
};

// Of the codes from 1 on, in their order.
constexpr const char* kIllegalCodes[] = {
    " (ILL_ILLOPC)", " (ILL_ILLOPN)", " (ILL_ILLADR)", " (ILL_ILLTRP)",
    " (ILL_PRVOPC)", " (ILL_PRVREG)", " (ILL_COPROC)", " (ILL_BADSTK)",
};
constexpr const char* kBusCodes[] = {" (BUS_ADRALN)", " (BUS_ADRERR)", " (BUS_OBJERR)"};
constexpr const char* kFloatCodes[] = {
    " (FPE_INTDIV)", " (FPE_INTOVF)", " (FPE_FLTDIV)", " (FPE_FLTOVF)",
    " (FPE_FLTUND)", " (FPE_FLTRES)", " (FPE_FLTINV)", " (FPE_FLTSUB)",
};
constexpr const char* kMemoryCodes[] = {" (SEGV_MAPERR)", " (SEGV_ACCERR)"};
constexpr const char* kChildCodes[] = {
    " (CLD_EXITED)",  " (CLD_KILLED)",  " (CLD_DUMPED)",
    " (CLD_TRAPPED)", " (CLD_STOPPED)", " (CLD_CONTINUED)",
};
constexpr const char* kPollCodes[] = {
    " (POLL_IN)", " (POLL_OUT)", " (POLL_MSG)", " (POLL_ERR)", " (POLL_PRI)", " (POLL_HUP)",
};

struct SignalRow {
    int number;
    SignalDecision decision;
    const char* const* codes;  // null for a signal that has none of its own
    int codeCount;
};

template <int N>
constexpr SignalRow withCodes(int number, SignalDecision decision, const char* const (&codes)[N])
{
    return {number, decision, codes, N};
}

constexpr SignalDecision kCrash = {/*isFatal=*/true, /*wantsTrace=*/true};
constexpr SignalDecision kEnd = {/*isFatal=*/true, /*wantsTrace=*/false};
constexpr SignalDecision kPassOn = {/*isFatal=*/false, /*wantsTrace=*/false};

// Every other signal is passed on and has generic codes.
constexpr SignalRow kRows[] = {
    {SIGHUP, kEnd, nullptr, 0},
    {SIGINT, kEnd, nullptr, 0},
    {SIGQUIT, kEnd, nullptr, 0},
    withCodes(SIGILL, kCrash, kIllegalCodes),
    {SIGTRAP, kCrash, nullptr, 0},
    withCodes(SIGBUS, kCrash, kBusCodes),
    withCodes(SIGFPE, kCrash, kFloatCodes),
    withCodes(SIGSEGV, kCrash, kMemoryCodes),
    {SIGPIPE, kEnd, nullptr, 0},
    withCodes(SIGCHLD, kPassOn, kChildCodes),
    withCodes(SIGIO, kPassOn, kPollCodes),
    {SIGSYS, kEnd, nullptr, 0},
};

const SignalRow* findRow(int signal)
{
    const auto* const found = std::find_if(std::begin(kRows), std::end(kRows),
                                           [&](const auto& row) { return row.number == signal; });
    return found != std::end(kRows) ? found : nullptr;
}

// Filled once, and never destroyed: a handler may read them at any time.
char gDescriptions[std::size(kWatchedSignals)][80];

std::string_view describe(int signal)
{
    const char* const description = ::strsignal(signal);
    return description != nullptr ? description : "";
}

std::string_view getDescription(int signal)
{
    const auto* const found =
        std::find_if(std::begin(kWatchedSignals), std::end(kWatchedSignals),
                     [&](const WatchedSignal& watched) { return watched.number == signal; });
    const auto index = static_cast<std::size_t>(found - std::begin(kWatchedSignals));
    const bool isCached = found != std::end(kWatchedSignals) && gDescriptions[index][0] != '\0';
    return isCached ? gDescriptions[index] : describe(signal);
}

}  // namespace

void cacheSignalDescriptions()
{
    if (gDescriptions[0][0] != '\0') return;
    for (std::size_t i = 0; i < std::size(gDescriptions); ++i) {
        describe(kWatchedSignals[i].number)
            .copy(gDescriptions[i], sizeof gDescriptions[i] - 1);  // before a NUL
    }
}

SignalDecision decideAboutSignal(int signal)
{
    const SignalRow* const row = findRow(signal);
    return row != nullptr ? row->decision : kPassOn;
}

void writeSignal(std::ostream& out, int signal)
{
    out << "Got signal (";
    for (const WatchedSignal& watched : kWatchedSignals) {
        if (watched.number == signal) out << watched.name << ' ';
    }
    out << signal << ')';
    const std::string_view description = getDescription(signal);
    if (!description.empty()) out << ' ' << description;
}

void writeSignalCode(std::ostream& out, int signal, int code)
{
    const SignalRow* const row = findRow(signal);
    if (row != nullptr && code >= 1 && code <= row->codeCount) {
        out << row->codes[code - 1];
        return;
    }
    for (const CodeText& generic : kGenericCodes) {
        if (generic.code == code) {
            out << generic.text;
            return;
        }
    }
    out << " (si_code=" << code << ')';
}

}  // namespace qz
