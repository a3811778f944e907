// SPDX-License-Identifier: MIT
#pragma once

#include <cstring>
#include <list>
#include <memory>
#include <vector>

#include <qz/ConcurrentPool.h>

#include "io/VirtualSlots.h"

namespace qz {

/// Looks into a pool.
class ConcurrentPoolTestPeer {
public:
    static Offsets getOffsets(const ConcurrentPool& pool)
    {
        return {findOffset(pool, pool.mWorkers),         findOffset(pool, pool.mMutex),
                findOffset(pool, pool.mSolverCondition), findOffset(pool, pool.mWorkAvailable),
                findOffset(pool, pool.mAllDone),         findOffset(pool, pool.mPendingSolvers),
                findOffset(pool, pool.mWorkerCount)};
    }
    /// The first worker, whose class is private to the library.
    static void* getWorker(const ConcurrentPool& pool) { return pool.mWorkers.front().get(); }
    /// Where a worker has its solver, its pool and the flag that keeps it running.
    static constexpr std::size_t kSolverOffset = 56;
    static constexpr std::size_t kPoolOffset = 64;
    static constexpr std::size_t kKeepRunningOffset = 72;
    /// Gives a solver to the first worker, and doesn't wake it.
    static void setSolver(ConcurrentPool& pool, ConcurrentPool::SolverBase* solver)
    {
        const qzMutexLocker locker(pool.mMutex);
        std::memcpy(static_cast<char*>(getWorker(pool)) + kSolverOffset, &solver, sizeof solver);
        pool.mPendingSolvers = 1;
    }
    /// Hands a solver to the first worker, and doesn't wait for its end.
    static void startSolver(ConcurrentPool& pool, ConcurrentPool::SolverBase* solver)
    {
        const qzMutexLocker locker(pool.mMutex);
        setSolver(pool, solver);
        pool.mWorkAvailable.wakeAll();
    }
    static std::size_t getThreadCount(const ConcurrentPool& pool) { return pool.mWorkers.size(); }
    static qzMutex& editMutex(ConcurrentPool& pool) { return pool.mMutex; }
    static const void* getSolverCondition(const ConcurrentPool& pool)
    {
        return &pool.mSolverCondition;
    }
    static const void* getTarget(const ConcurrentPool::ProgressNotifierProxy& proxy)
    {
        return proxy.mTarget;
    }
    static Offsets getOffsets(const ConcurrentPool::SolverBase& solver)
    {
        return {findOffset(solver, solver.mResources)};
    }
};

}  // namespace qz
