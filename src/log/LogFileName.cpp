#include <utility>

#include <qz/qzDirUtils.h>
#include <qz/qzSystemUtils.h>

#include "LogFile.h"
#include "text/LocalPath.h"
#include "text/TextServices.h"

namespace qz::log {

namespace {

const char* getDateFormat(int timeRotation)
{
    switch (timeRotation) {
        case qzLog::RotateDaily:
            return "%Y-%m-%d";
        case qzLog::RotateWeekly:
            return "%Y-W%U";
        default:
            return "%Y-%m";
    }
}

std::string makeFileName(const qzLogParameters& parameters)
{
    std::string name;
    name.reserve(parameters.folder.size() + parameters.baseName.size() +
                 parameters.extension.size() + 16);
    name.append(parameters.folder).append("/").append(parameters.baseName);
    if (parameters.timeRotation != qzLog::RotateNever) {
        name.append("-").append(qzSystemUtils::GetCurrentTimeAsString(
            getDateFormat(parameters.timeRotation), /*localTime=*/true));
    }
    return name.append(parameters.extension);
}

// Lines may still come when the text services are gone.
std::string makeLocalName(const std::string& fileName)
{
    return text::areServicesUp() ? text::toLocal(fileName) : fileName;
}

}  // namespace

void setRequestedPath(qzLogParameters& parameters, const std::string& path)
{
    parameters.rotationPending = true;
    parameters.requestedPath = path;
    parameters.currentFileSecond = kNoSecond;
    std::string fileName;
    qzDirUtils::SplitFolderFilename(path, parameters.folder, fileName);
    parameters.baseName = qzDirUtils::ExtractFileBaseName(fileName);
    // All that is left of the name, so that the file that is written is the one that was asked for.
    parameters.extension = fileName.substr(parameters.baseName.size());
}

void clearFileNames(qzLogParameters& parameters)
{
    parameters.folder.clear();
    parameters.baseName.clear();
    parameters.extension.clear();
    parameters.requestedPath.clear();
    parameters.currentFileUtf8.clear();
    parameters.currentFileLocal.clear();
    parameters.currentFileSecond = kNoSecond;
}

void updateFileName(qzLogParameters& parameters)
{
    if (parameters.requestedPath.empty()) {
        parameters.currentFileUtf8.clear();
        parameters.currentFileLocal.clear();
        parameters.rotationPending = false;
        return;
    }
    // Within a second a name doesn't change.
    const long second = parameters.timeRotation != qzLog::RotateNever
                            ? qzSystemUtils::GetSecElapsedSinceEpoch()
                            : 0;
    if (second == parameters.currentFileSecond) return;
    parameters.currentFileSecond = second;
    std::string fileName = makeFileName(parameters);
    if (fileName == parameters.currentFileUtf8) return;
    parameters.currentFileLocal = makeLocalName(fileName);
    // A name where there was none is that of the file as it was found.
    if (!parameters.currentFileUtf8.empty()) parameters.rotationPending = true;
    parameters.currentFileUtf8 = std::move(fileName);
}

}  // namespace qz::log
