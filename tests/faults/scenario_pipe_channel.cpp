// SPDX-License-Identifier: MIT
// A server listens, which a second one may not, a client connects, a message goes to and fro, and
// the client closes.

#include <stdlib.h>

#include <string>

#include <qz/ext/PipeChannel.h>
#include <qz/qzCancelInterface.h>

#include "faults/Scenario.h"
#include "support/LibraryStart.h"

namespace {

using namespace qz::ext;

constexpr int kLongTimeMs = 0x7FFFFFFF;
const char* const kName = "channel";

// The call and the reason, without the path.
std::string describe(const SystemFailure& failure)
{
    return SystemFailure{failure.step.substr(0, failure.step.find_first_of(" ,")), failure.error}
        .toString();
}

// A server that can be stopped when something has happened to a client.
struct Service : qz::qzCancelInterfaceReadOnly {
    Service()
    {
        server.onMessage([&](PipeServer::Peer& peer, const std::string& message) {
            hasNews = true;
            peer.send(message + message);
        });
        server.onClosed([&](PipeServer::Peer&, const SystemFailure& reason) {
            hasNews = true;
            closed = describe(reason);
        });
    }
    bool shouldCancel() const override { return hasNews; }

    std::string serve()
    {
        hasNews = false;
        SystemFailure failure;
        if (!server.serve(kLongTimeMs, this, &failure)) return "serve: " + describe(failure);
        // What could not be sent in the round of the news is sent in the next one.
        if (!server.serve(0, this, &failure)) return "serve: " + describe(failure);
        return hasNews ? "" : "no news";
    }

    PipeServer server;
    bool hasNews = false;
    std::string closed;  // why the connection has ended
};

std::string talk()
{
    Service service;
    PipeServer second;
    PipeChannel client;
    SystemFailure failure;
    if (!service.server.listen(kName, &failure)) return "listen: " + describe(failure);
    if (second.listen(kName, &failure)) return "two servers";
    const std::string refusal = "refused: " + describe(failure) + "; ";
    if (!client.connect(kName, kLongTimeMs, nullptr, &failure))
        return refusal + "connect: " + describe(failure);
    if (!client.send("text", kLongTimeMs, nullptr, &failure))
        return refusal + "send: " + describe(failure);
    if (const std::string end = service.serve(); !end.empty()) return refusal + end;
    std::string answer;
    if (!client.receive(answer, kLongTimeMs, nullptr, &failure))
        return refusal + "receive: " + describe(failure) + ", at the server " + service.closed;
    client.close();
    if (const std::string end = service.serve(); !end.empty()) return refusal + answer + ", " + end;
    return refusal + answer + ", " + service.closed;
}

std::string work(const std::string& folder)
{
    ::setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
    const qz::faults::Watch watch;
    return talk();
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    return qz::faults::runScenario(argumentCount, arguments, &work);
}
