// SPDX-License-Identifier: MIT
// A small tree is walked, with a link to one of its folders.

#include <filesystem>
#include <string>

#include <qz/qzDirUtils.h>

#include "faults/Scenario.h"
#include "support/Allocations.h"
#include "support/Files.h"
#include "support/LibraryStart.h"

namespace {

namespace fs = std::filesystem;

// What the order of the entries leaves alone.
class Counter : public qz::qzDirUtils::FileSystemVisitor {
public:
    bool enterFolder(const std::string& /*folder*/) override { return ++mEntered != 0; }
    bool visitFile(const std::string& /*folder*/, const std::string& /*name*/) override
    {
        return ++mFiles != 0;
    }
    bool visitFolder(const std::string& /*folder*/, const std::string& /*name*/) override
    {
        return ++mFolders != 0;
    }
    bool leaveFolder(const std::string& /*folder*/) override { return ++mLeft != 0; }

    std::string getText() const
    {
        return "entered " + std::to_string(mEntered) + ", folders " + std::to_string(mFolders) +
               ", files " + std::to_string(mFiles) + ", left " + std::to_string(mLeft);
    }

private:
    int mEntered = 0;
    int mFolders = 0;
    int mFiles = 0;
    int mLeft = 0;
};

void prepare(const std::string& folder)
{
    const qz::support::AllocationPause ownWork;
    if (fs::exists(folder + "/work")) return;
    fs::create_directories(folder + "/work/a/deep");
    qz::support::writeFile(folder + "/work/a/one", "");
    qz::support::writeFile(folder + "/work/a/deep/two", "");
    fs::create_symlink("a/deep", folder + "/work/link");
}

std::string walkTree(const std::string& folder)
{
    prepare(folder);
    Counter counter;
    bool isWhole = false;
    {
        const qz::faults::Watch watch;
        isWhole = counter.visit(folder + "/work", true, nullptr, false, nullptr);
    }
    return counter.getText() + (isWhole ? "" : ", ended");
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    return qz::faults::runScenario(argumentCount, arguments, &walkTree);
}
