// SPDX-License-Identifier: MIT
#include <qz/ext/Parallel.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <exception>
#include <mutex>
#include <vector>

#include <qz/ConcurrentPool.h>
#include <qz/qzCancelInterface.h>
#include <qz/qzMutex.h>
#include <qz/qzProgressNotifier.h>

#include "base/CancellationBlock.h"

namespace qz::ext::impl {

namespace {

using Clock = std::chrono::steady_clock;

// About what it takes to wake the workers and to sleep until they are done. Small loops are done
// sooner than that, so the caller begins alone.
constexpr std::chrono::microseconds kWakingTime{30};
// More elements are no small loop, even if the processor needs one cycle for each.
constexpr std::size_t kMostElementsOfSmallLoop = 100000;
// With fewer pieces, a worker could need most of the time for the one that the caller has begun.
constexpr std::size_t kManyPiecesPerWorker = 32;

// Neighbouring pieces that a thread takes at once.
struct Claim {
    std::size_t begin = 0;
    std::size_t end = 0;
};

// The most pieces that a thread may claim. Long claims are faster, since the processor reads a
// range ahead and the workers disturb each other less. But a stop waits for all that is claimed, so
// claims only grow while they take little time, and not without end: the next piece may take
// longer.
class ClaimLimit {
public:
    std::size_t get() const { return mCount; }
    Clock::time_point getTime() const { return mBegin; }
    void adapt()
    {
        const Clock::time_point now = Clock::now();
        const bool isShort = now - mBegin < msShortTime;
        mCount = isShort ? std::min(mCount * 2, msMost) : std::max<std::size_t>(mCount / 2, 1);
        mBegin = now;
    }

private:
    static constexpr std::size_t msMost = 16;
    static constexpr std::chrono::microseconds msShortTime{100};

    std::size_t mCount = 1;
    Clock::time_point mBegin = Clock::now();  // of the last claim
};

// One loop. All workers run this one solver at once: what they share is atomic or has a lock.
//
// Pieces are claimed from the begin of the range on, and each claimed piece is run. So the pieces
// that are done have no gap, and the first of all pieces that throw is always among those that did.
class PieceRun final : public ConcurrentPool::SolverBase {
public:
    PieceRun(const PieceDivision& division, std::size_t workers, const ParallelOptions& options,
             PieceFunction function, void* work)
        : mDivision(division),
          mWorkers(workers),
          mNotifier(options.notifier),
          mCancel(options.cancel),
          mFunction(function),
          mWork(work)
    {
    }

    void solve(qzMutex& mutex, qzWaitCondition& /*solverCondition*/) override
    {
        mutex.unlock();
        runPieces();
        mutex.lock();
    }

    // Runs pieces until none is left, or until it has taken so long.
    void runPieces(Clock::duration longest = Clock::duration::max()) noexcept;
    bool isOver() const { return mIsStopped || mNextPiece == mDivision.pieceCount; }
    ParallelResult finish();

private:
    bool claim(std::size_t most, Claim& claimed);
    std::size_t countForOne(std::size_t most, std::size_t begin) const;
    bool isCancelled() const;
    void reportPiece();
    void keepException(std::size_t piece);

    const PieceDivision mDivision;
    const std::size_t mWorkers;
    qzProgressNotifierInterface* const mNotifier;
    const qzCancelInterfaceReadOnly* const mCancel;
    const PieceFunction mFunction;
    void* const mWork;
    std::atomic<bool> mIsStopped = false;

    static constexpr std::size_t msCacheLine = 64;
    alignas(msCacheLine) std::atomic<std::size_t> mNextPiece = 0;  // changed all the time
    std::atomic<std::size_t> mReportedPieces = 0;

    // std::mutex, since a qzMutex is reported before the library's full start.
    std::mutex mNotifierMutex;
    std::mutex mExceptionMutex;
    std::exception_ptr mException;    // guarded by mExceptionMutex
    std::size_t mExceptionPiece = 0;  // guarded by mExceptionMutex
};

void PieceRun::runPieces(Clock::duration longest) noexcept
{
    std::size_t piece = 0;
    try {
        Claim claimed;
        ClaimLimit limit;
        const Clock::time_point begin = limit.getTime();
        while (limit.getTime() - begin < longest && claim(limit.get(), claimed)) {
            for (piece = claimed.begin; piece != claimed.end; ++piece) {
                mFunction(mWork, piece, mDivision.getBegin(piece), mDivision.getBegin(piece + 1));
                reportPiece();
            }
            limit.adapt();
        }
    } catch (...) {
        keepException(piece);
    }
}

// Returns the result, or throws the exception of the body. All workers must have left.
ParallelResult PieceRun::finish()
{
    if (mException) std::rethrow_exception(mException);
    const std::size_t donePieces = mNextPiece.load();
    // The last report of a worker may have been left out.
    if (mNotifier != nullptr) mNotifier->setCurrentStepProgress(static_cast<double>(donePieces));
    return {donePieces == mDivision.pieceCount, mDivision.getBegin(donePieces)};
}

bool PieceRun::claim(std::size_t most, Claim& claimed)
{
    if (mIsStopped.load(std::memory_order_relaxed)) return false;
    if (isCancelled()) {
        mIsStopped.store(true, std::memory_order_relaxed);
        return false;
    }
    claimed.begin = mNextPiece.load(std::memory_order_relaxed);
    do {
        if (claimed.begin == mDivision.pieceCount) return false;
        claimed.end = claimed.begin + countForOne(most, claimed.begin);
    } while (
        !mNextPiece.compare_exchange_weak(claimed.begin, claimed.end, std::memory_order_relaxed));
    return true;
}

// Near the end of the range claims get shorter, so that no worker is left without work for long.
std::size_t PieceRun::countForOne(std::size_t most, std::size_t begin) const
{
    const std::size_t share = (mDivision.pieceCount - begin) / (4 * mWorkers);
    return std::clamp<std::size_t>(share, 1, most);
}

bool PieceRun::isCancelled() const
{
    return (mCancel != nullptr && mCancel->shouldCancel()) ||
           (mNotifier != nullptr && mNotifier->shouldCancel());
}

// A worker doesn't wait for another one's report: a later one includes its piece.
void PieceRun::reportPiece()
{
    if (mNotifier == nullptr) return;
    mReportedPieces.fetch_add(1, std::memory_order_relaxed);
    const std::unique_lock lock(mNotifierMutex, std::try_to_lock);
    if (!lock) return;
    mNotifier->setCurrentStepProgress(
        static_cast<double>(mReportedPieces.load(std::memory_order_relaxed)));
}

void PieceRun::keepException(std::size_t piece)
{
    mIsStopped.store(true, std::memory_order_relaxed);
    const std::lock_guard lock(mExceptionMutex);
    if (mException && mExceptionPiece <= piece) return;
    mException = std::current_exception();
    mExceptionPiece = piece;
}

// The group of the notifier. After another exception the group ends without one of its own, which
// would end the process.
class ProgressGroup {
public:
    ProgressGroup(qzProgressNotifierInterface* notifier, std::size_t pieceCount)
    {
        if (notifier == nullptr) return;
        notifier->beginStepGroupWeights({1.0}, static_cast<double>(pieceCount), &mCloser);
    }
    ~ProgressGroup()
    {
        try {
            end();
        } catch (...) {
        }
    }
    ProgressGroup(const ProgressGroup&) = delete;
    ProgressGroup& operator=(const ProgressGroup&) = delete;

    void end() { mCloser.forgiveNotifier(/*endGroup=*/true); }

private:
    qzProgressNotifierGroupCloser mCloser;
};

// Whether the caller is to begin alone. A notifier that waits, such as for a terminal that is
// stopped, is called on a worker, so that the others go on.
bool isPerhapsSmall(const PieceDivision& division, const ParallelOptions& options,
                    std::size_t workers)
{
    return options.notifier == nullptr && division.count <= kMostElementsOfSmallLoop &&
           division.pieceCount / workers >= kManyPiecesPerWorker;
}

// Returns null if the caller is to do the work.
ConcurrentPool* choosePool(const PieceDivision& division, const ParallelOptions& options)
{
    if (division.pieceCount < 2) return nullptr;
    return options.pool != nullptr ? options.pool : concurrent::GetConcurrentPool();
}

}  // namespace

ParallelResult runPieces(const PieceDivision& division, const ParallelOptions& options,
                         PieceFunction function, void* work)
{
    // The calling thread must not leave while workers use its stack, and a caller that does the
    // work itself must not catch the cancellation as an exception of the body.
    const CancellationBlock noCancellation;
    ConcurrentPool* const pool = choosePool(division, options);
    const std::size_t workers =
        pool == nullptr ? 1 : std::min<std::size_t>(pool->getWorkerCount(), division.pieceCount);
    PieceRun run(division, workers, options, function, work);
    ProgressGroup group(options.notifier, division.pieceCount);
    if (pool == nullptr) {
        run.runPieces();
    } else {
        const std::vector<ConcurrentPool::SolverBase*> solvers(workers, &run);
        if (isPerhapsSmall(division, options, workers)) run.runPieces(kWakingTime);
        if (!run.isOver()) pool->runSolvers(solvers);
    }
    const ParallelResult result = run.finish();
    group.end();
    return result;
}

}  // namespace qz::ext::impl
