// SPDX-License-Identifier: MIT
#include <atomic>
#include <memory>
#include <mutex>

#include <spdlog/async_logger.h>
#include <spdlog/details/file_helper.h>
#include <spdlog/details/thread_pool.h>
#include <spdlog/sinks/base_sink.h>

#include "files.h"
#include "lines.h"

namespace bench {

namespace {

constexpr std::size_t kDefaultQueue = 8192;
constexpr std::size_t kLongQueue = 131072;  // in which all lines of a row have room
constexpr const char* kPattern = "INFO(%n) PID %P %a %b %d %H:%M:%S%z %Y : %v";

// Its file sink, which also tells when a flush has come through the queue: its own flush returns at
// once.
class FileSink : public spdlog::sinks::base_sink<std::mutex> {
public:
    explicit FileSink(const std::string& path) { mFile.open(path, /*truncate=*/true); }

    void begin()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        mFile.reopen(/*truncate=*/true);
    }
    unsigned getFlushes() const { return mFlushes; }
    void awaitFlushAfter(unsigned flushes) const { mFlushes.wait(flushes); }

private:
    void sink_it_(const spdlog::details::log_msg& message) override
    {
        spdlog::memory_buf_t line;
        formatter_->format(message, line);
        mFile.write(line);
    }
    void flush_() override
    {
        mFile.flush();
        ++mFlushes;
        mFlushes.notify_all();
    }

    spdlog::details::file_helper mFile;
    std::atomic<unsigned> mFlushes = 0;
};

class AsyncLogger {
public:
    explicit AsyncLogger(const char* name, std::size_t queueSize = kDefaultQueue)
        : mFile(name),
          mSink(std::make_shared<FileSink>(mFile.getPath())),
          mPool(std::make_shared<spdlog::details::thread_pool>(queueSize, 1)),
          mLogger(std::make_shared<spdlog::async_logger>(kSubType, mSink, mPool))
    {
        mSink->set_pattern(kPattern);
    }

    void begin() { mSink->begin(); }
    void report(std::size_t number)
    {
        mLogger->info("record {} of {} is written", number, kReportedName);
    }
    void flush()
    {
        const unsigned flushes = mSink->getFlushes();
        mLogger->flush();
        mSink->awaitFlushAfter(flushes);
    }
    const std::string& getPath() const { return mFile.getPath(); }

private:
    ScratchFile mFile;
    std::shared_ptr<FileSink> mSink;
    std::shared_ptr<spdlog::details::thread_pool> mPool;
    std::shared_ptr<spdlog::async_logger> mLogger;
};

bool isFileComplete()
{
    AsyncLogger logger("spdlog-check");
    produce(2, 1000, [&](std::size_t number) { logger.report(number); });
    logger.flush();
    return countLines(logger.getPath()) == 1000;
}

template <std::size_t QueueSize>
void measureLines(benchmark::State& state, std::size_t producers, std::size_t lines)
{
    AsyncLogger logger("spdlog-lines", QueueSize);
    for (auto _ : state) {
        state.PauseTiming();
        logger.begin();
        state.ResumeTiming();
        produce(producers, lines, [&](std::size_t number) { logger.report(number); });
        logger.flush();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long>(lines));
}

// A line into a file that stays open, flushed.
void measureFlushedLine(benchmark::State& state)
{
    const ScratchFile file("spdlog-flushed");
    const auto sink = std::make_shared<FileSink>(file.getPath());
    spdlog::logger logger(kSubType, sink);
    logger.set_pattern(kPattern);
    logger.flush_on(spdlog::level::info);
    for (auto _ : state)
        logger.info("record {} of {} is written", 1, kReportedName);
}

template <int PerMille>
void measureReportLatency(benchmark::State& state)
{
    AsyncLogger logger("spdlog-latency");
    for (auto _ : state) {
        state.SetIterationTime(
            measureLatency(PerMille / 1000.0, [&](std::size_t number) { logger.report(number); }));
        logger.flush();
    }
}

const Check kFileCheck("lines in the file by spdlog", isFileComplete);
const Case kFlushedLine("light start, a line", "spdlog", measureFlushedLine);
const ProducerRows<measureLines<kDefaultQueue>> kProducerRows("spdlog");
// The same with a queue that no producer ever finds full.
const ProducerRows<measureLines<kLongQueue>> kLongQueueRows("spdlog, long queue");

const Case kP50("report, p50", "spdlog", measureReportLatency<500>, Clock::Own);
const Case kP99("report, p99", "spdlog", measureReportLatency<990>, Clock::Own);
const Case kP999("report, p99.9", "spdlog", measureReportLatency<999>, Clock::Own);

}  // namespace

}  // namespace bench
