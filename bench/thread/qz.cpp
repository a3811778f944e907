// SPDX-License-Identifier: MIT
#include <qz/qzThread.h>

#include "../support.h"

namespace bench {

namespace {

class IdleThread : public qz::qzThread {
public:
    ~IdleThread() override { waitThread(msNoLimit); }
    void run() override {}
};

bool startsLibrary()
{
    startLibrary();
    return true;
}

void measureStartAndJoin(benchmark::State& state)
{
    IdleThread thread;
    for (auto _ : state) {
        thread.startThread("idle");
        thread.waitThread(qz::qzThread::msNoLimit);
    }
}

const Check kStart("the library doesn't start", startsLibrary);
const Case kStartAndJoin("start and join", "qz", measureStartAndJoin, Clock::Wall);

}  // namespace

}  // namespace bench
