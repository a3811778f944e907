// SPDX-License-Identifier: MIT
// One of several processes that write to the same log file, which is rotated by size. The clock is
// shared as well, and steps by a second with each rotation.
//
// Arguments: folder, number of this process, number of processes, lines, size of a file. The folder
// holds the file "shared", in which the processes meet.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <string>
#include <thread>

#include <qz/qzLog.h>
#include <qz/qzSystem.h>

namespace {

struct Shared {
    std::atomic<long> rotations;
    std::atomic<int> ready;  // to write
    std::atomic<int> done;   // with all of it
};

std::atomic<Shared*> gShared = nullptr;

Shared* share(const std::string& path)
{
    const int descriptor = ::open(path.c_str(), O_RDWR);
    if (descriptor < 0) return nullptr;
    void* const place =
        ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    ::close(descriptor);
    return place == MAP_FAILED ? nullptr : static_cast<Shared*>(place);
}

// Nobody goes ahead before all are there: the first to leave takes the lock's file along.
void meet(std::atomic<int>& counter, int count)
{
    ++counter;
    while (counter < count)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

}  // namespace

extern "C" int gettimeofday(timeval* now, void* /*zone*/) noexcept
{
    const Shared* const shared = gShared;
    *now = {1794687476 + (shared != nullptr ? shared->rotations.load() : 0), 0};
    return 0;
}

extern "C" int rename(const char* from, const char* to) noexcept
{
    using Call = int (*)(const char*, const char*);
    static const auto realCall = reinterpret_cast<Call>(::dlsym(RTLD_NEXT, "rename"));
    const int result = realCall(from, to);
    Shared* const shared = gShared;
    if (shared != nullptr) ++shared->rotations;
    return result;
}

int main(int argumentCount, char** arguments)
{
    if (argumentCount != 6) return 2;
    const std::string folder = arguments[1];
    const std::string process = arguments[2];
    const int processes = std::atoi(arguments[3]);
    const long lines = std::atol(arguments[4]);
    Shared* const shared = share(folder + "/shared");
    if (shared == nullptr) return 3;
    gShared = shared;

    qz::initializeQzSystem(qz::FullInit);
    qz::qzLog& log = *qz::qzLog::msInstance;
    log.installFileHandlerExUtf8(folder + "/log.txt", 0, std::atol(arguments[5]), -1,
                                 qz::qzLog::RotateNever);
    log.flush();
    meet(shared->ready, processes);
    for (long i = 0; i < lines; ++i) {
        qz::qzLog::LogEntry entry;
        entry.type = qz::qzLog::Info;
        entry.message = process + ' ' + std::to_string(i);
        log.Write(entry, /*synchronous=*/i % 1000 == 0);
    }
    log.flush();
    meet(shared->done, processes);
    qz::terminateQzSystem();
    return 0;
}
