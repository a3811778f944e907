// SPDX-License-Identifier: MIT
// Records the lines of files as binary records, reads them back and compares.

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>

#include <qz/ext/LibraryStart.h>
#include <qz/ext/PrintableText.h>
#include <qz/ext/SecureRandom.h>
#include <qz/qzCancelConsoleEventCatcher.h>
#include <qz/qzLogObject.h>
#include <qz/qzRandomUtils.h>

#include "Options.h"
#include "Part.h"
#include "SampleTexts.h"
#include "Summary.h"

namespace {

using namespace recorder;

enum Status : int { StatusDone = 0, StatusFailed = 1, StatusUsage = 2, StatusInterrupted = 3 };

constexpr const char* kChannel = "recorder";

// Turns Ctrl-C into a request while it exists.
class PoliteInterruption {
public:
    PoliteInterruption() : mCancel(*qz::qzCancelConsoleEventCatcher::Create()) {}
    ~PoliteInterruption() { qz::qzCancelConsoleEventCatcher::Delete(); }
    PoliteInterruption(const PoliteInterruption&) = delete;
    PoliteInterruption& operator=(const PoliteInterruption&) = delete;

    const qz::qzCancelInterfaceReadOnly& getCancel() const { return mCancel; }

private:
    const qz::qzCancelInterfaceReadOnly& mCancel;
};

void setUpLog(const Options& options)
{
    constexpr long kMostBytes = 1024L * 1024;
    constexpr int kOldFiles = 3;
    qz::qzLog& log = *qz::qzLog::msInstance;
    log.setLogLevel(options.logLevel);
    if (options.logPath.empty()) return;
    log.installFileHandlerExUtf8(options.logPath, /*flags=*/0, kMostBytes, kOldFiles,
                                 qz::qzLog::RotateNever);
}

// Distributes the files over as many parts as there are threads.
std::vector<std::vector<std::string>> share(const std::vector<std::string>& paths,
                                            unsigned long partCount)
{
    std::vector<std::vector<std::string>> shares(partCount);
    for (std::size_t i = 0; i < paths.size(); ++i) {
        shares[i % partCount].push_back(paths[i]);
    }
    return shares;
}

using Parts = std::vector<std::unique_ptr<Part>>;

[[noreturn]] void endBySignal(Parts& parts, int signal)
{
    for (const std::unique_ptr<Part>& part : parts)
        part->discard();
    qz::qzLog::msInstance->flush();
    std::cerr << "recorder: interrupted again, the recording is discarded\n";
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::abort();  // not reached: the default action of the signal ends the process
}

void runParts(Parts& parts, Progress& progress)
{
    std::vector<std::unique_ptr<PartThread>> threads;
    threads.reserve(parts.size());
    for (const std::unique_ptr<Part>& part : parts) {
        threads.push_back(std::make_unique<PartThread>(*part));
    }
    // The threads may wait for an input for ever, so nothing waits for them.
    if (const int signal = progress.waitForEnd()) endBySignal(parts, signal);
    // Not in the threads, where a recording could get its name while it is being discarded.
    for (const std::unique_ptr<Part>& part : parts)
        part->keep();
}

void reportInterruption(const Parts& parts)
{
    for (const std::unique_ptr<Part>& part : parts) {
        for (const std::string& path : part->getMissingPaths()) {
            qz::logWarning(kChannel) << "not recorded to its end: '" << path << "'";
            std::cerr << "recorder: not recorded to its end: " << qz::ext::escaped(path) << '\n';
        }
    }
}

Status run(const Options& options, const qz::qzCancelInterfaceReadOnly& cancel)
{
    std::vector<std::string> paths = options.inputPaths;
    if (paths.empty()) paths = findSampleTexts();
    const EntryCounter entries;
    qz::logInfo(kChannel) << "recording " << paths.size() << " files";

    Progress progress(options.threadCount, paths.size(), cancel);
    Parts parts;
    for (std::vector<std::string>& shared : share(paths, options.threadCount)) {
        parts.push_back(std::make_unique<Part>(
            std::move(shared), getPartPath(options, parts.size()), options, cancel, progress));
    }
    runParts(parts, progress);

    Way written;
    Way readBack;
    bool isDone = true;
    for (const std::unique_ptr<Part>& part : parts) {
        addWay(written, part->getWritten());
        addWay(readBack, part->getReadBack());
        isDone = isDone && part->isDone();
    }
    if (cancel.shouldCancel()) reportInterruption(parts);
    if (isDone) qz::logInfo(kChannel) << "all records match";
    qz::qzLog::msInstance->flush();
    printSummary(written, readBack, entries);
    std::cout << (isDone ? "  all records match\n" : "  not all records match; the log says why\n");
    if (!std::cout.flush()) {
        std::cerr << "recorder: cannot print the result\n";
        return StatusFailed;
    }
    if (cancel.shouldCancel()) return StatusInterrupted;
    return isDone ? StatusDone : StatusFailed;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    Options options;
    if (const std::optional<int> status = parseOptions(argumentCount, arguments, options))
        return *status;

    const qz::ext::LibraryStart library(qz::FullInit);
    // Others can write to the folder for temporary files, where the swap files are.
    qz::qzRandomUtils::SetRandGenerator(&qz::ext::SecureRandom::Generate);
    const PoliteInterruption interruption;
    setUpLog(options);
    return run(options, interruption.getCancel());
}
