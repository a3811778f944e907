// SPDX-License-Identifier: MIT
#include "Frames.h"

#include <unwind.h>

namespace qz::ext::crash {

namespace {

_Unwind_Reason_Code addFrame(_Unwind_Context* context, void* frames)
{
    int isBeforeInstruction = 0;
    const std::uintptr_t address = ::_Unwind_GetIPInfo(context, &isBeforeInstruction);
    if (address == 0) return _URC_NORMAL_STOP;
    const bool hasSpace = static_cast<Frames*>(frames)->add(address, isBeforeInstruction == 0);
    return hasSpace ? _URC_NO_REASON : _URC_NORMAL_STOP;
}

}  // namespace

bool Frames::add(std::uintptr_t address, bool isReturn)
{
    if (mCount == kMost) return false;
    mFrames[mCount] = {address, isReturn};
    mCount = mCount + 1;
    return true;
}

// The unwinder of this compiler's library takes no memory and, with a C library that has
// `_dl_find_object`, no lock.
void Frames::collect()
{
    mFirst = 0;
    mCount = 0;
    ::_Unwind_Backtrace(&addFrame, this);
}

void Frames::begin(std::uintptr_t fault)
{
    for (std::size_t i = 0; i < mCount; ++i) {
        if (mFrames[i].address != fault) continue;
        mFirst = i;
        return;
    }
    // The stack can't be unwound as far as that.
    mFrames[0] = {fault, false};
    mFirst = 0;
    mCount = 1;
}

void Frames::write(Modules& modules, SafeText& out) const
{
    for (std::size_t i = mFirst; i < mCount; ++i)
        Write(mFrames[i], modules, out);
}

void Frames::Write(const Frame& frame, Modules& modules, SafeText& out)
{
    // The last byte of the call, as what follows may belong to another line.
    const std::uintptr_t place = frame.address - (frame.isReturn ? 1 : 0);
    const Module* const module = modules.find(place);
    out << "frame " << SafeText::Hex{frame.address} << " "
        << SafeText::Hex{module != nullptr ? place - module->bias : place} << " ";
    if (module == nullptr) {
        out << "- -";
    } else {
        out << (module->buildId[0] != '\0' ? module->buildId : "-") << " "
            << SafeText::Foreign{module->path};
    }
    out.endLine();
}

bool Frames::RewindBadCall(const siginfo_t& info, ucontext_t& context)
{
    auto& registers = context.uc_mcontext.gregs;
    const bool isFault = info.si_signo == SIGSEGV && info.si_code > 0;
    if (!isFault || reinterpret_cast<greg_t>(info.si_addr) != registers[REG_RIP]) return false;
    const auto* const stack = reinterpret_cast<const greg_t*>(registers[REG_RSP]);
    registers[REG_RIP] = *stack - 1;
    registers[REG_RSP] += static_cast<greg_t>(sizeof *stack);
    return true;
}

}  // namespace qz::ext::crash
