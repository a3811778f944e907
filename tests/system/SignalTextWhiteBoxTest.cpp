// SPDX-License-Identifier: MIT
#include <signal.h>

#include <climits>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "frame/base/WatchedSignals.h"
#include "system/SignalText.h"

namespace qz {

namespace {

std::string getCodeText(int signal, int code)
{
    std::ostringstream text;
    writeSignalCode(text, signal, code);
    return text.str();
}

std::string getSignalText(int signal)
{
    std::ostringstream text;
    writeSignal(text, signal);
    return text.str();
}

// Whatever isn't named below.
constexpr int kOther = SIGALRM;

struct CodeRow {
    int signal;
    int code;
    const char* text;
};

constexpr CodeRow kCodeRows[] = {
    {SIGILL, 1, " (ILL_ILLOPC)"},
    {SIGILL, 2, " (ILL_ILLOPN)"},
    {SIGILL, 3, " (ILL_ILLADR)"},
    {SIGILL, 4, " (ILL_ILLTRP)"},
    {SIGILL, 5, " (ILL_PRVOPC)"},
    {SIGILL, 6, " (ILL_PRVREG)"},
    {SIGILL, 7, " (ILL_COPROC)"},
    {SIGILL, 8, " (ILL_BADSTK)"},
    {SIGILL, 9, " (si_code=9)"},
    {SIGBUS, 1, " (BUS_ADRALN)"},
    {SIGBUS, 2, " (BUS_ADRERR)"},
    {SIGBUS, 3, " (BUS_OBJERR)"},
    {SIGBUS, 4, " (si_code=4)"},
    {SIGFPE, 1, " (FPE_INTDIV)"},
    {SIGFPE, 2, " (FPE_INTOVF)"},
    {SIGFPE, 3, " (FPE_FLTDIV)"},
    {SIGFPE, 4, " (FPE_FLTOVF)"},
    {SIGFPE, 5, " (FPE_FLTUND)"},
    {SIGFPE, 6, " (FPE_FLTRES)"},
    {SIGFPE, 7, " (FPE_FLTINV)"},
    {SIGFPE, 8, " (FPE_FLTSUB)"},
    {SIGFPE, 9, " (si_code=9)"},
    {SIGSEGV, 1, " (SEGV_MAPERR)"},
    {SIGSEGV, 2, " (SEGV_ACCERR)"},
    {SIGSEGV, 3, " (si_code=3)"},
    {SIGCHLD, 1, " (CLD_EXITED)"},
    {SIGCHLD, 2, " (CLD_KILLED)"},
    {SIGCHLD, 3, " (CLD_DUMPED)"},
    {SIGCHLD, 4, " (CLD_TRAPPED)"},
    {SIGCHLD, 5, " (CLD_STOPPED)"},
    {SIGCHLD, 6, " (CLD_CONTINUED)"},
    {SIGCHLD, 7, " (si_code=7)"},
    {SIGIO, 1, " (POLL_IN)"},
    {SIGIO, 2, " (POLL_OUT)"},
    {SIGIO, 3, " (POLL_MSG)"},
    {SIGIO, 4, " (POLL_ERR)"},
    {SIGIO, 5, " (POLL_PRI)"},
    {SIGIO, 6, " (POLL_HUP)"},
    {SIGIO, 7, " (si_code=7)"},
    {SIGTRAP, 1, " (si_code=1)"},
    {SIGSYS, 1, " (si_code=1)"},
    {kOther, 1, " (si_code=1)"},
    {kOther, 127, " (si_code=127)"},
    {kOther, 129, " (si_code=129)"},
    {kOther, -7, " (si_code=-7)"},
    {kOther, INT_MAX, " (si_code=2147483647)"},
    {kOther, INT_MIN, " (si_code=-2147483648)"},
};

struct GenericRow {
    int code;
    const char* text;
};

constexpr GenericRow kGenericRows[] = {
    {0, " (SI_USER)"},     {-1, " (SI_QUEUE)"}, {-2, " (SI_TIMER)"},  {-3, " (SI_MESGQ )"},
    {-4, " (SI_ASYNCIO)"}, {-5, " (SI_SIGIO)"}, {-6, " (SI_TKILL )"}, {128, " (SI_KERNEL)"},
};

struct SignalRow {
    int number;
    const char* text;
    bool isFatal = false;
    bool wantsTrace = false;
};

constexpr SignalRow kSignalRows[] = {
    {1, "Got signal (SIGHUP 1) Hangup", true},
    {2, "Got signal (SIGINT 2) Interrupt", true},
    {3, "Got signal (SIGQUIT 3) Quit", true},
    {4, "Got signal (SIGILL 4) Illegal instruction", true, true},
    {5, "Got signal (SIGTRAP 5) Trace/breakpoint trap", true, true},
    {6, "Got signal (SIGABRT 6) Aborted"},
    {7, "Got signal (SIGBUS 7) Bus error", true, true},
    {8, "Got signal (SIGFPE 8) Floating point exception", true, true},
    {9, "Got signal (9) Killed"},
    {10, "Got signal (SIGUSR1 10) User defined signal 1"},
    {11, "Got signal (SIGSEGV 11) Segmentation fault", true, true},
    {12, "Got signal (SIGUSR2 12) User defined signal 2"},
    {13, "Got signal (SIGPIPE 13) Broken pipe", true},
    {14, "Got signal (14) Alarm clock"},
    {15, "Got signal (SIGTERM 15) Terminated"},
    {17, "Got signal (17) Child exited"},
    {18, "Got signal (18) Continued"},
    {20, "Got signal (SIGTSTP 20) Stopped"},
    {21, "Got signal (SIGTTIN 21) Stopped (tty input)"},
    {22, "Got signal (SIGTTOU 22) Stopped (tty output)"},
    {23, "Got signal (SIGURG 23) Urgent I/O condition"},
    {24, "Got signal (SIGXCPU 24) CPU time limit exceeded"},
    {25, "Got signal (SIGXFSZ 25) File size limit exceeded"},
    {26, "Got signal (SIGVTALRM 26) Virtual timer expired"},
    {27, "Got signal (SIGPROF 27) Profiling timer expired"},
    {29, "Got signal (29) I/O possible"},
    {30, "Got signal (SIGPWR 30) Power failure"},
    {31, "Got signal (SIGSYS 31) Bad system call", true},
    {99, "Got signal (99) Unknown signal 99"},
};

}  // namespace

TEST(SignalTextTest, NamesTheCodesOfASignal)
{
    for (const CodeRow& row : kCodeRows)
        EXPECT_EQ(getCodeText(row.signal, row.code), row.text) << row.signal << ' ' << row.code;
}

TEST(SignalTextTest, NamesTheGenericCodesForAllSignals)
{
    for (int signal = 1; signal <= 64; ++signal) {
        for (const GenericRow& row : kGenericRows)
            EXPECT_EQ(getCodeText(signal, row.code), row.text) << signal;
    }
}

TEST(SignalTextTest, NamesSignalsAndDecidesAboutThem)
{
    for (const SignalRow& row : kSignalRows) {
        EXPECT_EQ(getSignalText(row.number), row.text);
        EXPECT_EQ(decideAboutSignal(row.number).isFatal, row.isFatal) << row.text;
        EXPECT_EQ(decideAboutSignal(row.number).wantsTrace, row.wantsTrace) << row.text;
    }
}

TEST(SignalTextTest, KnowsTheSignalsThatAThreadBringsUponItself)
{
    std::string faults;
    for (const WatchedSignal& watched : kWatchedSignals) {
        if (watched.isFault) faults += std::string(watched.name) + ' ';
    }
    EXPECT_EQ(faults, "SIGABRT SIGBUS SIGFPE SIGILL SIGSEGV SIGSYS SIGTRAP ");
}

}  // namespace qz
