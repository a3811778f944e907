// SPDX-License-Identifier: MIT
#pragma once

#include <list>
#include <memory>
#include <vector>

#include <qz/qzExport.h>
#include <qz/qzMutex.h>
#include <qz/qzProgressNotifier.h>
#include <qz/qzWaitCondition.h>

namespace qz {

/// A fixed set of worker threads for data-parallel work: each worker gets a solver, and the caller
/// waits until all of them are through.
///
/// A solver takes its pieces of the work under the pool's mutex and does them outside it:
///
/// @code
/// class SumSolver : public ConcurrentPool::SolverBase {
/// public:
///     explicit SumSolver(Work& work) : mWork(work) {}
///     void solve(qzMutex& mutex, qzWaitCondition&) override
///     {
///         while (mWork.hasPiece()) {  // with the mutex locked
///             const Piece piece = mWork.takePiece();
///             mutex.unlock();
///             const double sum = add(piece);  // the work itself
///             mutex.lock();
///             mWork.result += sum;
///         }
///     }
///
/// private:
///     Work& mWork;
/// };
///
/// std::list<SumSolver> solvers;  // a solver can't be copied
/// std::vector<ConcurrentPool::SolverBase*> pointers;
/// for (unsigned int i = 0; i < pool.getWorkerCount(); ++i)
///     pointers.push_back(&solvers.emplace_back(work));
/// pool.runSolvers(pointers);
/// @endcode
///
/// If the pieces are small, claim them through an atomic index instead, with the mutex at both ends
/// only.
class QZ_API ConcurrentPool {
public:
    /// A part of the work, for one worker.
    class QZ_API SolverBase {
    public:
        /// Something that a solver owns. An empty class: subclasses hold what is to be kept.
        class QZ_API SolverResource {
        public:
            virtual ~SolverResource();
        };

        SolverBase();
        virtual ~SolverBase() = 0;
        SolverBase(const SolverBase&) = delete;
        SolverBase& operator=(const SolverBase&) = delete;

        /// Does the work, on the thread of a worker.
        ///
        /// It is entered with the mutex held once, and must return with the mutex held once. An
        /// exception must not leave it: that ends the process. A solver catches everything, and
        /// keeps it for its caller.
        /// @param mutex the pool's; unlock it while the work needs nothing that solvers share.
        /// @param solverCondition for solvers that wait for one another.
        virtual void solve(qzMutex& mutex, qzWaitCondition& solverCondition) = 0;

        /// Keeps an object for as long as the solver exists.
        void addResource(std::unique_ptr<SolverResource> resource);

    private:
        friend class ConcurrentPoolTestPeer;

        std::list<std::unique_ptr<SolverResource>> mResources;
    };

    /// Lets workers poll a notifier that serves one thread only.
    ///
    /// The workers get the proxy. All progress calls on it do nothing; the thread that owns the
    /// target calls `updateProxy` from time to time. The parallel work is one step on the target.
    class QZ_API ProgressNotifierProxy : public qzProgressNotifierCancelSupportOnly {
    public:
        /// Opens a group of one step on the target.
        /// @param target not owned; must outlive the proxy.
        explicit ProgressNotifierProxy(qzProgressNotifierInterface& target);
        /// Ends the group. An exception of the target ends the process.
        ~ProgressNotifierProxy() override;

        /// Sets the target's current step to 0, since the proxy knows of no progress, and passes
        /// the target's request to stop on to the workers. The step is finished when the proxy is
        /// destroyed.
        /// Threads: only on the thread that owns the target.
        void updateProxy();

    private:
        friend class ConcurrentPoolTestPeer;

        qzProgressNotifierInterface* mTarget;
    };

    /// Starts the workers.
    /// @param count how many; 0 is taken as 1. A pool of 1 has no thread: its callers do the work.
    /// @throws std::system_error if a thread can't be started; those that were started have ended.
    explicit ConcurrentPool(unsigned int count);
    /// Waits for the workers, which finish the solvers that they have begun, and ends them. On a
    /// worker it calls std::terminate: a solver must not call `exit` if that destroys the pool.
    ~ConcurrentPool();
    ConcurrentPool(const ConcurrentPool&) = delete;
    ConcurrentPool& operator=(const ConcurrentPool&) = delete;

    /// How many solvers can run at a time; at least 1.
    unsigned int getWorkerCount() const;

    /// Runs solvers, each once, and returns when all have finished.
    ///
    /// Callers take turns: a call waits while another caller's solvers run. More solvers than
    /// workers run in rounds. On a worker of this pool, in a forked child, and on a pool of 1, the
    /// solvers run on the calling thread, one after another.
    /// Threads: any; the caller must not hold the pool's mutex. A cancellation of the caller
    /// (`pthread_cancel`) waits until the solvers that workers run have finished; those that have
    /// not begun then don't run. The exception of a signal, such as SIGINT without a
    /// `qzCancelConsoleEventCatcher`, must not be caught above a call that it interrupts: the
    /// solvers would go on, and the pool would be unusable.
    /// @param solvers not owned; null pointers are left out.
    void runSolvers(const std::vector<SolverBase*>& solvers);

private:
    friend class ConcurrentPoolTestPeer;
    class QZ_LOCAL Worker;

    using SolverIterator = std::vector<SolverBase*>::const_iterator;

    QZ_LOCAL bool isInherited() const;
    QZ_LOCAL void stopWorkers();
    QZ_LOCAL static void runInherited(const std::vector<SolverBase*>& solvers);
    QZ_LOCAL void runHere(const std::vector<SolverBase*>& solvers);
    QZ_LOCAL void waitForTurn();
    QZ_LOCAL SolverIterator runRound(SolverIterator next, SolverIterator end);
    QZ_LOCAL bool isAnyRunning(SolverIterator first, SolverIterator last) const;

    std::vector<std::unique_ptr<Worker>> mWorkers;
    qzMutex mMutex;  // guards the fields here and in the workers
    qzWaitCondition mSolverCondition;
    qzWaitCondition mWorkAvailable;
    qzWaitCondition mAllDone;
    unsigned int mPendingSolvers = 0;
    unsigned int mWorkerCount;
    long mProcessId;  // of the process that has the workers
};

/// The pool that the library makes for the whole process.
namespace concurrent {

/// The pool of the process, with a worker for each processor; with one processor it has no thread.
/// Null unless the library has been started full and the workers could be started.
QZ_API ConcurrentPool* GetConcurrentPool();

}  // namespace concurrent

}  // namespace qz
