// SPDX-License-Identifier: MIT
#include "paths.h"

#include <clocale>

#include <langinfo.h>

namespace bench {

namespace {

// The process itself stays in the C locale, as a program that uses the library may.
std::string readLocalCharset()
{
    std::setlocale(LC_ALL, "");
    std::string charset = ::nl_langinfo(CODESET);
    std::setlocale(LC_ALL, "C");
    return charset;
}

}  // namespace

const std::string kAsciiPath = "/home/user/projects/library/documents/reports/2026-11-14.txt";
const std::string kAccentPath =
    "/home/ren\u00e9/projets/biblioth\u00e8que/th\u00e8ses/\u00e9t\u00e9/donn\u00e9es.txt";

bool isLocalUtf8()
{
    return getLocalCharset() == "UTF-8";
}

const std::string& getLocalCharset()
{
    static const std::string charset = readLocalCharset();
    return charset;
}

std::string getExpected(const std::string& path)
{
    if (isLocalUtf8()) return path;
    std::string latin1;
    for (std::size_t i = 0; i < path.size(); ++i) {
        // All accented letters here are U+00C0 to U+00FF: the byte 0xC3 and one more.
        const bool isAccented = path[i] == '\xC3';
        latin1 += isAccented ? static_cast<char>(path[++i] + 0x40) : path[i];
    }
    return latin1;
}

}  // namespace bench
