// SPDX-License-Identifier: MIT
#include "TextServices.h"

#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>

#include <locale.h>
#include <pthread.h>

#include <qz/qzStringUtils.h>

#include "ThreadContent.h"
#include "frame/base/ForkProtocol.h"
#include "frame/base/ScopedSignalBlock.h"

// Who frees the converters of a thread?
//
// The thread itself when it ends, or the stop of the services, whichever comes first; both can
// happen at the same time. The key holds the address of a variable in the thread's own storage,
// which is valid until the destructor of the key has run. Only who finds converters in that
// variable, with the mutex locked, deletes them.
//
// The mutex is also locked while the system's converters are opened or closed: the C library then
// holds a lock of its own, which would stay locked for ever in a child that is forked meanwhile.

namespace qz {

__locale_struct** qzStringUtils::msCLocale = nullptr;
std::locale* qzStringUtils::msCplusLocale = nullptr;
unsigned int* qzStringUtils::msThreadContent = nullptr;

namespace {

static_assert(std::is_same_v<pthread_key_t, unsigned int>, "msThreadContent is declared as such");

using text::ThreadContent;

unsigned gGeneration = 0;  // written at start and stop only

std::mutex gMutex;
ThreadContent* gContents = nullptr;              // of all threads; guarded by gMutex
thread_local ThreadContent* tContent = nullptr;  // guarded by gMutex; its address is in the key

// Locks gMutex for a scope. The report of a signal converts texts too, so a signal that comes
// meanwhile is handled after the mutex is unlocked.
class ContentsLock {
    const ScopedSignalBlock mSignals;  // ends after the lock
    const std::lock_guard<std::mutex> mLock{gMutex};
};

struct FreeLocaleCell {
    void operator()(__locale_struct** cell) const
    {
        // A forked child leaves the locale: another thread of the parent may have locked the
        // C library's table of locales.
        if (*cell != nullptr && !isForkedChild()) ::freelocale(*cell);
        std::free(cell);
    }
};
using LocaleCell = std::unique_ptr<__locale_struct*, FreeLocaleCell>;

struct DeleteKeyCell {
    void operator()(const pthread_key_t* cell) const
    {
        ::pthread_key_delete(*cell);
        delete cell;
    }
};
using KeyCell = std::unique_ptr<pthread_key_t, DeleteKeyCell>;

LocaleCell makeLocaleCell()
{
    auto* const cell = static_cast<__locale_struct**>(std::malloc(sizeof(__locale_struct*)));
    if (cell != nullptr) *cell = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return LocaleCell(cell);
}

// The functions from here on must be called with gMutex locked.

void makeContent()
{
    if (tContent != nullptr || !text::areServicesUp()) return;
    auto made = std::make_unique<ThreadContent>(tContent);
    if (::pthread_setspecific(*qzStringUtils::msThreadContent, &tContent) != 0) return;
    made->next = gContents;
    if (gContents != nullptr) gContents->previous = made.get();
    tContent = gContents = made.release();
}

void deleteContent(ThreadContent* content)
{
    const std::unique_ptr<ThreadContent> ended(content);
    (content->previous != nullptr ? content->previous->next : gContents) = content->next;
    if (content->next != nullptr) content->next->previous = content->previous;
    *content->owner = nullptr;
}

void deleteAllContents()
{
    if (isForkedChild()) {
        // Closing a converter might wait for a lock that another thread of the parent holds.
        tContent = gContents = nullptr;
        return;
    }
    while (gContents != nullptr)
        deleteContent(gContents);
}

// The destructor of the key; it runs on a thread that ends.
void endThread(void* content)
{
    const ContentsLock lock;
    ThreadContent* const found = *static_cast<ThreadContent**>(content);
    if (found != nullptr) deleteContent(found);
}

void prepareFork()
{
    gMutex.lock();
    try {
        makeContent();  // now, since the child may find the system's converters locked
    } catch (const std::exception&) {
        // Without memory the child tries again, if it converts anything at all.
    }
}

void resumeParent()
{
    gMutex.unlock();
}

// The other threads don't exist in the child, and the memory of their variables is reused.
void resumeChild()
{
    if (tContent != nullptr) tContent->previous = tContent->next = nullptr;
    gContents = tContent;
    gMutex.unlock();
}

KeyCell makeKeyCell()
{
    auto cell = std::make_unique<pthread_key_t>(0);
    if (::pthread_key_create(cell.get(), endThread) != 0) return nullptr;
    return KeyCell(cell.release());
}

}  // namespace

bool text::areServicesUp()
{
    return qzStringUtils::msThreadContent != nullptr;
}

unsigned text::getServicesGeneration()
{
    return gGeneration;
}

__locale_struct* text::getCLocale()
{
    if (areServicesUp() && *qzStringUtils::msCLocale != nullptr) return *qzStringUtils::msCLocale;
    // Numbers are also read without a start, and after a start that found no memory for its locale.
    static const locale_t own = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return own;
}

const ThreadContent* text::getThreadContent()
{
    if (!areServicesUp()) return nullptr;
    if (const void* known = ::pthread_getspecific(*qzStringUtils::msThreadContent)) {
        return *static_cast<ThreadContent* const*>(known);
    }
    const ContentsLock lock;
    makeContent();
    return tContent;
}

bool qzStringUtils::InitializeStringUtils()
{
    if (msCLocale != nullptr) return false;
    LocaleCell cLocale = makeLocaleCell();
    if (cLocale == nullptr) return false;
    KeyCell key = makeKeyCell();
    if (key == nullptr) return false;
    auto cplusLocale = std::make_unique<std::locale>("C");
    msCLocale = cLocale.release();
    msThreadContent = key.release();
    msCplusLocale = cplusLocale.release();
    ++gGeneration;
    joinForkProtocol(ForkParticipant::TextServices, {&prepareFork, &resumeParent, &resumeChild});
    InitializeForThread();
    return true;
}

bool qzStringUtils::TerminateStringUtils()
{
    if (msCLocale == nullptr) return false;
    FreeLocaleCell()(std::exchange(msCLocale, nullptr));
    delete std::exchange(msCplusLocale, nullptr);
    ++gGeneration;
    if (msThreadContent == nullptr) return true;
    const ContentsLock lock;
    deleteAllContents();
    ::pthread_setspecific(*msThreadContent, nullptr);
    DeleteKeyCell()(std::exchange(msThreadContent, nullptr));
    return true;
}

void qzStringUtils::InitializeForThread()
{
    text::getThreadContent();
}

}  // namespace qz
