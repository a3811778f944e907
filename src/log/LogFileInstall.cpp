#include <fcntl.h>
#include <unistd.h>

#include <qz/qzDirUtils.h>
#include <qz/qzLogObject.h>

#include "LogFile.h"

namespace qz::log {

namespace {

// What went wrong on the way. It is told only when the file can't be had in the end.
class Notes {
public:
    void add(const std::string& note)
    {
        if (!mText.empty()) mText += ", ";
        mText += note;
    }
    const std::string& getText() const { return mText; }

private:
    std::string mText;
};

void removePreviousFile(const qzLogParameters& parameters, Notes& notes)
{
    std::string error;
    if (qzDirUtils::RemoveFileUtf8(parameters.currentFileUtf8, &error)) return;
    notes.add("Fail to remove previous log file " + error);
}

void makeFolder(const qzLogParameters& parameters, Notes& notes)
{
    if (qzDirUtils::DirExistsUtf8(parameters.folder)) return;
    if (!qzDirUtils::MkpathUtf8(parameters.folder)) notes.add("Fail to create log folder");
}

bool canOpenFile(const qzLogParameters& parameters)
{
    const int descriptor =
        ::open(parameters.currentFileLocal.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor < 0) return false;
    ::close(descriptor);
    return true;
}

void fallBackToConsole(qzLogParameters& parameters)
{
    clearFileNames(parameters);
    parameters.fileFlags = 0;
    parameters.maxFileCount = 0;
    parameters.maxFileSize = 0;
    parameters.timeRotation = qzLog::RotateNever;
    parameters.rotationPending = false;
    parameters.echoToConsole = false;
    parameters.consoleFallback = true;
}

}  // namespace

void installFile(qzLogParameters& parameters)
{
    const int flags = parameters.fileFlags;
    const bool shouldRemove = (flags & FileRemove) != 0;
    Notes notes;
    updateFileName(parameters);
    if (shouldRemove && (flags & FileRename) != 0) renamePreviousFile(parameters);
    pruneOldFiles(parameters);
    if (shouldRemove) removePreviousFile(parameters, notes);
    makeFolder(parameters, notes);
    if (qzDirUtils::FileExistsUtf8(parameters.currentFileUtf8)) return;
    if ((flags & FileUntried) != 0 || canOpenFile(parameters)) return;
    notes.add("Fail to initialize log file");

    const std::string path = parameters.requestedPath;
    fallBackToConsole(parameters);
    logCritical() << "Fail to install log file handler to " << path
                  << " error was : " << notes.getText();
}

}  // namespace qz::log
