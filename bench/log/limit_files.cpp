// SPDX-License-Identifier: MIT
// No peer but the floor: texts are made and queued under a lock by the producers, and one thread
// puts a prefix before each and writes them.

#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include "files.h"
#include "lines.h"

namespace bench {

namespace {

constexpr std::string_view kPrefix = "INFO(iodevice) PID 12345 Sat Nov 14 20:17:56+0000 2026 : ";
constexpr std::size_t kBatchBytes = 65536;

struct Entry {
    timeval time;
    std::string text;
};

class QueueToFile {
public:
    explicit QueueToFile(const std::string& path)
        : mDescriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666))
    {
    }
    ~QueueToFile()
    {
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mEnds = true;
        }
        mQueued.notify_one();
        mThread.join();
        ::close(mDescriptor);
    }
    QueueToFile(const QueueToFile&) = delete;
    QueueToFile& operator=(const QueueToFile&) = delete;

    void report(std::size_t number)
    {
        Entry entry;
        ::gettimeofday(&entry.time, nullptr);
        entry.text.reserve(80);
        entry.text += "record ";
        entry.text += std::to_string(number);
        entry.text += " of ";
        entry.text += kReportedName;
        entry.text += " is written";
        bool wasEmpty = false;
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            wasEmpty = mQueue.empty();
            mQueue.push_back(std::move(entry));
        }
        if (wasEmpty) mQueued.notify_one();
    }

private:
    void run()
    {
        std::vector<Entry> entries;
        std::string batch;
        bool ends = false;
        while (!ends) {
            {
                std::unique_lock<std::mutex> lock(mMutex);
                mQueued.wait(lock, [this] { return mEnds || !mQueue.empty(); });
                entries.swap(mQueue);
                ends = mEnds && entries.empty();
            }
            for (const Entry& entry : entries) {
                batch.append(kPrefix).append(entry.text).push_back('\n');
                if (batch.size() > kBatchBytes) writeOut(batch);
            }
            writeOut(batch);
            entries.clear();
        }
    }
    void writeOut(std::string& batch) const
    {
        [[maybe_unused]] const ssize_t count = ::write(mDescriptor, batch.data(), batch.size());
        batch.clear();
    }

    int mDescriptor;
    std::mutex mMutex;
    std::condition_variable mQueued;
    std::vector<Entry> mQueue;
    bool mEnds = false;
    std::thread mThread{&QueueToFile::run, this};
};

bool isFileComplete()
{
    const ScratchFile file("limit-check");
    {
        QueueToFile queue(file.getPath());
        produce(2, 1000, [&queue](std::size_t number) { queue.report(number); });
    }
    return countLines(file.getPath()) == 1000;
}

void measureLines(benchmark::State& state, std::size_t producers, std::size_t lines)
{
    const ScratchFile file("limit-lines");
    for (auto _ : state) {
        QueueToFile queue(file.getPath());
        produce(producers, lines, [&queue](std::size_t number) { queue.report(number); });
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long>(lines));
}

void measureReportLatency(benchmark::State& state)
{
    const ScratchFile file("limit-latency");
    for (auto _ : state) {
        QueueToFile queue(file.getPath());
        state.SetIterationTime(
            measureLatency(0.5, [&queue](std::size_t number) { queue.report(number); }));
    }
}

const Check kFileCheck("lines in the file by the limit", isFileComplete);
const ProducerRows<measureLines> kProducerRows("limit");
const Case kP50("report, p50", "limit", measureReportLatency, Clock::Own);

}  // namespace

}  // namespace bench
