// SPDX-License-Identifier: MIT
#pragma once

namespace qz {

/// The handlers of a service around a `fork` of its process. Null members are skipped.
///
/// `prepare` locks the mutexes of the service, so that their data is consistent in the child.
/// `resumeParent` unlocks them. `resumeChild` makes them usable in the child, where the thread that
/// forked is the only one; it must not make a call that may wait for another thread.
struct ForkHandlers {
    void (*prepare)() = nullptr;
    void (*resumeParent)() = nullptr;
    void (*resumeChild)() = nullptr;
};

/// The services with handlers, in the order in which they prepare: a service comes before those
/// that it may call while its mutexes are locked. Parent and child resume in the reverse order.
enum class ForkParticipant { Log, Resources, TextServices, RandomSeed };
inline constexpr int kForkParticipantCount = 4;

/// Registers the handlers of a service. They replace its previous ones.
/// Threads: no other thread may fork during the call. It is made at load and at the start.
void joinForkProtocol(ForkParticipant participant, const ForkHandlers& handlers);

/// Records that the library is fully started, or no longer.
void setFullyStarted(bool isFullyStarted);

/// True in a forked child of a fully started process, where the library's threads don't exist,
/// until the child makes a full start itself.
bool isForkedChild();

}  // namespace qz
