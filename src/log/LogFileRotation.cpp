#include <algorithm>
#include <list>
#include <vector>

#include <qz/qzDirUtils.h>
#include <qz/qzStringUtils.h>
#include <qz/qzSystemUtils.h>

#include "LogFile.h"

namespace qz::log {

namespace {

struct OldFile {
    std::string path;
    long modificationTime;
};

std::string joinFolder(const qzLogParameters& parameters, const std::string& name)
{
    return parameters.folder + "/" + name;
}

std::vector<std::string> listFiles(const qzLogParameters& parameters)
{
    std::vector<std::string> names;
    const std::vector<std::string> extensions = {parameters.extension};
    qzDirUtils::GlobFileAndFolderUtf8(parameters.folder, nullptr, &names, &extensions,
                                      qzDirUtils::GlobBareNames);
    return names;
}

std::list<OldFile> findOldFiles(const qzLogParameters& parameters)
{
    std::string folder;
    std::string currentName;
    qzDirUtils::SplitFolderFilename(parameters.currentFileUtf8, folder, currentName);
    std::list<OldFile> oldFiles;
    for (const std::string& name : listFiles(parameters)) {
        if (name == currentName) continue;
        if (!qzStringUtils::StartsWith(name, parameters.baseName)) continue;
        qzFileInfoUtf8 info;
        const std::string path = joinFolder(parameters, name);
        qzDirUtils::GetFileInfoUtf8(path, info);
        oldFiles.push_back({path, info.lastModificationTime});
    }
    return oldFiles;
}

void removeOldest(std::list<OldFile>& oldFiles, std::size_t countToKeep)
{
    if (oldFiles.size() <= countToKeep) return;
    oldFiles.sort([](const OldFile& left, const OldFile& right) {
        return left.modificationTime < right.modificationTime;
    });
    while (oldFiles.size() > countToKeep) {
        qzDirUtils::RemoveFileUtf8(oldFiles.front().path, nullptr);
        oldFiles.pop_front();
    }
}

}  // namespace

void renamePreviousFile(qzLogParameters& parameters)
{
    const std::string& current = parameters.currentFileUtf8;
    if (!qzDirUtils::FileExistsUtf8(current)) return;
    const std::string datedName =
        current.substr(0, current.size() - parameters.extension.size()) +
        qzSystemUtils::GetCurrentTimeAsString("_%Y-%m-%d-%H-%M-%S", /*localTime=*/true) +
        parameters.extension;
    qzDirUtils::RenameFileUtf8(current, datedName, nullptr);
    parameters.rotationPending = true;
}

void pruneOldFiles(qzLogParameters& parameters)
{
    const bool isDue = parameters.rotationPending && parameters.maxFileCount >= 0;
    parameters.rotationPending = false;
    // Every file would begin with an empty base name.
    if (!isDue || parameters.baseName.empty()) return;
    std::list<OldFile> oldFiles = findOldFiles(parameters);
    removeOldest(oldFiles, static_cast<std::size_t>(parameters.maxFileCount));
}

}  // namespace qz::log
