// SPDX-License-Identifier: MIT
// Random names are made with the system call, and then without it, from the device files.

#include <sys/syscall.h>

#include <cerrno>
#include <string>
#include <system_error>

#include <qz/ext/SecureRandom.h>

#include "faults/Scenario.h"
#include "support/LibraryStart.h"
#include "support/RefusedCalls.h"

namespace {

std::string describeName()
{
    try {
        return "a name of " + std::to_string(qz::ext::SecureRandom::MakeName().size());
    } catch (const std::system_error& error) {
        return error.what();
    }
}

std::string makeNames(const std::string& /*folder*/)
{
    static bool isRefused = false;
    const qz::faults::Watch watch;
    std::string text = describeName();
    if (!isRefused) qz::support::refuseSystemCall(SYS_getrandom, ENOSYS);
    isRefused = true;
    return text + ", " + describeName();
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    return qz::faults::runScenario(argumentCount, arguments, &makeNames);
}
