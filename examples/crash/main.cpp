// Crashes on a thread of its own, and leaves the story in a log file.

#include <iostream>
#include <memory>
#include <string>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>
#include <qz/qzThread.h>

#include "Orders.h"

// In no unnamed namespace, for the stack trace to show the names; see also ENABLE_EXPORTS in
// examples/CMakeLists.txt.
namespace shop {

/// Says when its scope ends, in whichever way.
class Shift {
public:
    Shift() { qz::logInfo("shop") << "the shift begins"; }
    ~Shift() { qz::logInfo("shop") << "the shift ends"; }
    Shift(const Shift&) = delete;
    Shift& operator=(const Shift&) = delete;
};

/// Looks at two orders, one of which was taken back.
class Worker : public qz::qzThread {
public:
    ~Worker() override { waitThread(msNoLimit); }
    void run() override;
};

void Worker::run()
{
    const Shift shift;
    Orders orders;
    orders["pencils"] = std::make_unique<Order>(Order{12});
    orders["paper"] = nullptr;
    for (const char* const thing : {"pencils", "paper"}) {
        const int amount = readAmount(orders, thing);
        qz::logInfo("shop") << thing << ": " << amount;
    }
}

}  // namespace shop

namespace {

constexpr const char* kUsage =
    "usage: crash LOG-FILE\n"
    "\n"
    "Crashes in a thread, on purpose. The end of the log file tells where: the report of the\n"
    "crash with a stack trace, the line of the guard that the thread runs in, and the signal\n"
    "that ends the process, SIGABRT.\n";

}  // namespace

int main(int argumentCount, char** arguments)
{
    const std::string path = argumentCount == 2 ? arguments[1] : "";
    if (path.empty() || path == "--help") {
        (path.empty() ? std::cerr : std::cout) << kUsage;
        return path.empty() ? 2 : 0;
    }
    qz::initializeQzSystem(qz::FullInit);
    qz::qzLog::msInstance->installFileHandlerExUtf8(path, /*flags=*/0, /*maxSize=*/-1,
                                                    /*maxFiles=*/-1, qz::qzLog::RotateNever);
    {
        shop::Worker worker;
        worker.startThread("worker");
    }
    qz::terminateQzSystem();  // not reached
    return 0;
}
