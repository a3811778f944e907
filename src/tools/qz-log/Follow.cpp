// SPDX-License-Identifier: MIT
#include "Follow.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include <poll.h>
#include <unistd.h>

#include "Inputs.h"
#include "Merge.h"

namespace qzlog {

namespace {

constexpr int kPeriodMs = 100;

class Follower {
public:
    Follower(const Options& options, Problems& problems) : mOptions(options), mProblems(problems)
    {
        for (const std::string& path : options.paths)
            mPlaces.push_back(makePlace(path));
    }

    // Opens the files that are new, the first time all.
    void findFiles()
    {
        std::set<FileIdentity> present;
        for (const Place& place : mPlaces)
            findFiles(place, present);
        std::erase_if(mSeen, [&](const FileIdentity& file) { return !present.contains(file); });
        mSeen.merge(present);
        mIsFirst = false;
    }

    // Shows what the files have more. @return false if the output has ended.
    bool showEntries(Style style, Output& output)
    {
        Merge merge(mOptions.filter);
        for (const auto& [identity, file] : mFiles)
            merge.add(file);
        while (const LogFile* const file = merge.next()) {
            appendEntry(output.edit(), file->getEntry(), style);
            if (!output.writeBlock()) return false;
        }
        // What was removed or moved elsewhere has been read to its end now.
        std::erase_if(mFiles, [&](const auto& item) { return !mSeen.contains(item.first); });
        return output.flush();
    }

private:
    void findFiles(const Place& place, std::set<FileIdentity>& present)
    {
        std::vector<FoundFile> files;
        const bool isListed = listFiles(place, files);
        if (!isListed && mIsFirst) mProblems.report(place.folder, errno);
        const bool isNameThere = std::any_of(
            files.begin(), files.end(), [&](const FoundFile& found) { return place.names(found); });
        for (const FoundFile& found : files) {
            const bool isNamed = !isNameThere || place.names(found);
            // What an empty file will contain shows later.
            if (place.path.empty() && found.isEmpty) continue;
            present.insert(found.identity);
            // Of the files beside a named one, only those of later rotations are read.
            if (mSeen.contains(found.identity) || (mIsFirst && !isNamed)) continue;
            if (isOpen(found.identity)) continue;  // two arguments lead to it
            if (place.path.empty() && !isLog(found.path)) continue;
            // A rotation came between. The next round finds the file by its new name.
            if (!openFile(found)) present.erase(found.identity);
        }
        if (mIsFirst && files.empty() && isListed && !place.path.empty())
            mProblems.report(place.path, "it is no regular file, or missing so far");
    }

    bool isOpen(const FileIdentity& identity) const
    {
        const auto isSame = [&](const auto& item) { return isSameFile(item.first, identity); };
        return std::any_of(mFiles.begin(), mFiles.end(), isSame);
    }

    static bool isSameFile(const FileIdentity& left, const FileIdentity& right)
    {
        return !(left < right) && !(right < left);
    }

    // @return false if the name doesn't lead to that file any more.
    bool openFile(const FoundFile& found)
    {
        auto file = std::make_shared<LogFile>(found.path, mOptions.filter.leastType,
                                              /*isFollowed=*/true, mProblems);
        if (!file->open()) return ::access(found.path.c_str(), F_OK) == 0;
        if (!isSameFile(file->getIdentity(), found.identity)) return false;
        mFiles.emplace_back(found.identity, std::move(file));
        return true;
    }

    const Options& mOptions;
    Problems& mProblems;
    std::vector<Place> mPlaces;
    std::set<FileIdentity> mSeen;
    bool mIsFirst = true;
    std::vector<std::pair<FileIdentity, std::shared_ptr<LogFile>>> mFiles;  // in order of rotation
};

// @return whether somebody may still read the output.
bool isOutputRead()
{
    pollfd output = {STDOUT_FILENO, 0, 0};
    constexpr short kEnded = POLLERR | POLLHUP | POLLNVAL;
    return ::poll(&output, 1, kPeriodMs) <= 0 || (output.revents & kEnded) == 0;
}

}  // namespace

void follow(const Options& options, Style style, Output& output, Problems& problems)
{
    Follower follower(options, problems);
    do {
        follower.findFiles();
    } while (follower.showEntries(style, output) && isOutputRead());
}

}  // namespace qzlog
