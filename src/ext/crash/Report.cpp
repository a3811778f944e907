// SPDX-License-Identifier: MIT
#include "Report.h"

#include <exception>
#include <iterator>
#include <string_view>
#include <typeinfo>

#include <cxxabi.h>
#include <sys/prctl.h>
#include <time.h>
#include <unistd.h>

#include "FaultGuard.h"
#include "SignalNames.h"

namespace qz::ext::crash {

namespace {

struct RegisterName {
    const char* name;
    int index;
};

constexpr RegisterName kRegisters[] = {
    {"rip", REG_RIP}, {"rsp", REG_RSP}, {"rbp", REG_RBP},    {"rax", REG_RAX},   {"rbx", REG_RBX},
    {"rcx", REG_RCX}, {"rdx", REG_RDX}, {"rsi", REG_RSI},    {"rdi", REG_RDI},   {"r8", REG_R8},
    {"r9", REG_R9},   {"r10", REG_R10}, {"r11", REG_R11},    {"r12", REG_R12},   {"r13", REG_R13},
    {"r14", REG_R14}, {"r15", REG_R15}, {"eflags", REG_EFL}, {"error", REG_ERR}, {"cr2", REG_CR2},
};

constexpr std::size_t kMostEndLines = 512;

long getTimeMs()
{
    timespec now = {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1'000'000;
}

}  // namespace

Report::Report(const Cause& cause, long number, Modules& modules, Frames& frames, SafeText& out)
    : mCause(cause), mNumber(number), mModules(modules), mFrames(frames), mOut(out)
{
}

void Report::write()
{
    mOut << "report " << SafeText::Number{mNumber};
    mOut.endLine();
    mOut << "time " << SafeText::Number{getTimeMs()};
    mOut.endLine();
    // However long the parts are, the end and the remarks have space.
    mOut.reserve(kMostEndLines);
    writePart("cause", &Report::writeCause);
    writePart("thread", &Report::writeThread);
    if (mCause.context != nullptr) writePart("registers", &Report::writeRegisters);
    writeStack();
    // The text of an exception is code of the program, so it comes last.
    if (mCause.signal == 0) writePart("exception", &Report::writeException);
    mOut.release(kMostEndLines);
    mOut << "end " << SafeText::Number{mNumber};
    mOut.endLine();
}

void Report::writeStack()
{
    if (mCause.context == nullptr) {
        writePart("stack", &Report::collectFrames);
    } else {
        // What `collectFrames` changes is restored also if it is ended.
        auto& registers = mCause.context->uc_mcontext.gregs;
        const greg_t instruction = registers[REG_RIP];
        const greg_t stack = registers[REG_RSP];
        mBadCall = static_cast<std::uintptr_t>(instruction);
        writePart("stack", &Report::collectFrames);
        registers[REG_RIP] = instruction;
        registers[REG_RSP] = stack;
    }
    writePart("names of the frames", &Report::writeFrames);
}

void Report::writePart(const char* name, Part part)
{
    if (mHasExpired) return;
    const int reason = runPart([this, part] { (this->*part)(); });
    if (reason == 0) return;
    mOut.endPart();
    mOut.release(kMostEndLines);
    mOut << "remark "
         << "the part '" << name << "' is incomplete: ";
    if (reason == kAlarmExpired) {
        mHasExpired = true;
        mOut << "it took too long";
    } else {
        mOut << "it was ended by " << getSignalName(reason);
    }
    mOut.endLine();
    mOut.reserve(kMostEndLines);
}

void Report::writeCause()
{
    if (mCause.signal == 0) {
        mOut << "cause "
             << "std::terminate";
        mOut.endLine();
        return;
    }
    const siginfo_t& info = *mCause.info;
    mOut << "cause " << getSignalName(mCause.signal) << " (" << SafeText::Number{mCause.signal}
         << "), " << getCodeName(mCause.signal, info.si_code) << " ("
         << SafeText::Number{info.si_code} << ")";
    if (info.si_code > 0) {
        mOut << ", at " << SafeText::Hex{reinterpret_cast<std::uintptr_t>(info.si_addr)};
    } else {
        mOut << ", from process " << SafeText::Number{info.si_pid} << " of user "
             << SafeText::Number{static_cast<long>(info.si_uid)};
    }
    mOut.endLine();
}

void Report::writeException()
{
    const std::type_info* const type = abi::__cxa_current_exception_type();
    if (type == nullptr) return;
    mOut << "exception " << SafeText::Foreign{type->name()};
    mOut.endLine();
    try {
        throw;
    } catch (const std::exception& error) {
        const char* const text = error.what();
        mOut << "text " << SafeText::Foreign{text};
        mOut.endLine();
    } catch (...) {  // NOLINT: of the others only the type is known
    }
}

void Report::writeThread()
{
    char name[17] = {};
    ::prctl(PR_GET_NAME, name);
    mOut << "thread " << SafeText::Number{::gettid()} << " " << SafeText::Foreign{name};
    mOut.endLine();
}

void Report::writeRegisters()
{
    for (const RegisterName& row : kRegisters) {
        const greg_t value = mCause.context->uc_mcontext.gregs[row.index];
        mOut << "register " << row.name << " " << SafeText::Hex{static_cast<std::uint64_t>(value)};
        mOut.endLine();
    }
}

void Report::collectFrames()
{
    if (mCause.context != nullptr) {
        mIsRewound = Frames::RewindBadCall(*mCause.info, *mCause.context);
        mFault = static_cast<std::uintptr_t>(mCause.context->uc_mcontext.gregs[REG_RIP]);
    }
    mFrames.collect();
}

void Report::writeFrames()
{
    if (mFault != 0) mFrames.begin(mFault);
    if (mIsRewound) Frames::Write({mBadCall, /*isReturn=*/false}, mModules, mOut);
    mFrames.write(mModules, mOut);
}

}  // namespace qz::ext::crash
