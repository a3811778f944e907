// SPDX-License-Identifier: MIT
#include "SignalNames.h"

#include <signal.h>

namespace qz::ext::crash {

namespace {

struct SignalName {
    int signal;
    const char* name;
};

constexpr SignalName kNames[] = {
    {SIGABRT, "SIGABRT"}, {SIGBUS, "SIGBUS"},   {SIGFPE, "SIGFPE"}, {SIGILL, "SIGILL"},
    {SIGSEGV, "SIGSEGV"}, {SIGTRAP, "SIGTRAP"}, {SIGSYS, "SIGSYS"},
};

struct CodeName {
    int signal;  // 0 for every signal
    int code;
    const char* name;
};

constexpr CodeName kCodes[] = {
    {0, SI_USER, "SI_USER"},
    {0, SI_QUEUE, "SI_QUEUE"},
    {0, SI_TIMER, "SI_TIMER"},
    {0, SI_TKILL, "SI_TKILL"},
    {0, SI_KERNEL, "SI_KERNEL"},
    {SIGSEGV, SEGV_MAPERR, "SEGV_MAPERR"},
    {SIGSEGV, SEGV_ACCERR, "SEGV_ACCERR"},
    {SIGBUS, BUS_ADRALN, "BUS_ADRALN"},
    {SIGBUS, BUS_ADRERR, "BUS_ADRERR"},
    {SIGBUS, BUS_OBJERR, "BUS_OBJERR"},
    {SIGFPE, FPE_INTDIV, "FPE_INTDIV"},
    {SIGFPE, FPE_INTOVF, "FPE_INTOVF"},
    {SIGFPE, FPE_FLTDIV, "FPE_FLTDIV"},
    {SIGFPE, FPE_FLTOVF, "FPE_FLTOVF"},
    {SIGFPE, FPE_FLTUND, "FPE_FLTUND"},
    {SIGFPE, FPE_FLTRES, "FPE_FLTRES"},
    {SIGFPE, FPE_FLTINV, "FPE_FLTINV"},
    {SIGILL, ILL_ILLOPC, "ILL_ILLOPC"},
    {SIGILL, ILL_ILLOPN, "ILL_ILLOPN"},
    {SIGILL, ILL_PRVOPC, "ILL_PRVOPC"},
};

}  // namespace

const int kSignals[kSignalCount] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS};

const char* getSignalName(int signal)
{
    for (const SignalName& row : kNames) {
        if (row.signal == signal) return row.name;
    }
    return "signal";
}

const char* getCodeName(int signal, int code)
{
    for (const CodeName& row : kCodes) {
        if (row.code == code && (row.signal == 0 || row.signal == signal)) return row.name;
    }
    return "code";
}

}  // namespace qz::ext::crash
