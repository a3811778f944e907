// SPDX-License-Identifier: MIT
#include <qz/qzThread.h>

#include <atomic>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <sstream>
#include <string_view>
#include <thread>
#include <typeinfo>

#include <cxxabi.h>
#include <unistd.h>

#include <qz/qzException.h>
#include <qz/qzSystem.h>
#include <qz/qzSystemUtils.h>

#include "AlternateStack.h"
#include "EarlyConstruction.h"
#include "frame/base/Relaxed.h"
#include "frame/base/ScopedSignalBlock.h"

namespace qz {

struct qzThread::Cell {
    std::atomic<std::thread*> thread = nullptr;  // owned
    // Of the thread above. Written by its starter and by the thread itself, whichever comes first.
    std::atomic<std::thread::id> id = {};
    // Of the process that the thread is in.
    std::atomic<long> processId = qzSystemUtils::GetCurrentProcessID();
    bool isReleased = false;  // used by the thread itself
    // The mask that it would have if no signals were blocked for it.
    std::optional<sigset_t> maskWithoutBlock;
};

namespace {

constexpr unsigned long kPollMs = 15;

std::string_view dropLeading(std::string_view text, std::string_view start)
{
    if (text.substr(0, start.size()) == start) text.remove_prefix(start.size());
    return text;
}

std::string_view getTypeName(const std::type_info& type)
{
    return dropLeading(dropLeading(type.name(), "*"), "class ");
}

// A caller that sees the end without a wait may read what the thread has written, and reuse memory.
void markAsEnded(bool& isRunning)
{
    __atomic_store_n(&isRunning, false, __ATOMIC_RELEASE);
}

}  // namespace

qzRunnableInterface::~qzRunnableInterface() = default;

qzThread::qzThread() : mThread(std::make_unique<Cell>())
{
    warnBeforeFullStart("Thread create before full init of qzSystem");
}

qzThread::~qzThread()
{
    CheckIfProcessForkAfterThreadSafeInit();
    waitThread(msNoLimit);
}

void qzThread::startThread(const char* name)
{
    if (isInherited()) forgetInherited();
    if (mThread->thread != nullptr) return;
    mThread->processId = qzSystemUtils::GetCurrentProcessID();
    mThread->isReleased = false;
    // Set before the thread exists, so that a new thread never looks like an ended one.
    relaxedStore(mRunning, true);
    auto thread = std::make_unique<std::thread>(&qzThread::Run, this);
    mThread->id = thread->get_id();
    mThread->thread = thread.release();

    describe(name);
}

void qzThread::startThreadWithSignalsBlocked(const char* name)
{
    const ScopedSignalBlock signals;
    if (isInherited()) forgetInherited();
    if (mThread->thread == nullptr) mThread->maskWithoutBlock = signals.getMaskBefore();
    startThread(name);
}

// The thread runs already: an exception here would let its object be destroyed under it, so a
// description that memory is missing for is left out.
void qzThread::describe(const char* name) noexcept
try {
    std::ostringstream description;
    description << (name != nullptr ? std::string_view(name) : getTypeName(typeid(*this))) << ' '
                << mThread->id.load();
    mDescription = description.str();
} catch (const std::bad_alloc&) {
    mDescription.clear();
}

bool qzThread::waitThread(int timeoutMs)
{
    std::thread* const thread = mThread->thread;
    if (thread == nullptr) return false;
    if (isInherited()) {
        forgetInherited();
        return true;
    }
    if (timeoutMs != msNoLimit && !waitForEnd(timeoutMs)) return false;
    thread->join();  // throws if a thread waits for itself, and nothing has changed
    mThread->thread = nullptr;
    mThread->id = std::thread::id();
    std::default_delete<std::thread>()(thread);
    return true;
}

// The interval of the poll is the resolution of the timeout.
bool qzThread::waitForEnd(int timeoutMs) const
{
    const auto begin = static_cast<long>(qzSystemUtils::GetTimeBaseMs());
    const bool hasClock = begin != std::numeric_limits<long>::min();
    while (isRunning()) {
        const long passedMs = static_cast<long>(qzSystemUtils::GetTimeBaseMs()) - begin;
        if (!hasClock || passedMs > timeoutMs) return !isRunning();
        msleep(kPollMs);
    }
    return true;
}

bool qzThread::isRunning() const
{
    return __atomic_load_n(&mRunning, __ATOMIC_ACQUIRE) && !isInherited();
}

bool qzThread::releaseOwnThread()
{
    if (mThread->id.load() != std::this_thread::get_id() || isInherited()) return false;
    std::unique_ptr<std::thread> thread;
    // A new thread may come here before its starter has stored the handle.
    while (!mThread->isReleased && thread == nullptr) {
        thread.reset(mThread->thread.exchange(nullptr));
        if (thread == nullptr) std::this_thread::yield();
    }
    if (thread != nullptr) thread->detach();
    mThread->isReleased = true;
    return true;
}

void qzThread::stopThread(qzMutex& mutex, qzWaitCondition& wake, bool& stopRequested)
{
    if (releaseOwnThread()) return;
    if (isRunning()) {
        const qzMutexLocker locker(mutex);
        relaxedStore(stopRequested, true);
        wake.wakeAll();
    }
    waitThread(msNoLimit);
}

// True in a forked child for a thread that the parent had started: it counts as ended there.
bool qzThread::isInherited() const
{
    return mThread->thread != nullptr && mThread->processId != qzSystemUtils::GetCurrentProcessID();
}

// Frees the handle only: its destructor insists on a join, and there is nothing to join.
void qzThread::forgetInherited()
{
    relaxedStore(mRunning, false);
    mThread->id = std::thread::id();
    std::allocator<std::thread>().deallocate(mThread->thread.exchange(nullptr), 1);
}

bool qzThread::isFinished() const
{
    return !isRunning() && mThread->thread == nullptr;
}

std::string qzThread::getThreadId()
{
    const std::thread::id id = mThread->id;
    if (id == std::thread::id() && mThread->thread == nullptr) return "InvalidThread";
    std::ostringstream text;
    text << id;
    return text.str();
}

// Compatibility: the products have 32 bits, so long sleeps wrap around.

void qzThread::sleep(unsigned long seconds)
{
    ::usleep(static_cast<unsigned>(seconds) * 1000000U);
}

void qzThread::msleep(unsigned long milliseconds)
{
    ::usleep(static_cast<unsigned>(milliseconds) * 1000U);
}

void qzThread::usleep(unsigned long microseconds)
{
    ::usleep(static_cast<unsigned>(microseconds));
}

// The sanitizer of undefined behaviour takes the forced unwind for a null object.
__attribute__((no_sanitize("null"))) void qzThread::Run(qzThread* thread)
{
    thread->mThread->id = std::this_thread::get_id();
    if (const auto& mask = thread->mThread->maskWithoutBlock)
        ScopedSignalBlock::SetInheritedMask(*mask);
    const AlternateStack faultStack;
    try {
        exception::impl::ExecGuardedCode(&qzThread::RunImpl, thread);
    } catch (const abi::__forced_unwind&) {
        // `pthread_exit`, or a cancellation, ends the thread as a return of `run` does.
        markAsEnded(thread->mRunning);
        throw;
    }
    markAsEnded(thread->mRunning);
}

void qzThread::RunImpl(void* thread)
{
    static_cast<qzThread*>(thread)->run();
}

}  // namespace qz
