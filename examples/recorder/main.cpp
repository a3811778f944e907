// Records the lines of files as binary records, reads them back and compares.

#include <iostream>

#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>
#include <qz/qzSystemUtils.h>

#include "Interruption.h"
#include "Options.h"
#include "OutputFile.h"
#include "Recording.h"
#include "SampleTexts.h"
#include "Summary.h"

namespace {

using namespace recorder;

constexpr const char* kChannel = "recorder";

// Keeps the library started for as long as it lives.
class LibraryStart {
public:
    LibraryStart() { qz::initializeQzSystem(qz::LightInit); }
    ~LibraryStart() { qz::terminateQzSystem(); }
    LibraryStart(const LibraryStart&) = delete;
    LibraryStart& operator=(const LibraryStart&) = delete;
};

class StopWatch {
public:
    unsigned long getElapsedMs() const { return qz::qzSystemUtils::GetTimeBaseMs() - mStart; }

private:
    unsigned long mStart = qz::qzSystemUtils::GetTimeBaseMs();
};

// Drops the inputs that can't be opened from `paths`; `hasFailures` tells whether any could not be
// read. Returns whether the recording was written.
bool record(std::vector<std::string>& paths, const std::string& recordingPath,
            const Options& options, Way& written, bool& hasFailures)
{
    const StopWatch watch;
    RecordWriter writer(recordingPath, options.endianness);
    bool allRead = true;
    std::vector<std::string> recorded;
    for (const std::string& path : paths) {
        if (!writer.isOk() || isInterrupted()) break;
        const unsigned long filesBefore = writer.getCounts().files;
        std::string error;
        if (!writer.recordFile(path, error)) {
            qz::logWarning(kChannel) << "cannot record '" << path << "': " << error;
            allRead = false;
        }
        if (writer.getCounts().files != filesBefore) recorded.push_back(path);
    }
    const bool allWritten = writer.finish();
    written = {writer.getCounts(), watch.getElapsedMs()};
    paths = recorded;
    if (!allWritten) {
        qz::logCritical(kChannel) << "cannot write '" << recordingPath
                                  << "': " << writer.getError();
    }
    hasFailures = !allRead;
    return allWritten;
}

bool compare(const std::vector<std::string>& paths, const std::string& recordingPath,
             const Options& options, Way& readBack)
{
    const StopWatch watch;
    RecordReader reader(recordingPath, options.endianness);
    bool allMatched = true;
    for (const std::string& path : paths) {
        if (isInterrupted()) break;
        if (reader.compareFile(path)) continue;
        qz::logCritical(kChannel) << "the recording differs from '" << path << "' "
                                  << reader.getError();
        allMatched = false;
        break;
    }
    readBack = {reader.getCounts(), watch.getElapsedMs()};
    return allMatched && reader.isAtEnd();
}

// Returns whether all inputs were recorded and came back the same.
bool run(const Options& options)
{
    std::vector<std::string> paths = options.inputPaths;
    if (paths.empty()) paths = findSampleTexts();
    const EntryCounter entries;
    qz::logInfo(kChannel) << "recording " << paths.size() << " files";
    OutputFile output(options.outputPath);
    Way written;
    Way readBack;
    bool hasFailures = false;
    const bool allWritten = record(paths, output.getWorkPath(), options, written, hasFailures);
    const bool allMatched = allWritten && compare(paths, output.getWorkPath(), options, readBack);
    if (isInterrupted()) return false;
    if (allMatched) qz::logInfo(kChannel) << "all records match";
    const bool isKept = !allMatched || output.keep();
    if (!isKept) qz::logCritical(kChannel) << "cannot make '" << options.outputPath << "'";
    printSummary(written, readBack, entries);
    return allMatched && isKept && !hasFailures;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    Options options;
    std::string error;
    if (!parseOptions(argumentCount, arguments, options, error)) {
        std::cerr << "recorder: " << error << '\n' << kUsage;
        return 2;
    }
    if (options.wantsHelp) {
        std::cout << kUsage;
        return 0;
    }

    watchForInterruption();
    bool isDone = false;
    {
        const LibraryStart library;
        qz::qzLog::msInstance->setLogLevel(options.logLevel);
        isDone = run(options);
    }
    if (isInterrupted()) endAsRequested();
    return isDone ? 0 : 1;
}
