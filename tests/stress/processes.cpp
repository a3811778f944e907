// SPDX-License-Identifier: MIT
// All that the library does with other processes, on many threads of one process at the same time:
//
//   stress_processes [SECONDS [BUSY]]
//
// for that time, beside as many busy processes. The exit code is 1 if anything was lost.

#include <signal.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <qz/ext/ChildProcess.h>
#include <qz/ext/FileLock.h>
#include <qz/ext/PipeChannel.h>
#include <qz/qzCancelInterface.h>
#include <qz/qzLockFile.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzProcess.h>

#include "stress/StressRun.h"
#include "support/BusyProcesses.h"
#include "support/Children.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

namespace {

using namespace qz;
using namespace qz::ext;
using stress::Random;
using stress::StressRun;
using Clock = std::chrono::steady_clock;

constexpr int kLongMs = 120'000;  // only ends a hang
const char* const kServerName = "stress";

unsigned int choose(Random& random, unsigned int limit)
{
    return static_cast<unsigned int>(random() % limit);
}

std::string makeBytes(Random& random, unsigned int limit)
{
    std::string bytes(choose(random, limit), '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

// --- The jobs. Each returns an empty text, or what was lost.

std::string startAndWait(Random& random)
{
    const int code = static_cast<int>(choose(random, 256));
    qzProcess process;
    process.startProcess("/bin/sh", {"-c", "exit " + std::to_string(code)}, false,
                         static_cast<qzProcess::ProcessPriority>(choose(random, 4)));
    if (!process.waitForFinished(kLongMs)) return "the end of a child";
    return process.exitCode() == code && !process.hasFailedToStart() ? "" : "an exit code";
}

std::string startMissing(Random& random)
{
    if (choose(random, 2) == 0)
        return qzProcess::StartDetachedUtf8("/no/program", {}, "", false) ? "a failed start" : "";
    qzProcess process;
    process.startProcess("/no/program", {}, false, qzProcess::PriorityInherit);
    return process.hasFailedToStart() ? "" : "a failed start";
}

std::string startDetached(Random& /*random*/)
{
    return qzProcess::StartDetachedUtf8("/bin/true", {}, "/", false) ? "" : "a detached start";
}

std::string captureBytes(Random& random)
{
    const std::string bytes = makeBytes(random, 300'000);
    ChildOptions options;
    options.programs.assign(1 + choose(random, 3), {"cat"});
    options.input = ChildInput::Memory(bytes);
    options.output = ChildOutput::Memory();
    const ChildResult result = ChildProcess::Run(options);
    if (!result.isSuccess()) return "a captured program: " + result.failure.toString();
    return result.output == bytes ? "" : "captured bytes";
}

std::string captureLines(Random& random)
{
    const unsigned int count = 1 + choose(random, 500);
    unsigned int lines = 0;
    ChildOptions options;
    options.programs = {{"seq", {std::to_string(count)}}};
    options.output = ChildOutput::Lines([&lines](std::string_view line) {
        if (line == std::to_string(lines + 1)) ++lines;
    });
    const ChildResult result = ChildProcess::Run(options);
    return result.isSuccess() && lines == count ? "" : "lines";
}

std::string stopOnTime(Random& random)
{
    ChildOptions options;
    options.programs = {{"sleep", {"1000"}}};
    options.endsWithParent = choose(random, 2) == 0;
    ChildWait wait;
    wait.timeoutMs = static_cast<int>(choose(random, 5));
    const ChildResult result = ChildProcess::Run(options, wait);
    return result.hasTimedOut && result.ends.size() == 1 && result.ends[0].signal == SIGTERM
               ? ""
               : "the end of a stopped program";
}

// What the holder of a lock alone may change.
struct Guarded {
    std::string lockPath;
    std::string countPath;
    std::atomic<unsigned long> rounds = 0;

    void increment()
    {
        std::fstream file(countPath);  // without truncation, which takes long on some disks
        unsigned long count = 0;
        file >> count;
        file.clear();  // of the end of the file
        std::this_thread::yield();
        file.seekp(0) << count + 1;
        ++rounds;
    }
    bool isWhole() const { return support::readFile(countPath) == std::to_string(rounds); }
};

std::string lockFile(Guarded& guarded)
{
    FileLock lock;
    SystemFailure failure;
    if (!lock.lockUtf8(guarded.lockPath, FileLock::Exclusive, kLongMs, nullptr, &failure))
        return "a lock: " + failure.toString();
    guarded.increment();
    return "";
}

// A process of its own that takes the same lock, by this program.
std::string lockInChild(Guarded& guarded)
{
    const int code =
        qzProcess::ExecUtf8("/proc/self/exe", {"lock", guarded.lockPath, guarded.countPath}, "",
                            false, kLongMs, nullptr);
    if (code != 0) return "a lock of another process, exit code " + std::to_string(code);
    ++guarded.rounds;
    return "";
}

std::string takeLock(Guarded& guarded, Random& random)
{
    qzLockFile lock;
    const auto end = Clock::now() + std::chrono::milliseconds(kLongMs);
    while (!lock.takeLockUtf8(guarded.lockPath, nullptr, qzLockFile::LockExclusive, nullptr)) {
        if (Clock::now() > end) return "a plain lock";
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    guarded.increment();
    return lock.releaseLock(choose(random, 2) == 0, nullptr) ? "" : "the release of a plain lock";
}

std::string talk(Random& random)
{
    PipeChannel channel;
    SystemFailure failure;
    if (!channel.connect(kServerName, kLongMs, nullptr, &failure))
        return "a connection: " + failure.toString();
    for (unsigned int i = choose(random, 20); i > 0; --i) {
        const std::string message = makeBytes(random, 50'000);
        std::string answer;
        if (!channel.send(message, kLongMs, nullptr, &failure) ||
            !channel.receive(answer, kLongMs, nullptr, &failure))
            return "a message: " + failure.toString();
        if (answer != message) return "the bytes of a message";
    }
    return "";
}

std::atomic<unsigned long> gLogged = 0;

std::string writeToLog(Random& random)
{
    logInfo("stress") << std::string(1 + choose(random, 2000), 'x');
    ++gLogged;
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    return "";
}

// --- The run

struct Cancel : qzCancelInterfaceReadOnly {
    bool shouldCancel() const override { return isRequested; }
    std::atomic<bool> isRequested = false;
};

// Answers each message with itself.
class EchoServer {
public:
    EchoServer()
    {
        mServer.onMessage(
            [](PipeServer::Peer& peer, const std::string& message) { peer.send(message); });
        if (!mServer.listen(kServerName, &mFailure)) return;
        mThread = std::thread([this] { mServer.serve(/*timeoutMs=*/-1, &mCancel, &mFailure); });
    }
    ~EchoServer()
    {
        mCancel.isRequested = true;
        if (mThread.joinable()) mThread.join();
        if (mFailure) std::cerr << "server: " << mFailure.toString() << '\n';
    }

private:
    PipeServer mServer;
    SystemFailure mFailure;
    Cancel mCancel;
    std::thread mThread;
};

int runAll(int seconds, int busyProcesses)
{
    // Before any thread, as a child of `fork` has only one of them.
    std::optional<support::BusyProcesses> load(busyProcesses);
    const support::LibraryStart library(FullInit);
    const support::ScratchFolder folder;
    ::setenv("XDG_RUNTIME_DIR", folder.getPath().c_str(), /*overwrite=*/1);
    Guarded guarded{folder.getPath("lock"), folder.write("count", "0")};
    Guarded plain{folder.getPath("plain-lock"), folder.write("plain-count", "0")};
    const std::size_t descriptors = support::countOpenDescriptors();
    support::LogCapture capture;
    StressRun run(seconds);
    {
        const EchoServer server;
        run.add("qzProcess: exit codes", &startAndWait);
        run.add("qzProcess: missing programs", &startMissing);
        run.add("qzProcess: detached programs", &startDetached);
        run.add("ChildProcess: captured bytes", &captureBytes);
        run.add("ChildProcess: captured lines", &captureLines);
        run.add("ChildProcess: stopped on time", &stopOnTime);
        for (int i = 0; i < 3; ++i)
            run.add("FileLock: threads", [&](Random&) { return lockFile(guarded); });
        run.add("FileLock: processes", [&](Random&) { return lockInChild(guarded); });
        for (int i = 0; i < 2; ++i)
            run.add("qzLockFile", [&](Random& random) { return takeLock(plain, random); });
        for (int i = 0; i < 2; ++i)
            run.add("PipeChannel: conversations", &talk);
        run.add("log: entries", &writeToLog);
        run.join();
    }
    load.reset();
    qzLog::msInstance->flush();
    unsigned long seen = 0;
    for (const qzLog::LogEntry& entry : capture.getEntries())
        seen += entry.subType == "stress" ? 1 : 0;
    run.report("log: entries received", seen, gLogged - seen);
    run.report("increments under a FileLock", guarded.rounds, guarded.isWhole() ? 0 : 1);
    run.report("increments under a qzLockFile", plain.rounds, plain.isWhole() ? 0 : 1);
    run.report("children that are left", 0, support::hasChildren() ? 1 : 0);
    const std::size_t left = support::countOpenDescriptors() - descriptors;
    run.report("descriptors that are left", 0, left);
    return run.getExitCode();
}

// The child of `lockInChild`.
int lockOnce(const std::string& lockPath, const std::string& countPath)
{
    const support::LibraryStart library;
    Guarded guarded{lockPath, countPath};
    return lockFile(guarded).empty() ? 0 : 1;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const std::vector<std::string> texts(arguments + 1, arguments + argumentCount);
    if (texts.size() == 3 && texts[0] == "lock") return lockOnce(texts[1], texts[2]);
    return runAll(texts.empty() ? 3 : std::stoi(texts[0]),
                  texts.size() > 1 ? std::stoi(texts[1]) : 0);
}
