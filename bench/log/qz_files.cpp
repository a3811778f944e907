// SPDX-License-Identifier: MIT
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>

#include "files.h"
#include "lines.h"

namespace bench {

namespace {

constexpr long kNoLimit = -1;
constexpr int kKeepOthers = -1;
constexpr int kRemovePrevious = 1;

// The log thread, at work until the end of the program.
void startLogThread()
{
    startLibrary();
    static const bool isStarted = [] {
        qz::initializeQzSystem(qz::FullInit);
        std::atexit(qz::terminateQzSystem);
        return true;
    }();
    static_cast<void>(isStarted);
}

// Has the logger write to a file for as long as it lives.
class LogToFile {
public:
    explicit LogToFile(const char* name) : mFile(name) { begin(); }
    ~LogToFile() { qz::qzLog::msInstance->removeFileHandler(); }
    LogToFile(const LogToFile&) = delete;
    LogToFile& operator=(const LogToFile&) = delete;

    // Empties the file.
    void begin()
    {
        qz::qzLog::msInstance->installFileHandlerExUtf8(mFile.getPath(), kRemovePrevious, kNoLimit,
                                                        kKeepOthers, qz::qzLog::RotateNever);
        qz::qzLog::msInstance->flush();
    }
    const std::string& getPath() const { return mFile.getPath(); }

private:
    ScratchFile mFile;
};

// A logger without a thread in place of the other one, for as long as it lives.
class LightLogger {
public:
    LightLogger() : mLog(/*threadSafe=*/false), mOther(qz::qzLog::msInstance)
    {
        qz::qzLog::msInstance = &mLog;
    }
    ~LightLogger() { qz::qzLog::msInstance = mOther; }
    LightLogger(const LightLogger&) = delete;
    LightLogger& operator=(const LightLogger&) = delete;

private:
    qz::qzLog mLog;
    qz::qzLog* mOther;
};

void reportLine(std::size_t number)
{
    qz::logInfo(kSubType) << "record " << number << " of " << kReportedName << " is written";
}

bool isFileComplete()
{
    startLogThread();
    LogToFile log("log-check");
    produce(2, 1000, reportLine);
    qz::qzLog::msInstance->flush();
    return countLines(log.getPath()) == 1000;
}

void measureLines(benchmark::State& state, std::size_t producers, std::size_t lines)
{
    LogToFile log("log-lines");
    for (auto _ : state) {
        state.PauseTiming();
        log.begin();
        state.ResumeTiming();
        produce(producers, lines, reportLine);
        qz::qzLog::msInstance->flush();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long>(lines));
}

void measureLightLine(benchmark::State& state)
{
    const LightLogger logger;
    LogToFile log("log-light");
    for (auto _ : state)
        reportLine(1);
}

void measureSynchronousReport(benchmark::State& state)
{
    LogToFile log("log-synchronous");
    for (auto _ : state)
        qz::logWarning(kSubType) << "record " << 1UL << " of " << kReportedName << " is written";
}

template <int PerMille>
void measureReportLatency(benchmark::State& state)
{
    LogToFile log("log-latency");
    for (auto _ : state) {
        state.SetIterationTime(measureLatency(PerMille / 1000.0, reportLine));
        qz::qzLog::msInstance->flush();
    }
}

const Check kFileCheck("lines in the file by qz", isFileComplete);
const Case kLightLine("light start, a line", "qz", measureLightLine);
const ProducerRows<measureLines> kProducerRows("qz");
const Case kSynchronous("synchronous report", "qz", measureSynchronousReport, Clock::Wall);
const Case kP50("report, p50", "qz", measureReportLatency<500>, Clock::Own);
const Case kP99("report, p99", "qz", measureReportLatency<990>, Clock::Own);
const Case kP999("report, p99.9", "qz", measureReportLatency<999>, Clock::Own);

}  // namespace

}  // namespace bench
