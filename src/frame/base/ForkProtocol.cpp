#include "ForkProtocol.h"

#include <algorithm>
#include <array>

#include <pthread.h>

#include "Relaxed.h"
#include "ScopedSignalBlock.h"

namespace qz {

namespace {

bool gIsFullyStarted = false;
bool gIsForkedChild = false;
std::array<ForkHandlers, kForkParticipantCount> gParticipants;

void call(void (*handler)())
{
    if (handler != nullptr) handler();
}

void prepare()
{
    for (const ForkHandlers& handlers : gParticipants) {
        call(handlers.prepare);
    }
}

void resumeParent()
{
    std::for_each(gParticipants.rbegin(), gParticipants.rend(),
                  [](const ForkHandlers& handlers) { call(handlers.resumeParent); });
}

void resumeChild()
{
    // A child of a marked child is marked as well.
    if (relaxedLoad(gIsFullyStarted)) relaxedStore(gIsForkedChild, true);
    // A program that one of the library's own threads starts must not inherit blocked signals.
    if (isForkedChild()) {
        if (const sigset_t* const mask = ScopedSignalBlock::GetOutermostMask())
            setSignalMask(*mask);
    }
    std::for_each(gParticipants.rbegin(), gParticipants.rend(),
                  [](const ForkHandlers& handlers) { call(handlers.resumeChild); });
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
