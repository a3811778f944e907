#include "ForkMark.h"

#include <pthread.h>

#include "Relaxed.h"

namespace qz {

namespace {

bool gIsFullyStarted = false;
bool gIsForkedChild = false;

void markChild()
{
    relaxedStore(gIsForkedChild, relaxedLoad(gIsFullyStarted));
}

}  // namespace

void setFullyStarted(bool isFullyStarted)
{
    // The system keeps the handler for good, so it is handed over once.
    [[maybe_unused]] static const int registered = ::pthread_atfork(nullptr, nullptr, &markChild);
    relaxedStore(gIsFullyStarted, isFullyStarted);
    if (isFullyStarted) relaxedStore(gIsForkedChild, false);
}

bool isForkedChild()
{
    return relaxedLoad(gIsForkedChild);
}

}  // namespace qz
