// SPDX-License-Identifier: MIT
// A tree with a link out of it is removed, which is deeper than folders are open at a time.

#include <filesystem>
#include <string>

#include <qz/SystemError.h>
#include <qz/ext/SafeFiles.h>

#include "faults/Scenario.h"
#include "support/Allocations.h"
#include "support/Files.h"
#include "support/LibraryStart.h"

namespace {

namespace fs = std::filesystem;
using namespace qz::ext;

constexpr int kDepth = 12;
constexpr unsigned long kObjects = 2 * kDepth + 2;  // with the root and the link

void prepare(const std::string& folder)
{
    const qz::support::AllocationPause ownWork;
    fs::remove_all(folder + "/root");
    std::string path = folder + "/root";
    fs::create_directory(path);
    fs::create_directory(folder + "/foreign");
    qz::support::writeFile(folder + "/foreign/file", "");
    fs::create_symlink("../foreign", path + "/link");
    for (int level = 0; level < kDepth; ++level) {
        path += "/d";
        fs::create_directory(path);
        qz::support::writeFile(path + "/file", "");
    }
}

// The call that failed first, without its object.
std::string describe(const RemovedTree& removed, const std::string& folder)
{
    const std::string call = removed.failure.step.substr(0, removed.failure.step.find(folder));
    return call + qz::SystemError(removed.failure.error).toString();
}

std::string work(const std::string& folder)
{
    prepare(folder);
    RemovedTree removed;
    {
        const qz::faults::Watch watch;
        removed = removeTreeNoFollow(folder + "/root");
    }
    const qz::support::AllocationPause ownWork;
    const bool isLeft = fs::exists(folder + "/root");
    std::string text = removed ? "all removed" : describe(removed, folder);
    if (!fs::exists(folder + "/foreign/file")) text += ", more was removed";
    if (removed.removedCount > kObjects) text += ", counted too much";
    if (removed && (isLeft || removed.removedCount != kObjects)) text += ", not all was removed";
    if (!removed && !isLeft) text += ", all was removed";
    return text;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    return qz::faults::runScenario(argumentCount, arguments, &work);
}
