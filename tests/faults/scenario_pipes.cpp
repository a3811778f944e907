// SPDX-License-Identifier: MIT
// A server listens, a client connects, bytes go both ways, and both sides close.

#include <stdlib.h>

#include <memory>
#include <string>

#include <qz/qzLog.h>
#include <qz/qzNamedPipe.h>

#include "faults/Scenario.h"
#include "support/Allocations.h"
#include "support/LibraryStart.h"

namespace {

using qz::qzNamedPipe;
using qz::qzNamedPipeServer;

std::string gReports;

void collect(std::list<qz::qzLog::LogEntry>& batch, void* /*unused*/)
{
    const qz::support::AllocationPause ownWork;
    for (const qz::qzLog::LogEntry& entry : batch)
        gReports += ": " + entry.message;
}

// What of a text arrives, in as many calls as a fault may cost.
std::string pass(qzNamedPipe& from, qzNamedPipe& to)
{
    from.editWriteQueue().assign(4, 'x');
    for (int i = 0; i < 4 && to.editReadQueue().size() < 4; ++i) {
        from.processNamedPipeEvents(0, false);
        to.processNamedPipeEvents(0, false);
    }
    if (from.hasWriteFailed()) return "write failed";
    if (to.isReadChannelClosed()) return "read channel closed";
    if (!to.isConnected()) return "pipe closed";
    return to.editReadQueue() == std::vector<char>(4, 'x') ? "" : "other bytes";
}

std::string talk()
{
    qzNamedPipeServer server;
    qzNamedPipe client;
    if (!server.listenUtf8("pipe")) return "not listening" + gReports;
    if (!client.connectToNamedPipeServerUtf8("pipe")) return "not connected";
    bool timedOut = false;
    if (!server.waitForNewConnection(60'000, &timedOut)) {
        server.processPipeServerEvents(0);
        return server.editPendingConnections().empty() ? "not accepted" : "accepted later";
    }
    const std::unique_ptr<qzNamedPipe> far(server.editPendingConnections().front());
    server.editPendingConnections().pop_front();
    if (const std::string failure = pass(client, *far); !failure.empty()) return "to: " + failure;
    if (const std::string failure = pass(*far, client); !failure.empty()) return "back: " + failure;
    far->closeNamedPipe();
    client.editReadQueue().clear();
    client.processNamedPipeEvents(60'000, true);
    if (!client.isConnected()) return "pipe closed at the end";
    return client.isReadChannelClosed() ? "all passed" : "no end seen";
}

std::string work(const std::string& folder)
{
    gReports.clear();
    ::setenv("TMPDIR", folder.c_str(), 1);
    const qz::faults::Watch watch;
    return talk();
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    qz::qzLog::msInstance->setEchoToConsole(false);
    qz::qzLog::msInstance->installCustomHandler(&collect, nullptr);
    return qz::faults::runScenario(argumentCount, arguments, &work);
}
