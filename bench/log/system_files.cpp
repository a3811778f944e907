// SPDX-License-Identifier: MIT
#include <condition_variable>
#include <mutex>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include "files.h"
#include "lines.h"

// What the system itself takes for the same work.

namespace bench {

namespace {

constexpr std::string_view kLine =
    "INFO(iodevice) PID 12345 Sat Nov 14 20:17:56+0000 2026 : record 1 of "
    "/var/lib/records/2026-11.dat is written\n";

void writeLine(const std::string& path)
{
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    ::lseek(descriptor, 0, SEEK_END);
    [[maybe_unused]] const ssize_t written = ::write(descriptor, kLine.data(), kLine.size());
    ::close(descriptor);
}

void measureLine(benchmark::State& state)
{
    const ScratchFile file("system-line");
    for (auto _ : state)
        writeLine(file.getPath());
}

// A thread that writes a line whenever it is asked to, and says when it has.
class Writer {
public:
    explicit Writer(const std::string& path) : mPath(path) {}
    ~Writer()
    {
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mEnds = true;
        }
        mAsked.notify_all();
        mThread.join();
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    void write()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        mIsAsked = true;
        mAsked.notify_all();
        mWritten.wait(lock, [this] { return !mIsAsked; });
    }

private:
    void run()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        while (true) {
            mAsked.wait(lock, [this] { return mIsAsked || mEnds; });
            if (mEnds) return;
            lock.unlock();
            writeLine(mPath);
            lock.lock();
            mIsAsked = false;
            mWritten.notify_all();
        }
    }

    std::string mPath;
    std::mutex mMutex;
    std::condition_variable mAsked;
    std::condition_variable mWritten;
    bool mIsAsked = false;
    bool mEnds = false;
    std::thread mThread{&Writer::run, this};
};

void measureWakeUps(benchmark::State& state)
{
    const ScratchFile file("system-wake-ups");
    Writer writer(file.getPath());
    for (auto _ : state)
        writer.write();
}

const Case kLine1("light start, a line", "system calls", measureLine);
const Case kWakeUps("synchronous report", "two wake-ups", measureWakeUps, Clock::Wall);

}  // namespace

}  // namespace bench
