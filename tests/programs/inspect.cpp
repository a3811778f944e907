// SPDX-License-Identifier: MIT
// Prints how this process sees itself. The step is the first argument:
//
//   arguments ...        its arguments, each in brackets
//   cleared-environment  how many variables it has with an empty environment, and with none
//   removed-folder       what it sees of itself in a working folder that was removed

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include <qz/qzProcess.h>

#include "support/LibraryStart.h"

namespace {

void printArguments()
{
    qz::qzProcess process;
    qz::qzProcess::GetCurrentProcess(process);
    for (const std::string& argument : process.getArgumentsUtf8())
        std::cout << '[' << argument << ']';
}

std::size_t countVariables()
{
    qz::qzProcess process;
    qz::qzProcess::GetCurrentProcess(process);
    std::vector<std::string> variables;
    process.getProcessEnvironmentUtf8(variables);
    return variables.size();
}

void clearEnvironment()
{
    char* none[] = {nullptr};
    ::environ = none;
    const std::size_t empty = countVariables();
    ::environ = nullptr;
    std::cout << empty << ' ' << countVariables();
}

void removeFolder()
{
    std::filesystem::remove_all(std::filesystem::current_path());
    qz::qzProcess process;
    const bool isFilled = qz::qzProcess::GetCurrentProcess(process);
    const bool isUnchanged = process.getState() == qz::qzProcess::NotStarted &&
                             process.getPid() == 0 && process.getProgramUtf8().empty();
    std::cout << (isFilled ? "true" : "false") << (isUnchanged ? ", unchanged" : ", changed");
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    const std::string step = argumentCount > 1 ? arguments[1] : "";
    if (step == "arguments") printArguments();
    if (step == "cleared-environment") clearEnvironment();
    if (step == "removed-folder") removeFolder();
}
