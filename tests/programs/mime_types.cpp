// SPDX-License-Identifier: MIT
// Prints what three names have, at each stage of the library's life.

#include <array>
#include <iostream>

#include <qz/MimeTypeInfo.h>
#include <qz/qzSystem.h>

namespace {

using Found = std::array<const qz::MimeTypeInfo*, 3>;

Found look(const char* stage)
{
    Found found{};
    std::cout << stage << ':';
    std::size_t at = 0;
    for (const char* name : {"photo.png", "bundle.js.map", "archive.tar.001"}) {
        const qz::MimeTypeInfo& info = qz::MimeTypeInfo::GetMimeTypeInfoFromFileNameOrExt(name);
        std::cout << ' ' << (info.type.empty() ? "unknown" : info.type);
        found[at++] = &info;
    }
    std::cout << '\n';
    return found;
}

}  // namespace

int main()
{
    look("loaded");
    qz::initializeQzSystem(qz::LightInit);
    const Found first = look("started");
    qz::terminateQzSystem();
    const bool staysStopped = look("stopped") == first;
    qz::initializeQzSystem(qz::LightInit);
    const bool staysStarted = look("started again") == first;
    qz::terminateQzSystem();
    std::cout << (staysStopped && staysStarted ? "the same records\n" : "other records\n");
    return 0;
}
