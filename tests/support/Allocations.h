// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>

namespace qz::support {

/// Whether allocations by `malloc` and its kin are seen and can fail, as `operator new` always is.
/// Sanitizers keep the malloc family to themselves.
extern const bool kSeesMalloc;

/// Counts the allocations that the calling thread makes from its construction on.
class AllocationCounter {
public:
    AllocationCounter();
    std::size_t getCount() const;
    std::size_t getBytes() const;

private:
    std::size_t mStartCount;
    std::size_t mStartBytes;
};

/// Makes one allocation of the calling thread fail: the `number`th from now, counted from 1.
/// `operator new` throws std::bad_alloc for it, `malloc` gives null. Later ones succeed again.
class AllocationFault {
public:
    explicit AllocationFault(std::size_t number);
    ~AllocationFault();
    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

    /// Whether the failure has happened.
    bool hasStruck() const;
};

/// Lets the calling thread allocate without a count and without a failure until the end of the
/// scope: for the test's own calls in the middle of the work that it checks.
class AllocationPause {
public:
    AllocationPause();
    ~AllocationPause();
    AllocationPause(const AllocationPause&) = delete;
    AllocationPause& operator=(const AllocationPause&) = delete;
};

/// What `work` did when one of its allocations failed.
struct AllocationFailure {
    std::size_t number;  ///< Which allocation failed, counted from 1.
    bool threwBadAlloc;  ///< Whether std::bad_alloc left `work`; else it returned.
};

/// Runs `work` with its 1st, 2nd, 3rd ... allocation on this thread failing, until it runs through
/// without reaching the failure. An exception other than std::bad_alloc passes to the caller.
/// @param check is called after each failure, to check the result and the state.
/// @return the number of allocations that failed, one a run.
std::size_t failEachAllocation(const std::function<void()>& work,
                               const std::function<void(const AllocationFailure&)>& check = {});

}  // namespace qz::support
