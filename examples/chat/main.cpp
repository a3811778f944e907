// SPDX-License-Identifier: MIT
// Two terminals talk over a named pipe.

#include <csignal>
#include <iostream>
#include <memory>

#include <qz/ext/LibraryStart.h>
#include <qz/ext/PrintableText.h>
#include <qz/qzNamedPipe.h>

#include "Conversation.h"
#include "Options.h"

namespace {

using namespace chat;

std::unique_ptr<qz::qzNamedPipe> waitForPeer(const std::string& name)
{
    qz::qzNamedPipeServer server;
    if (!server.listenUtf8(name)) return nullptr;
    std::cerr << "chat: waiting as '" << qz::ext::escaped(name) << "'\n";
    // A caught signal or a client that is gone again ends no wait.
    if (!server.waitForNewConnection(/*timeoutMs=*/-1, /*timedOut=*/nullptr)) return nullptr;
    std::unique_ptr<qz::qzNamedPipe> peer(server.editPendingConnections().front());
    server.editPendingConnections().pop_front();
    return peer;
}

std::unique_ptr<qz::qzNamedPipe> connectToPeer(const std::string& name)
{
    auto peer = std::make_unique<qz::qzNamedPipe>();
    return peer->connectToNamedPipeServerUtf8(name) ? std::move(peer) : nullptr;
}

Status talk(qz::qzNamedPipe& peer)
{
    std::cerr << "chat: connected\n";
    Conversation conversation(peer);
    switch (conversation.run()) {
        case Conversation::End::Input:
            return StatusDone;
        case Conversation::End::Peer:
            std::cerr << "chat: the other side has left\n";
            if (const std::size_t unsent = conversation.getUnsentBytes())
                std::cerr << "chat: " << unsent << " bytes were not sent\n";
            return StatusLeft;
        case Conversation::End::Output:
            std::cerr << "chat: cannot write the output\n";
            return StatusFailed;
    }
    return StatusFailed;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    Options options;
    if (const std::optional<int> status = parseOptions(argumentCount, arguments, options))
        return *status;

    std::signal(SIGPIPE, SIG_IGN);  // an output that is closed is reported
    const qz::ext::LibraryStart library;
    const std::unique_ptr<qz::qzNamedPipe> peer =
        options.waits ? waitForPeer(options.name) : connectToPeer(options.name);
    if (!peer) {
        std::cerr << "chat: " << (options.waits ? "cannot wait as '" : "nobody waits as '")
                  << qz::ext::escaped(options.name) << "'\n";
        return StatusFailed;
    }
    return talk(*peer);
}
