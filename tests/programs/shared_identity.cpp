// SPDX-License-Identifier: MIT
// Calls `GetCurrentProcessID` first in a child that shares its memory, and prints how that child
// ended and whether its own id is right afterwards.

#include <sys/wait.h>
#include <unistd.h>

#include <iostream>

#include <qz/qzSystemUtils.h>

int main()
{
    const pid_t child = ::vfork();
    if (child == 0) {
        qz::qzSystemUtils::GetCurrentProcessID();
        ::_exit(0);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    const bool isRight = qz::qzSystemUtils::GetCurrentProcessID() == ::getpid();
    std::cout << status << (isRight ? " right" : " wrong");
    return 0;
}
