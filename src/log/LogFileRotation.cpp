// SPDX-License-Identifier: MIT
#include <algorithm>
#include <list>
#include <vector>

#include <qz/qzDirUtils.h>
#include <qz/qzLogObject.h>
#include <qz/qzStringUtils.h>

#include "LogFile.h"
#include "frame/base/TimeText.h"

// The installation of a log file, and what becomes of the files before it.

namespace qz::log {

namespace {

struct OldFile {
    std::string path;
    long modificationTime;
};

void addNote(std::string& notes, const std::string& note)
{
    if (!notes.empty()) notes += ", ";
    notes += note;
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
        const std::string path = parameters.folder + "/" + name;
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

void LogFile::install(const std::string& requestedPath)
{
    const int flags = mParameters.fileFlags;
    const bool shouldRemove = (flags & FileRemove) != 0;
    std::string notes;  // reported only if there is no file in the end
    updateName();
    if (shouldRemove && (flags & FileRename) != 0) renamePrevious();
    prune();
    if (shouldRemove) removePrevious(notes);
    makeFolder(notes);
    if (qzDirUtils::FileExistsUtf8(mParameters.currentFileUtf8)) return;
    if ((flags & FileUntried) != 0 || canOpen()) return;
    addNote(notes, "Fail to initialize log file");

    const std::string path = isRequested() ? mParameters.requestedPath : requestedPath;
    fallBackToConsole();
    logCritical() << "Fail to install log file handler to " << path << " error was : " << notes;
}

void LogFile::removePrevious(std::string& notes) const
{
    std::string error;
    if (qzDirUtils::RemoveFileUtf8(mParameters.currentFileUtf8, &error)) return;
    addNote(notes, "Fail to remove previous log file " + error);
}

void LogFile::makeFolder(std::string& notes) const
{
    if (qzDirUtils::DirExistsUtf8(mParameters.folder)) return;
    if (!qzDirUtils::MkpathUtf8(mParameters.folder)) addNote(notes, "Fail to create log folder");
}

bool LogFile::canOpen() const
{
    return FileDescriptor::Open(mParameters.currentFileLocal.c_str(), kOpenFlags | O_TRUNC)
        .isOpen();
}

void LogFile::fallBackToConsole()
{
    forget();
    mParameters.fileFlags = 0;
    mParameters.maxFileCount = 0;
    mParameters.maxFileSize = 0;
    mParameters.timeRotation = qzLog::RotateNever;
    mParameters.rotationPending = false;
    mParameters.echoToConsole = false;
    mParameters.consoleFallback = true;
}

void LogFile::renamePrevious()
{
    const std::string& current = mParameters.currentFileUtf8;
    if (!qzDirUtils::FileExistsUtf8(current)) return;
    const std::string datedName = current.substr(0, current.size() - mParameters.extension.size()) +
                                  getPresentTimeText("_%Y-%m-%d-%H-%M-%S") + mParameters.extension;
    qzDirUtils::RenameFileUtf8(current, datedName, nullptr);
    mParameters.rotationPending = true;
}

void LogFile::prune()
{
    const bool isDue = mParameters.rotationPending && mParameters.maxFileCount >= 0;
    mParameters.rotationPending = false;
    // Every file would begin with an empty base name.
    if (!isDue || mParameters.baseName.empty()) return;
    std::list<OldFile> oldFiles = findOldFiles(mParameters);
    removeOldest(oldFiles, static_cast<std::size_t>(mParameters.maxFileCount));
}

}  // namespace qz::log
