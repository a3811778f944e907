// SPDX-License-Identifier: MIT
// Crashes on a thread of its own, and leaves an entry in a log file and, if told so, a report.

#include <iostream>
#include <memory>
#include <string>

#include <qz/ext/CrashKit.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>
#include <qz/qzThread.h>

#include "Orders.h"
#include "shared/CommandLine.h"

// Not in an unnamed namespace, so that the stack trace shows the names; see also ENABLE_EXPORTS in
// examples/CMakeLists.txt.
namespace shop {

/// Reports the beginning and the end of its scope, whatever ends it.
class Shift {
public:
    Shift() { qz::logInfo("shop") << "the shift begins"; }
    ~Shift() { qz::logInfo("shop") << "the shift ends"; }
    Shift(const Shift&) = delete;
    Shift& operator=(const Shift&) = delete;
};

/// Reads two orders, one of which was cancelled.
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
    "usage: crash [--reports=FOLDER] [--] LOG-FILE\n"
    "\n"
    "Crashes in a thread, on purpose. The end of the log file shows where: the report of the\n"
    "crash with a stack trace, the line of the guard that the thread runs in, and the signal\n"
    "that ends the process, SIGABRT.\n"
    "  --reports=FOLDER  also leave a report there, which the command qz-crash shows\n"
    "  --                what follows is LOG-FILE\n"
    "  -h, --help        print this text\n"
    "Exit status: 1 if no report can be left; 134 in a shell, for SIGABRT; 2 for a wrong command "
    "line.\n";

constexpr int kStatusFailed = 1;

// Leaves reports in a folder; an empty one stands for none.
bool installCrashKit(const std::string& folder)
{
    qz::ext::CrashOptions options;
    options.folder = folder;
    qz::ext::SystemFailure failure;
    if (folder.empty() || qz::ext::CrashKit::Install(options, &failure)) return true;
    std::cerr << "crash: cannot leave reports: " << failure.toString() << '\n';
    return false;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    shared::CommandLine line("crash", kUsage, kStatusFailed);
    std::string reportFolder;
    line.addText("--reports", reportFolder);
    if (const std::optional<int> status = line.parse(argumentCount, arguments)) return *status;
    if (line.getPlainArguments().size() != 1 || line.getPlainArguments()[0].empty())
        return line.refuse("one LOG-FILE is required");

    qz::initializeQzSystem(qz::FullInit);
    qz::qzLog::msInstance->installFileHandlerExUtf8(line.getPlainArguments()[0], /*flags=*/0,
                                                    /*maxSize=*/-1, /*maxFiles=*/-1,
                                                    qz::qzLog::RotateNever);
    if (!installCrashKit(reportFolder)) {
        qz::terminateQzSystem();
        return kStatusFailed;
    }
    {
        shop::Worker worker;
        worker.startThread("worker");
    }
    qz::terminateQzSystem();  // not reached
    return 0;
}
