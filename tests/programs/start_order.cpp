// SPDX-License-Identifier: MIT
// Prints the system calls by which services are started and stopped, each with what exists already:
// L for the log, M for the lane masks, T for the table of MIME types, F for the full state, P for
// the default pool, W for the signal watcher. Calls on other threads than the first are left out,
// and so is the end of their converters.

#include <dlfcn.h>
#include <iconv.h>
#include <locale.h>
#include <pthread.h>
#include <signal.h>
#include <sys/utsname.h>
#include <syslog.h>
#include <unistd.h>

#include <cstring>
#include <iostream>
#include <set>

#include <qz/ConcurrentPool.h>
#include <qz/MimeTypeInfo.h>
#include <qz/qzException.h>
#include <qz/qzLog.h>
#include <qz/qzSimdConstants.h>
#include <qz/qzSystem.h>

namespace {

// Asked for at each call: a sanitizer may call before function-local statics work.
template <typename Function>
Function findReal(const char* name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

bool gIsWatching = false;
locale_t gCLocale = nullptr;
std::set<iconv_t> gConverters;  // of the first thread

bool isTableFilled()
{
    return !qz::MimeTypeInfo::GetMimeTypeInfoFromFileNameOrExt("png").type.empty();
}

void note(const char* call)
{
    if (!gIsWatching || ::gettid() != ::getpid()) return;
    std::cout << call << (qz::qzLog::msInstance != nullptr ? " L" : "")
              << (qz::sSSE_0_0_0_FF.lanes[0] != 0 ? " M" : "") << (isTableFilled() ? " T" : "")
              << (qz::IsQzSystemThreadSafe() ? " F" : "")
              << (qz::concurrent::GetConcurrentPool() != nullptr ? " P" : "")
              << (qz::exception::IsSigWatcherRegistered() ? " W" : "") << '\n';
}

}  // namespace

extern "C" {

void openlog(const char* identity, int options, int facility)
{
    const bool isPlain = identity == nullptr && options == 0 && facility == LOG_USER;
    note(isPlain ? "openlog" : "openlog with other arguments");
}

locale_t newlocale(int categories, const char* name, locale_t base) noexcept
{
    using Make = locale_t (*)(int, const char*, locale_t);
    const auto realMake = findReal<Make>("newlocale");
    const locale_t made = realMake(categories, name, base);
    if (gIsWatching && gCLocale == nullptr && std::strcmp(name, "C") == 0) {
        const bool isPlain = categories == LC_ALL_MASK && base == nullptr;
        note(isPlain ? "newlocale" : "newlocale with other arguments");
        gCLocale = made;
    }
    return made;
}

void freelocale(locale_t locale) noexcept
{
    const auto realFree = findReal<void (*)(locale_t)>("freelocale");
    if (locale == gCLocale) note("freelocale");
    realFree(locale);
}

int pthread_key_create(pthread_key_t* key, void (*cleanUp)(void*)) noexcept
{
    using Create = int (*)(pthread_key_t*, void (*)(void*));
    const auto realCreate = findReal<Create>("pthread_key_create");
    note(cleanUp != nullptr ? "pthread_key_create" : "pthread_key_create without clean-up");
    return realCreate(key, cleanUp);
}

int pthread_key_delete(pthread_key_t key) noexcept
{
    const auto realDelete = findReal<int (*)(pthread_key_t)>("pthread_key_delete");
    note("pthread_key_delete");
    return realDelete(key);
}

int uname(utsname* names) noexcept
{
    const auto realCall = findReal<int (*)(utsname*)>("uname");
    note("uname");
    return realCall(names);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                   void* argument) noexcept
{
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    const auto realCreate = findReal<Create>("pthread_create");
    note("pthread_create");
    return realCreate(thread, attributes, run, argument);
}

int pthread_join(pthread_t thread, void** result)
{
    const auto realJoin = findReal<int (*)(pthread_t, void**)>("pthread_join");
    note("pthread_join");
    return realJoin(thread, result);
}

int sigaction(int signal, const struct sigaction* action, struct sigaction* old) noexcept
{
    using Act = int (*)(int, const struct sigaction*, struct sigaction*);
    const auto realAct = findReal<Act>("sigaction");
    if (action != nullptr) note("sigaction");
    return realAct(signal, action, old);
}

iconv_t iconv_open(const char* to, const char* from)
{
    const auto realOpen = findReal<iconv_t (*)(const char*, const char*)>("iconv_open");
    note("iconv_open");
    const iconv_t opened = realOpen(to, from);
    if (gIsWatching && ::gettid() == ::getpid()) gConverters.insert(opened);
    return opened;
}

int iconv_close(iconv_t descriptor)
{
    const auto realClose = findReal<int (*)(iconv_t)>("iconv_close");
    if (gConverters.count(descriptor) != 0) note("iconv_close");
    return realClose(descriptor);
}

}  // extern "C"

int main()
{
    gIsWatching = true;
    qz::initializeQzSystem(qz::FullInit);
    std::cout << "started\n";
    qz::terminateQzSystem();
    gIsWatching = false;
    return 0;
}
