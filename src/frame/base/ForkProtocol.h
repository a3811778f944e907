#pragma once

namespace qz {

/// What a service does around a `fork` of its process. Null members are left out.
///
/// `prepare` takes the locks that the service owns, so that the child finds the data behind them
/// whole. `resumeParent` releases them. `resumeChild` makes them usable in the child, where the
/// thread that forked is the only one; it makes no call that may wait for another thread.
struct ForkHandlers {
    void (*prepare)() = nullptr;
    void (*resumeParent)() = nullptr;
    void (*resumeChild)() = nullptr;
};

/// The services that take part, in the order in which they prepare: a service comes before those
/// that it may call while it holds its locks. Parent and child resume in the reverse order.
enum class ForkParticipant { Log, Resources, TextServices, RandomSeed };
inline constexpr int kForkParticipantCount = 4;

/// Has the handlers called around each `fork` from now on; those that the service joined with
/// before are replaced.
/// Threads: call it while no other thread forks. The start does so.
void joinForkProtocol(ForkParticipant participant, const ForkHandlers& handlers);

/// Records that a full start begins, or that it has been undone.
void setFullyStarted(bool isFullyStarted);

/// True in a child that was forked off a fully started process, so that the library's threads don't
/// exist in it. It stays so until a full start of the child's own.
bool isForkedChild();

}  // namespace qz
