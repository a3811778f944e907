// SPDX-License-Identifier: MIT
// A source of every test binary and program, not of the support library, as `.preinit_array` is for
// programs only and a linker would not take a source without callers out of a library.
//
// The address sanitizer of g++ 12 and 13 doesn't know `fork`. Its locks for memory and for the
// stack traces of memory stay locked in the child if another thread is inside malloc or free at the
// fork, and the child's next call of these waits for ever (seen: StaticSpinMutex::LockSlow, called
// by PersistentAllocator::refillAndAlloc, StackDepotPut and free). Later versions take these locks
// around the fork themselves, as the handlers here do. So children of tests that fork while other
// threads allocate show what the library does, and not the sanitizer.

#include <pthread.h>

// Functions of the sanitizer that only a program with the static sanitizer can call; null
// elsewhere.
namespace __lsan {
[[gnu::weak]] void LockThreadRegistry();  // has another name in later versions
[[gnu::weak]] void UnlockThreadRegistry();
[[gnu::weak]] void LockAllocator();
[[gnu::weak]] void UnlockAllocator();
}  // namespace __lsan
namespace __sanitizer {
[[gnu::weak]] void StackDepotLockAll();
[[gnu::weak]] void StackDepotUnlockAll();
}  // namespace __sanitizer

namespace {

// In the order in which the sanitizer itself takes one while it has another.
void lockSanitizer()
{
    __lsan::LockThreadRegistry();
    __lsan::LockAllocator();
    __sanitizer::StackDepotLockAll();
}

void unlockSanitizer()
{
    __sanitizer::StackDepotUnlockAll();
    __lsan::UnlockAllocator();
    __lsan::UnlockThreadRegistry();
}

void registerForkHandlers()
{
    if (__lsan::LockThreadRegistry == nullptr) return;
    ::pthread_atfork(&lockSanitizer, &unlockSanitizer, &unlockSanitizer);
}

// Before the constructors of all libraries: the first registered handler runs as the last one
// before the fork and as the first one after it, so other handlers may allocate.
[[gnu::section(".preinit_array"), gnu::used]] void (*const gPreinit)() = &registerForkHandlers;

}  // namespace
