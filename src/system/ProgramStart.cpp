// SPDX-License-Identifier: MIT
#include "ProgramStart.h"

#include <unistd.h>

#include <qz/qzDirUtils.h>
#include <qz/qzStringUtils.h>

#include "frame/base/ScopedSignalBlock.h"
#include "text/LocalPath.h"

namespace qz::system {

namespace {

std::string toLocalText(const std::string& text)
{
    return qzStringUtils::convertCharset(text, qzStringUtils::CharSetUtf8,
                                         qzStringUtils::CharSetLocal);
}

std::string chooseFile(const std::string& program, bool absoluteProgram)
{
    if (!absoluteProgram) return program;
    std::string path = qzDirUtils::GetAbsolutePathUtf8(program, "");
    return qzDirUtils::FileExistsUtf8(path) ? path : program;
}

// The system declares its parameters without const, and changes nothing.
std::vector<char*> makePointers(const std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string& text : texts)
        pointers.push_back(const_cast<char*>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

// The signal mask of the calling thread, without what the library blocks on threads of its own:
// these signals couldn't end the program.
sigset_t getProgramMask()
{
    if (const sigset_t* const outermost = ScopedSignalBlock::GetOutermostMask()) return *outermost;
    sigset_t mask;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return mask;
}

}  // namespace

ProgramStart::ProgramStart(const Request& request)
    : mFile(text::toLocal(chooseFile(request.program, request.absoluteProgram))),
      mFolderUtf8(qzDirUtils::GetAbsolutePathUtf8(request.workingDirectory, "")),
      mFolder(text::toLocal(mFolderUtf8)),
      mNiceValue(request.niceValue),
      mSignalMask(getProgramMask())
{
    mArguments.reserve(request.arguments.size() + 1);
    mArguments.push_back(mFile);
    for (const std::string& argument : request.arguments)
        mArguments.push_back(toLocalText(argument));
    setEnvironment(request);
    mArgumentPointers = makePointers(mArguments);
    mEnvironmentPointers = makePointers(mEnvironment);
}

void ProgramStart::setEnvironment(const Request& request)
{
    // Compatibility: an empty list inherits this process's environment in every case.
    if (request.environment.empty()) return;
    if (request.inheritEnvironment && ::environ != nullptr) {
        // Not converted to UTF-8 and back: what can't be converted must keep its bytes.
        for (char** variable = ::environ; *variable != nullptr; ++variable)
            mEnvironment.emplace_back(*variable);
    }
    for (const std::string& variable : request.environment)
        mEnvironment.push_back(toLocalText(variable));
}

}  // namespace qz::system
