// SPDX-License-Identifier: MIT
#include <qz/ext/ChildProcess.h>
#include <qz/qzProcess.h>

#include "parents.h"

namespace bench {

namespace {

bool runProcess(const Command& command)
{
    startLibrary();
    qz::qzProcess process;
    if (!process.startProcess(command[0], {command.begin() + 1, command.end()}, false,
                              qz::qzProcess::PriorityInherit))
        return false;
    process.waitForFinished(60'000);
    return process.getState() == qz::qzProcess::Finished && process.exitCode() == 0;
}

qz::ext::ChildOptions makeOptions(const Command& command)
{
    qz::ext::ChildOptions options;
    options.programs = {{command[0], {command.begin() + 1, command.end()}}};
    options.input = qz::ext::ChildInput::Inherited();
    options.output = qz::ext::ChildOutput::Inherited();
    options.error = qz::ext::ChildOutput::Inherited();
    return options;
}

bool runChildProcess(const Command& command)
{
    return qz::ext::ChildProcess::Run(makeOptions(command)).isSuccess();
}

std::string capture(const Command& command)
{
    qz::ext::ChildOptions options = makeOptions(command);
    options.output = qz::ext::ChildOutput::Memory();
    return qz::ext::ChildProcess::Run(options).output;
}

bool areRight()
{
    return runProcess(nothing()) && !runProcess({"/bin/false"}) && runChildProcess(nothing()) &&
           !runChildProcess({"/bin/false"}) && capture(writing()).size() == kWrittenBytes;
}

const Check kRight("qz", areRight);
const Runner<runProcess> kProcess("qz", kByProcess);
const Runner<runChildProcess> kChildProcess("qz", kByChildProcess);
const Case kCaptured("1 MiB captured, by ChildProcess", "qz", measureCapture<capture>, Clock::Wall);

}  // namespace

}  // namespace bench
