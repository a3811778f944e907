// SPDX-License-Identifier: MIT
// The functions at the end of this file stand in for those of the C or C++ library in each test
// binary. They are thin: a count for the calling thread, and the failure that was asked for.

#include "support/Allocations.h"

#include <cerrno>
#include <cstdlib>
#include <new>
#include <stdexcept>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QZ_REPLACE_OPERATOR_NEW 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define QZ_REPLACE_OPERATOR_NEW 1
#endif
#endif

namespace {

struct Account {
    std::size_t count;
    std::size_t bytes;
    std::size_t untilFailure;  // 0 for no failure to come
    bool hasFailed;
    int pauses;
};

// Zero at the start of a thread and free of destructors, so that malloc may use it at any time.
thread_local Account tAccount;

bool mayAllocate(std::size_t sizeBytes) noexcept
{
    Account& account = tAccount;
    if (account.pauses > 0) return true;
    ++account.count;
    account.bytes += sizeBytes;
    if (account.untilFailure == 0 || --account.untilFailure != 0) return true;
    account.hasFailed = true;
    errno = ENOMEM;
    return false;
}

}  // namespace

namespace qz::support {

namespace {

// No work under test allocates so often; a work that never gets through is caught by it.
constexpr std::size_t kMostRuns = 1'000'000;

struct Attempt {
    bool hasStruck = false;
    bool threwBadAlloc = false;
};

Attempt failOneAllocation(const std::function<void()>& work, std::size_t number)
{
    Attempt attempt;
    const AllocationFault fault(number);
    try {
        work();
    } catch (const std::bad_alloc&) {
        attempt.threwBadAlloc = true;
    }
    attempt.hasStruck = fault.hasStruck();
    return attempt;
}

}  // namespace

AllocationCounter::AllocationCounter() : mStartCount(tAccount.count), mStartBytes(tAccount.bytes) {}

std::size_t AllocationCounter::getCount() const
{
    return tAccount.count - mStartCount;
}

std::size_t AllocationCounter::getBytes() const
{
    return tAccount.bytes - mStartBytes;
}

AllocationFault::AllocationFault(std::size_t number)
{
    tAccount.hasFailed = false;
    tAccount.untilFailure = number;
}

AllocationFault::~AllocationFault()
{
    tAccount.untilFailure = 0;
}

bool AllocationFault::hasStruck() const
{
    return tAccount.hasFailed;
}

AllocationPause::AllocationPause()
{
    ++tAccount.pauses;
}

AllocationPause::~AllocationPause()
{
    --tAccount.pauses;
}

std::size_t failEachAllocation(const std::function<void()>& work,
                               const std::function<void(const AllocationFailure&)>& check)
{
    for (std::size_t number = 1; number <= kMostRuns; ++number) {
        const Attempt attempt = failOneAllocation(work, number);
        if (attempt.threwBadAlloc && !attempt.hasStruck) {
            throw std::logic_error("std::bad_alloc without a failed allocation");
        }
        if (!attempt.hasStruck) return number - 1;
        if (check) check({number, attempt.threwBadAlloc});
    }
    throw std::logic_error("the work never runs through");
}

}  // namespace qz::support

#ifdef QZ_REPLACE_OPERATOR_NEW

const bool qz::support::kSeesMalloc = false;

namespace {

void* allocate(std::size_t sizeBytes, std::size_t alignment) noexcept
{
    if (!mayAllocate(sizeBytes)) return nullptr;
    void* block = nullptr;
    const std::size_t wanted = sizeBytes == 0 ? 1 : sizeBytes;
    return ::posix_memalign(&block, alignment, wanted) == 0 ? block : nullptr;
}

void* allocateOrThrow(std::size_t sizeBytes, std::size_t alignment)
{
    void* block = allocate(sizeBytes, alignment);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

constexpr std::size_t kPlain = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

std::size_t toNumber(std::align_val_t alignment)
{
    return static_cast<std::size_t>(alignment);
}

}  // namespace

// clang-format off
void* operator new(std::size_t size) { return allocateOrThrow(size, kPlain); }
void* operator new[](std::size_t size) { return allocateOrThrow(size, kPlain); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size, kPlain); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size, kPlain); }
void* operator new(std::size_t size, std::align_val_t alignment) { return allocateOrThrow(size, toNumber(alignment)); }
void* operator new[](std::size_t size, std::align_val_t alignment) { return allocateOrThrow(size, toNumber(alignment)); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, std::align_val_t) noexcept { std::free(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
// clang-format on

#else

// `operator new` of the C++ library calls malloc, so these functions count both. Their blocks come
// from glibc's own functions, and its `free` frees them.

const bool qz::support::kSeesMalloc = true;

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size)
{
    return mayAllocate(size) ? __libc_malloc(size) : nullptr;
}

void* calloc(std::size_t count, std::size_t size)
{
    return mayAllocate(count * size) ? __libc_calloc(count, size) : nullptr;
}

void* realloc(void* block, std::size_t size)
{
    return mayAllocate(size) ? __libc_realloc(block, size) : nullptr;
}

void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return mayAllocate(size) ? __libc_memalign(alignment, size) : nullptr;
}

}  // extern "C"

#endif
