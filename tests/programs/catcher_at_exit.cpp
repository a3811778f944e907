// SPDX-License-Identifier: MIT
// Polls the catcher of the console's interrupt keys when all destructors of static objects have
// run, as a thread does that still works while another one ends the process.

#include <stdlib.h>

#include <cstdio>

#include <qz/qzCancelConsoleEventCatcher.h>
#include <qz/qzSystem.h>

namespace {

const qz::qzCancelInterfaceReadOnly* gCatcher = nullptr;

void pollAtTheEnd(int /*status*/, void* /*data*/)
{
    std::puts(gCatcher->shouldCancel() ? "requested" : "not requested");
}

void registerPoll()
{
    ::on_exit(&pollAtTheEnd, nullptr);  // not at the end of this module, as with `atexit`
}

// These run before the constructors of all libraries. The handler that is registered first is
// called last.
[[gnu::section(".preinit_array"), gnu::used]] void (*const gRegisterPoll)() = &registerPoll;

}  // namespace

int main()
{
    qz::initializeQzSystem(qz::FullInit);
    gCatcher = qz::qzCancelConsoleEventCatcher::Create();
    ::exit(7);
}
