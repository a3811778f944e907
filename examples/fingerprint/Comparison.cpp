// SPDX-License-Identifier: MIT
#include "Comparison.h"

#include <iostream>

#include <qz/ext/PrintableText.h>

namespace fingerprint {

namespace {

void print(const char* what, const std::string& path)
{
    std::cout << what << ": " << qz::ext::makePrintable(path) << '\n';
}

void eraseBelow(const FolderEntry& folder, Fingerprints& fingerprints)
{
    const std::string start = folder.path.empty() ? "" : toUtf8(folder.path) + '/';
    auto it = fingerprints.lower_bound({folder.folder, start});
    while (it != fingerprints.end() && it->first.first == folder.folder &&
           it->first.second.compare(0, start.size(), start) == 0)
        it = fingerprints.erase(it);
}

}  // namespace

void printDifferences(const std::vector<std::string>& folders, const FoundFiles& files,
                      Fingerprints earlier)
{
    unsigned long addedCount = 0;
    unsigned long changedCount = 0;
    for (const FileEntry& entry : files.entries) {
        const auto found = earlier.find({entry.folder, toUtf8(entry.path)});
        const std::string path = joinPath(folders[entry.folder], entry.path);
        if (found == earlier.end()) {
            print("added", path);
            ++addedCount;
            continue;
        }
        const std::string digest = toText(entry.digest);
        if (!digest.empty() && !found->second.empty() && digest != found->second) {
            print("changed", path);
            ++changedCount;
        }
        earlier.erase(found);
    }
    for (const FolderEntry& folder : files.unreadFolders)
        eraseBelow(folder, earlier);
    for (const auto& [file, digest] : earlier) {
        const auto& [folder, path] = file;
        print("removed", folder < folders.size() ? joinPath(folders[folder], path) : path);
    }
    std::cout << addedCount << " added, " << earlier.size() << " removed, " << changedCount
              << " changed\n";
}

}  // namespace fingerprint
