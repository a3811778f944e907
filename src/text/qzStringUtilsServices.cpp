#include <cstdlib>
#include <memory>
#include <mutex>

#include <locale.h>
#include <pthread.h>

#include <qz/qzStringUtils.h>

#include "TextServices.h"
#include "ThreadContent.h"
#include "ThreadContentKey.h"

namespace qz {

__locale_struct** qzStringUtils::msCLocale = nullptr;
std::locale* qzStringUtils::msCplusLocale = nullptr;
unsigned int* qzStringUtils::msThreadContent = nullptr;

namespace {

static_assert(std::is_same_v<pthread_key_t, unsigned int>, "msThreadContent is declared as such");

unsigned gGeneration = 0;  // written at start and stop only

struct FreeLocaleCell {
    void operator()(__locale_struct** cell) const
    {
        if (*cell != nullptr) ::freelocale(*cell);
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

// The contents of all threads, so that none stays behind when the services end ahead of a thread,
// as they do for that of the log.
std::mutex gContentsMutex;
text::ThreadContent* gContents = nullptr;  // guarded by gContentsMutex

void addToList(text::ThreadContent* content)
{
    const std::lock_guard<std::mutex> lock(gContentsMutex);
    content->next = gContents;
    if (gContents != nullptr) gContents->previous = content;
    gContents = content;
}

void removeFromList(const text::ThreadContent* content)
{
    const std::lock_guard<std::mutex> lock(gContentsMutex);
    (content->previous != nullptr ? content->previous->next : gContents) = content->next;
    if (content->next != nullptr) content->next->previous = content->previous;
}

void deleteThreadContent(void* content)
{
    const std::unique_ptr<text::ThreadContent> ended(static_cast<text::ThreadContent*>(content));
    removeFromList(ended.get());
}

KeyCell makeKeyCell()
{
    auto cell = std::make_unique<pthread_key_t>(0);
    if (::pthread_key_create(cell.get(), deleteThreadContent) != 0) return nullptr;
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
    // Numbers are read without a start as well, and after one that found no memory for its locale;
    // this one is never given back.
    static const locale_t own = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return own;
}

const text::ThreadContent* text::getThreadContent()
{
    if (!areServicesUp()) return nullptr;
    const pthread_key_t key = *qzStringUtils::msThreadContent;
    if (const void* known = ::pthread_getspecific(key)) {
        return static_cast<const ThreadContent*>(known);
    }
    auto made = std::make_unique<ThreadContent>();
    if (::pthread_setspecific(key, made.get()) != 0) return nullptr;
    addToList(made.get());
    return made.release();
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
    while (gContents != nullptr)
        deleteThreadContent(gContents);
    ::pthread_setspecific(*msThreadContent, nullptr);
    DeleteKeyCell()(std::exchange(msThreadContent, nullptr));
    return true;
}

void qzStringUtils::InitializeForThread()
{
    text::getThreadContent();
}

}  // namespace qz
