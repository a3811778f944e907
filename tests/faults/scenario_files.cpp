// SPDX-License-Identifier: MIT
// Folders and files are made, checked, copied, renamed, removed and cleared.

#include <filesystem>
#include <string>

#include <qz/qzDirUtils.h>

#include "faults/Scenario.h"
#include "support/Allocations.h"
#include "support/Files.h"
#include "support/LibraryStart.h"

namespace {

namespace fs = std::filesystem;
using qz::qzDirUtils;

const std::string kContent(20'000, 'c');

// The first step that failed, with its text; paths stand below FOLDER in that.
class Steps {
public:
    explicit Steps(const std::string& folder) : mFolder(folder) {}

    // Gives false when the work is to end here.
    bool took(const char* name, bool isDone, const std::string& error = {})
    {
        if (isDone) return true;
        mText = std::string(name) + (error.empty() ? "" : ": " + error);
        const std::size_t at = mText.find(mFolder);
        if (at != std::string::npos) mText.replace(at, mFolder.size(), "FOLDER");
        return false;
    }
    const std::string& getText() const { return mText; }

private:
    std::string mFolder;
    std::string mText = "all done";
};

// Each part of the work is watched; what the scenario itself does between them isn't.

bool makeCopy(const std::string& folder, Steps& steps)
{
    const qz::faults::Watch watch;
    std::string error;
    return steps.took("make", qzDirUtils::MkpathUtf8(folder + "/work/deep/deeper")) &&
           steps.took("copy",
                      qzDirUtils::CopyFileUtf8(folder + "/file", folder + "/work/a", false, &error),
                      error);
}

bool isCopied(const std::string& folder)
{
    const qz::support::AllocationPause ownWork;
    return qz::support::readFile(folder + "/work/a") == kContent;
}

bool handleCopy(const std::string& folder, Steps& steps)
{
    const qz::faults::Watch watch;
    const std::string path = folder + "/work/b";
    std::string error;
    qz::qzFileInfoUtf8 info;
    return steps.took("rename", qzDirUtils::RenameFileUtf8(folder + "/work/a", path, &error),
                      error) &&
           steps.took("info", (qzDirUtils::GetFileInfoUtf8(path, info), info.exists)) &&
           steps.took("permissions", qzDirUtils::GrantAllFilePermissionsUtf8(path)) &&
           steps.took("remove", qzDirUtils::RemoveFileUtf8(path, &error), error) &&
           steps.took("temporary file", !qzDirUtils::GetTempFileUtf8(folder, "").empty());
}

bool askAround(const std::string& folder, Steps& steps)
{
    const qz::faults::Watch watch;
    std::string text;
    return steps.took("free space", qzDirUtils::GetAvailableDiskSizeUtf8(folder, text) != 0) &&
           steps.took("change", qzDirUtils::SetCurrentWorkingDirUtf8(folder)) &&
           steps.took("current folder", qzDirUtils::GetCurrentWorkingDirUtf8() == folder) &&
           steps.took("program", qzDirUtils::GetProcessFolderUtf8(text)) &&
           steps.took("absolute", qzDirUtils::GetAbsolutePathUtf8("link/missing", "") ==
                                      folder + "/work/deep/missing") &&
           steps.took("network", !qzDirUtils::IsNetworkPath("/proc"));
}

bool clearAll(const std::string& folder, Steps& steps)
{
    const qz::faults::Watch watch;
    const std::string path = folder + "/work";
    std::string error;
    const bool isClear = qzDirUtils::ClearFolderUtf8(path, true, &error, nullptr);
    return steps.took("clear", isClear, error) &&
           steps.took("left over", !qzDirUtils::FileExistsUtf8(path));
}

std::string prepare(const std::string& scratch)
{
    const qz::support::AllocationPause ownWork;
    const std::string folder = fs::canonical(scratch);
    for (const fs::path& entry : fs::directory_iterator(folder))
        fs::remove_all(entry);
    qz::support::writeFile(folder + "/file", kContent);
    fs::create_symlink("work/deep", folder + "/link");
    return folder;
}

void writeFileToClear(const std::string& folder)
{
    const qz::support::AllocationPause ownWork;
    qz::support::writeFile(folder + "/work/deep/file", "");
}

std::string useFiles(const std::string& scratch)
{
    const std::string folder = prepare(scratch);
    Steps steps(folder);
    if (!makeCopy(folder, steps) || !steps.took("content", isCopied(folder)))
        return steps.getText();
    if (!handleCopy(folder, steps) || !askAround(folder, steps)) return steps.getText();
    writeFileToClear(folder);
    clearAll(folder, steps);
    return steps.getText();
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    return qz::faults::runScenario(argumentCount, arguments, &useFiles);
}
