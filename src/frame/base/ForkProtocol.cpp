// SPDX-License-Identifier: MIT
#include "ForkProtocol.h"

#include <algorithm>
#include <array>

#include <pthread.h>

#include "Relaxed.h"
#include "ScopedSignalBlock.h"
#include "TimeText.h"

namespace qz {

namespace {

bool gIsFullyStarted = false;
bool gIsForkedChild = false;
std::array<ForkHandlers, kForkParticipantCount> gParticipants;

// The asynchronous signals are blocked during a fork: the C library locks its memory meanwhile, and
// the report of a signal on the same thread would wait for it for ever.
thread_local sigset_t tMaskBeforeFork;

void call(void (*handler)())
{
    if (handler != nullptr) handler();
}

void prepare()
{
    blockAsynchronousSignals(tMaskBeforeFork);
    if (relaxedLoad(gIsFullyStarted)) rememberPresentZone();
    for (const ForkHandlers& handlers : gParticipants) {
        call(handlers.prepare);
    }
}

void resumeParent()
{
    std::for_each(gParticipants.rbegin(), gParticipants.rend(),
                  [](const ForkHandlers& handlers) { call(handlers.resumeParent); });
    setSignalMask(tMaskBeforeFork);
}

void resumeChild()
{
    // A child of a marked child is marked as well.
    if (relaxedLoad(gIsFullyStarted)) relaxedStore(gIsForkedChild, true);
    std::for_each(gParticipants.rbegin(), gParticipants.rend(),
                  [](const ForkHandlers& handlers) { call(handlers.resumeChild); });
    // A program that one of the library's own threads starts must not inherit blocked signals.
    const sigset_t* const outermost =
        isForkedChild() ? ScopedSignalBlock::GetOutermostMask() : nullptr;
    setSignalMask(outermost != nullptr ? *outermost : tMaskBeforeFork);
}

// The system can't remove handlers, so they are registered once.
void registerHandlers()
{
    [[maybe_unused]] static const int registered =
        ::pthread_atfork(&prepare, &resumeParent, &resumeChild);
}

}  // namespace

void joinForkProtocol(ForkParticipant participant, const ForkHandlers& handlers)
{
    gParticipants[static_cast<std::size_t>(participant)] = handlers;
    registerHandlers();
}

void setFullyStarted(bool isFullyStarted)
{
    registerHandlers();
    relaxedStore(gIsFullyStarted, isFullyStarted);
    if (isFullyStarted) relaxedStore(gIsForkedChild, false);
}

bool isForkedChild()
{
    return relaxedLoad(gIsForkedChild);
}

}  // namespace qz
