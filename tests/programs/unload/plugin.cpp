// SPDX-License-Identifier: MIT
// What unload_host loads and closes.

#include <qz/qzLog.h>
#include <qz/qzSystem.h>

extern "C" __attribute__((visibility("default"))) void useLibrary()
{
    qz::initializeQzSystem(qz::FullInit);
    qz::qzLog::msInstance->setEchoToConsole(false);
    qz::terminateQzSystem();
}
