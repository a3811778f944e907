// SPDX-License-Identifier: MIT
// Makes a small tree in the folder of the first argument, indexes it, and then indexes one of its
// folders: with "derive" behind it from that index, with "scan" from the disk. Two look-ups of
// files that aren't there mark in a trace where that begins and ends.

#include <unistd.h>

#include <filesystem>
#include <list>
#include <string>

#include <qz/qzXRefResolverSearchPath.h>

#include "support/Files.h"
#include "support/LibraryStart.h"

namespace {

using SearchPath = qz::qzXRefResolverSearchPath;

constexpr unsigned long kPlenty = 1000000;

void makeTree(const std::string& root)
{
    for (int i = 0; i < 1000; ++i) {
        const std::string folder = root + "/s/" + std::to_string(i % 10);
        std::filesystem::create_directories(folder);
        qz::support::writeFile(folder + "/part" + std::to_string(i) + ".prt.1", "");
    }
}

void mark(const char* path)
{
    [[maybe_unused]] const int isMissing = ::access(path, F_OK);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    if (argumentCount != 3) return 2;
    const qz::support::LibraryStart library;
    const std::string root = arguments[1];
    makeTree(root);
    SearchPath ancestor;
    if (!ancestor.initializeSearchPath(root, {}, kPlenty)) return 3;

    std::list<const SearchPath*> ancestors;
    if (arguments[2] == std::string("derive")) ancestors.push_back(&ancestor);
    SearchPath path;
    mark("/no/begin");
    const bool isBuilt = path.initializeSearchPath(root + "/s", ancestors, kPlenty);
    const std::string found = path.resolveXRef("C:\\old\\3\\part123.prt").path;
    mark("/no/end");
    return isBuilt && found == root + "/s/3/part123.prt.1" ? 0 : 4;
}
