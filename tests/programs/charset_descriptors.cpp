// SPDX-License-Identifier: MIT
// Prints every opening and closing of a converter as the library's text services come up, convert
// on two threads, and go down.
//
// The first argument is the name to give for the local character set, or empty for the true one.
// The second is the number of the opening that is to fail, counted from 1; 0 fails none.

#include <dlfcn.h>
#include <iconv.h>
#include <langinfo.h>
#include <locale.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

#include <qz/qzStringUtils.h>

namespace {

using qz::qzStringUtils;

std::string gLocalSet;
int gFailingOpen = 0;
int gOpens = 0;
int gCloses = 0;

template <typename Function>
Function findReal(const char* name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

bool isReplaced(nl_item item)
{
    return item == CODESET && !gLocalSet.empty();
}

}  // namespace

extern "C" {

char* nl_langinfo(nl_item item) noexcept
{
    static const auto realInfo = findReal<char* (*)(nl_item)>("nl_langinfo");
    return isReplaced(item) ? gLocalSet.data() : realInfo(item);
}

char* nl_langinfo_l(nl_item item, locale_t locale)
{
    static const auto realInfo = findReal<char* (*)(nl_item, locale_t)>("nl_langinfo_l");
    return isReplaced(item) ? gLocalSet.data() : realInfo(item, locale);
}

iconv_t iconv_open(const char* to, const char* from)
{
    static const auto realOpen = findReal<iconv_t (*)(const char*, const char*)>("iconv_open");
    std::cout << "open " << to << " < " << from << '\n';
    if (++gOpens != gFailingOpen) return realOpen(to, from);
    errno = EINVAL;
    return reinterpret_cast<iconv_t>(-1);
}

int iconv_close(iconv_t descriptor)
{
    static const auto realClose = findReal<int (*)(iconv_t)>("iconv_close");
    ++gCloses;
    if (descriptor != reinterpret_cast<iconv_t>(-1)) return realClose(descriptor);
    std::cout << "closed what was never opened\n";
    return -1;
}

}  // extern "C"

namespace {

void printCounts(const char* when)
{
    std::cout << when << ": " << gOpens << " opened, " << gCloses << " closed\n";
}

void convertAll()
{
    for (int from = 0; from < 3; ++from) {
        for (int to = 0; to < 3; ++to) {
            const auto text = qzStringUtils::convertCharset("abc", qzStringUtils::qzCharSet(from),
                                                            qzStringUtils::qzCharSet(to));
            std::cout << from << to << "=" << text << ' ';
        }
    }
    for (int to = 0; to < 3; ++to) {
        std::cout << to << "="
                  << qzStringUtils::convertTo8Bits(L"abcdefg", qzStringUtils::qzCharSet(to)) << ' ';
    }
    std::cout << '\n';
}

}  // namespace

int main(int /*argumentCount*/, char** arguments)
{
    gLocalSet = arguments[1];
    gFailingOpen = std::atoi(arguments[2]);
    qzStringUtils::InitializeStringUtils();
    printCounts("up");
    convertAll();
    convertAll();
    printCounts("converted");
    std::thread([] {
        qzStringUtils::InitializeForThread();
        printCounts("thread ready");
        convertAll();
    }).join();
    printCounts("thread gone");
    std::thread([] {}).join();
    printCounts("idle thread gone");
    qzStringUtils::TerminateStringUtils();
    printCounts("down");
    return 0;
}
