// SPDX-License-Identifier: MIT
// A tree is indexed, a folder's index is taken from that, and names are resolved.

#include <filesystem>
#include <list>
#include <string>

#include <qz/qzXRefResolverSearchPath.h>

#include "faults/Scenario.h"
#include "support/Allocations.h"
#include "support/Files.h"
#include "support/LibraryStart.h"

namespace {

namespace fs = std::filesystem;
using SearchPath = qz::qzXRefResolverSearchPath;

void prepare(const std::string& folder)
{
    const qz::support::AllocationPause ownWork;
    fs::create_directories(folder + "/work/s");
    for (const char* name : {"top", "s/p.prt.1", "s/p.prt.2"})
        qz::support::writeFile(folder + "/work/" + name, "");
}

std::string describe(const SearchPath& path, const SearchPath& below)
{
    std::string text = "found";
    for (const char* name : {"top", "p.prt.1", "p.prt.2"})
        if (path.resolveXRef(name).type != SearchPath::MatchNotFound)
            text += ' ' + std::string(name);
    const std::string newest = below.resolveXRef("p.prt").path;
    return text + ", newest " + (newest.empty() ? "none" : newest.substr(newest.rfind('/') + 1));
}

std::string indexTree(const std::string& folder)
{
    prepare(folder);
    const qz::faults::Watch watch;
    SearchPath path;
    if (!path.initializeSearchPath(folder + "/work", {}, 100)) return "not built";
    SearchPath below;
    if (!below.initializeSearchPath(folder + "/work/s", {&path}, 2)) return "not taken";
    return describe(path, below);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    return qz::faults::runScenario(argumentCount, arguments, &indexTree);
}
