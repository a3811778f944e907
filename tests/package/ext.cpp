// SPDX-License-Identifier: MIT
// Uses the second library.

#include <iostream>

#include <qz/ext/LibraryStart.h>
#include <qz/ext/SystemFailure.h>
#include <qz/qzLogObject.h>

int main()
{
    const qz::ext::LibraryStart library;
    const qz::ext::SystemFailure failure{"open /none", 2};
    qz::logInfo("consumer") << failure.toString();
    const bool isGood = failure && failure.toString().find("open /none: ") == 0;
    if (!isGood) std::cerr << "the second library doesn't do what it should\n";
    return isGood ? 0 : 1;
}
