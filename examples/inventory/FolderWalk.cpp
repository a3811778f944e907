// SPDX-License-Identifier: MIT
#include "FolderWalk.h"

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include <sys/stat.h>

#include <qz/qzStringUtils.h>

namespace inventory {

namespace {

// Not `JoinPath`: a file's name may begin with a backslash, which that takes for a separator.
std::string join(const std::string& folder, const std::string& name)
{
    return folder.back() == '/' ? folder + name : folder + '/' + name;
}

// In the character set of the system's calls; empty for a path that it can't hold, which would be
// converted to that of another file.
std::string toLocal(const std::string& path)
{
    using qz::qzStringUtils;
    constexpr auto kUtf8 = qzStringUtils::CharSetUtf8;
    constexpr auto kLocal = qzStringUtils::CharSetLocal;
    const std::string local = qzStringUtils::convertCharset(path, kUtf8, kLocal);
    return qzStringUtils::convertCharset(local, kLocal, kUtf8) == path ? local : std::string();
}

bool isLink(const std::string& path)
{
    struct stat status = {};
    return ::lstat(toLocal(path).c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

// Whether a visitor is called for a name of the disk.
bool isMet(const std::string& localName)
{
    using qz::qzStringUtils;
    return !qzStringUtils::convertCharset(localName, qzStringUtils::CharSetLocal,
                                          qzStringUtils::CharSetUtf8)
                .empty();
}

}  // namespace

FolderWalk::FolderWalk(qz::qzProgressNotifierInterface& progress, Problems& problems,
                       TakeFile takeFile)
    : mProgress(progress), mProblems(problems), mTakeFile(std::move(takeFile))
{
}

bool FolderWalk::walk(const std::string& root)
{
    mPending.assign(1, {root, 1.0});
    while (!mPending.empty()) {
        const Pending folder = std::move(mPending.back());
        mPending.pop_back();
        const std::size_t first = mPending.size();
        if (mProgress.shouldCancel() || !walkFolder(folder.path)) return false;
        // How much is below a folder isn't known: it and those in it take equal parts of its share.
        const double part = folder.share / static_cast<double>(mPending.size() - first + 1);
        for (std::size_t i = first; i < mPending.size(); ++i)
            mPending[i].share = part;
        mProgress.incrementCurrentStepProgress(part);
    }
    return true;
}

bool FolderWalk::walkFolder(const std::string& folder)
{
    // The visitor would take it for a slash, and look elsewhere.
    if (folder.find('\\') != std::string::npos) {
        mProblems.tell("cannot walk '" + folder + "': there is a backslash in its name");
        return true;
    }
    mIsEntered = false;
    errno = 0;
    if (!visit(folder, /*recursive=*/false, nullptr, /*ignoreCase=*/false, &mProgress))
        return false;
    if (mIsEntered)
        tellUnmetNames(folder);
    else
        mProblems.tellWithReason("cannot walk '" + folder + "'");
    return true;
}

// A visitor passes by what has no name in UTF-8, without a word.
void FolderWalk::tellUnmetNames(const std::string& folder)
{
    namespace fs = std::filesystem;
    std::error_code error;
    fs::directory_iterator entries(toLocal(folder), error);
    for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
        const std::string name = entries->path().filename().string();
        if (!isMet(name))
            mProblems.tell("cannot list '" + join(folder, name) + "': its name can't be converted");
    }
}

bool FolderWalk::enterFolder(const std::string& /*folder*/)
{
    mIsEntered = true;
    return true;
}

bool FolderWalk::visitFile(const std::string& folder, const std::string& name)
{
    return mTakeFile(join(folder, name));
}

bool FolderWalk::visitFolder(const std::string& folder, const std::string& name)
{
    std::string path = join(folder, name);
    if (isLink(path))
        ++mLinkCount;
    else
        mPending.push_back({std::move(path), 0});
    return true;
}

bool FolderWalk::leaveFolder(const std::string& /*folder*/)
{
    return true;
}

}  // namespace inventory
