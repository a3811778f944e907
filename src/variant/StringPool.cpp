// SPDX-License-Identifier: MIT
// Free memory of string objects, in batches of `kBatchSize`. A thread has two batches at most, and
// exchanges full ones with a store that all threads share. So a thread rarely needs the store, and
// the free memory of all threads is limited: 12 KiB for each thread, and 768 KiB in the store.

#include "StringPool.h"

#include <pthread.h>

#include <atomic>

#include "AddressSanitizer.h"

namespace qz::variant {

namespace {

constexpr unsigned kBatchSize = 128;
constexpr unsigned kMostStoredBatches = 128;  // the strings of a large batch of table rows

// With the address sanitizer nothing is reused, so that each use of a destroyed string is reported.
constexpr bool kIsReused = !kHasAddressSanitizer;

struct FreeString {
    FreeString* next;       // in the same batch
    FreeString* nextBatch;  // for the first one of a batch in the store
};
static_assert(sizeof(FreeString) <= sizeof(std::string));

FreeString* popString(FreeString*& batch)
{
    return std::exchange(batch, batch->next);
}

void deleteStrings(FreeString* batch)
{
    while (batch != nullptr)
        ::operator delete(popString(batch));
}

// Full batches of all threads. A thread that finds the store in use doesn't wait, but uses malloc:
// after a fork the thread that had the lock may not exist.
class Store {
public:
    // @return whether the batch was accepted.
    bool put(FreeString* batch)
    {
        if (mIsLocked.test_and_set(std::memory_order_acquire)) return false;
        const bool hasSpace = mCount != kMostStoredBatches;
        if (hasSpace) {
            batch->nextBatch = mBatches;
            mBatches = batch;
            ++mCount;
        }
        mIsLocked.clear(std::memory_order_release);
        return hasSpace;
    }

    // @return a full batch, or null.
    FreeString* take()
    {
        if (mIsLocked.test_and_set(std::memory_order_acquire)) return nullptr;
        FreeString* const batch = mBatches;
        if (batch != nullptr) {
            mBatches = batch->nextBatch;
            --mCount;
        }
        mIsLocked.clear(std::memory_order_release);
        return batch;
    }

private:
    std::atomic_flag mIsLocked = ATOMIC_FLAG_INIT;
    FreeString* mBatches = nullptr;  // guarded by mIsLocked
    unsigned mCount = 0;             // guarded by mIsLocked
};

constinit Store sStore;

// Without a constructor and a destructor, so that it can be used from a thread's first moment to
// its last.
struct ThreadStrings {
    FreeString* strings;    // the batch in use
    unsigned count;         // of `strings`
    FreeString* fullBatch;  // or null
    bool isFreedAtThreadEnd;
};

constinit thread_local ThreadStrings tStrings [[gnu::tls_model("initial-exec")]] = {};

void freeThreadStrings(void* threadStrings)
{
    auto& own = *static_cast<ThreadStrings*>(threadStrings);
    deleteStrings(std::exchange(own.strings, nullptr));
    deleteStrings(std::exchange(own.fullBatch, nullptr));
    own.count = 0;
    own.isFreedAtThreadEnd = false;
}

// A key of the C library: its destructor can be set for a thread without an allocation.
class ThreadEnd {
public:
    ThreadEnd() : mIsMade(::pthread_key_create(&mKey, freeThreadStrings) == 0) {}
    // No thread may call the destructor after the library is unloaded.
    ~ThreadEnd()
    {
        if (mIsMade) ::pthread_key_delete(mKey);
    }
    ThreadEnd(const ThreadEnd&) = delete;
    ThreadEnd& operator=(const ThreadEnd&) = delete;

    bool watch(ThreadStrings& own) const
    {
        return mIsMade && ::pthread_setspecific(mKey, &own) == 0;
    }

private:
    pthread_key_t mKey{};
    bool mIsMade;
};

bool setFreedAtThreadEnd(ThreadStrings& own)
{
    static const ThreadEnd threadEnd;
    own.isFreedAtThreadEnd = threadEnd.watch(own);
    return own.isFreedAtThreadEnd;
}

// Takes a full batch, of this thread or from the store. @return whether there was one.
bool refill(ThreadStrings& own)
{
    own.strings = own.fullBatch != nullptr ? std::exchange(own.fullBatch, nullptr) : sStore.take();
    own.count = own.strings != nullptr ? kBatchSize : 0;
    return own.strings != nullptr;
}

// Puts the full batch aside. @return whether there is space for more strings.
bool startBatch(ThreadStrings& own)
{
    if (own.fullBatch != nullptr && !sStore.put(own.fullBatch)) return false;
    own.fullBatch = std::exchange(own.strings, nullptr);
    own.count = 0;
    return true;
}

}  // namespace

void* allocateString()
{
    ThreadStrings& own = tStrings;
    if (own.strings == nullptr && !(own.isFreedAtThreadEnd && refill(own)))
        return ::operator new(sizeof(std::string));
    --own.count;
    return popString(own.strings);
}

void freeString(void* memory) noexcept
{
    ThreadStrings& own = tStrings;
    if (!kIsReused || !(own.isFreedAtThreadEnd || setFreedAtThreadEnd(own)) ||
        (own.count == kBatchSize && !startBatch(own))) {
        ::operator delete(memory);
        return;
    }
    own.strings = ::new (memory) FreeString{own.strings, nullptr};
    ++own.count;
}

}  // namespace qz::variant
