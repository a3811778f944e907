#pragma once

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
    static std::size_t getThreadCount(const ConcurrentPool& pool) { return pool.mWorkers.size(); }
    static qzMutex& editMutex(ConcurrentPool& pool) { return pool.mMutex; }
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
