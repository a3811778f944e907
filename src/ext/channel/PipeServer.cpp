// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cerrno>
#include <climits>
#include <list>
#include <memory>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include <qz/ext/FileLock.h>
#include <qz/ext/PipeChannel.h>

#include "LocalSocket.h"
#include "PipePeer.h"
#include "base/LocalText.h"
#include "base/PrivateFolder.h"

namespace qz::ext {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kLockSuffix = ".pipe-lock";
// Other connections must not wait for ever while many clients arrive.
constexpr int kMaxAcceptedInARound = 64;
// If the system can't accept, the waiting client would end each `poll` at once.
constexpr std::chrono::milliseconds kAcceptPause(100);
// How exactly a client's stall is noticed.
constexpr int kTimerPeriodMs = 50;

// Makes a callback, and holds it meanwhile, because it may set another one in its place.
template <typename Callback, typename... Arguments>
void call(std::shared_ptr<const Callback> callback, Arguments&... arguments)
{
    if (callback && *callback) (*callback)(arguments...);
}

}  // namespace

struct PipeServer::State {
    explicit State(const Limits& someLimits) : limits(someLimits)
    {
        const unsigned long longestBytes = limits.messageBytes + MessageStream::kHeaderBytes;
        limits.queuedBytes = std::max(limits.queuedBytes, 2 * longestBytes);
    }

    Limits limits;
    std::shared_ptr<const ConnectedCallback> onConnected;
    std::shared_ptr<const MessageCallback> onMessage;
    std::shared_ptr<const ClosedCallback> onClosed;

    // Who has the lock is the server of the name, so that a socket's file without it is an old one.
    FileLock nameLock;
    std::string localPath;
    OwnDescriptor listener;
    Clock::time_point acceptAgain;  // not before this time
    std::list<std::unique_ptr<PipePeer>> peers;
    std::vector<pollfd> waiting;  // those of the peers in their order, and the listener

    bool canAccept() const
    {
        return peers.size() < limits.connections && Clock::now() >= acceptAgain;
    }
    bool serveOnce(int pauseMs, SystemFailure* failure);
    int getLongestPauseMs() const;
    bool waitForAll(int pauseMs, SystemFailure* failure);
    void acceptClients();
    void addClient(OwnDescriptor socket);
    void removeClosedPeers();
};

int PipeServer::State::getLongestPauseMs() const
{
    bool hasTimer = Clock::now() < acceptAgain;
    for (const auto& peer : peers) {
        if (peer->hasWork()) return 0;
        hasTimer = hasTimer || peer->hasTimer();
    }
    return hasTimer ? kTimerPeriodMs : INT_MAX;
}

bool PipeServer::State::waitForAll(int pauseMs, SystemFailure* failure)
{
    waiting.clear();
    for (const auto& peer : peers)
        waiting.push_back({peer->getSocket(), peer->getEvents(), 0});
    waiting.push_back({canAccept() ? listener.get() : -1, POLLIN, 0});
    if (::poll(waiting.data(), waiting.size(), pauseMs) >= 0) return true;
    if (errno != EINTR) return fail(failure, "poll", errno);
    for (pollfd& each : waiting)
        each.revents = 0;
    return true;
}

bool PipeServer::State::serveOnce(int pauseMs, SystemFailure* failure)
{
    if (!waitForAll(pauseMs, failure)) return false;
    const auto deliver = [this](Peer& peer, const std::string& message) {
        call(onMessage, peer, message);
    };
    std::size_t index = 0;
    for (const auto& peer : peers) {
        const short events = waiting[index++].revents;
        peer->receive((events & ~POLLOUT) != 0, deliver);
    }
    // Only now, because a callback may have queued something for any peer.
    for (const auto& peer : peers)
        peer->sendQueued();
    if (waiting.back().revents != 0) acceptClients();
    removeClosedPeers();
    return true;
}

void PipeServer::State::acceptClients()
{
    for (int i = 0; i < kMaxAcceptedInARound && peers.size() < limits.connections; ++i) {
        OwnDescriptor socket = OwnDescriptor::Open([&] {
            return ::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        });
        if (socket.isOpen()) {
            addClient(std::move(socket));
        } else if (errno == EAGAIN) {
            return;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            acceptAgain = Clock::now() + kAcceptPause;
            return;
        }
    }
}

void PipeServer::State::addClient(OwnDescriptor socket)
{
    ucred process = {};
    SystemFailure failure;
    const bool isKnown = findPeer(socket.get(), process, &failure);
    peers.push_back(std::make_unique<PipePeer>(std::move(socket), process, limits));
    PipePeer& peer = *peers.back();
    if (!isKnown) {
        peer.close(failure);
    } else if (process.uid != ::geteuid()) {
        peer.close({"accept, a client of user " + std::to_string(process.uid), EACCES});
    } else {
        call(onConnected, peer);
    }
}

void PipeServer::State::removeClosedPeers()
{
    for (auto it = peers.begin(); it != peers.end();) {
        if ((*it)->isOpen()) {
            ++it;
            continue;
        }
        const std::unique_ptr<PipePeer> gone = std::move(*it);
        it = peers.erase(it);
        call(onClosed, *gone, gone->getReason());
    }
}

PipeServer::PipeServer() : PipeServer(Limits()) {}
PipeServer::PipeServer(const Limits& limits) : mState(std::make_unique<State>(limits)) {}

PipeServer::~PipeServer()
{
    close();
}

void PipeServer::onConnected(ConnectedCallback callback)
{
    mState->onConnected = std::make_shared<const ConnectedCallback>(std::move(callback));
}

void PipeServer::onMessage(MessageCallback callback)
{
    mState->onMessage = std::make_shared<const MessageCallback>(std::move(callback));
}

void PipeServer::onClosed(ClosedCallback callback)
{
    mState->onClosed = std::make_shared<const ClosedCallback>(std::move(callback));
}

bool PipeServer::listen(const std::string& name, SystemFailure* failure)
{
    State& state = *mState;
    if (state.listener.isOpen()) return fail(failure, "listen", EISCONN);
    std::string lockPath;
    if (!findPrivatePath(name, kSocketSuffix, state.localPath, failure) ||
        !findPrivatePath(name, kLockSuffix, lockPath, failure))
        return false;
    FileLock nameLock;
    OwnDescriptor listener = openSocket(failure);
    if (!listener.isOpen() || !nameLock.tryLocal(lockPath, FileLock::Exclusive, failure))
        return false;
    ::unlink(state.localPath.c_str());
    if (!listenOn(listener, state.localPath, failure)) return false;
    state.nameLock = std::move(nameLock);
    state.listener = std::move(listener);
    return true;
}

bool PipeServer::serve(int timeoutMs, const qzCancelInterfaceReadOnly* cancel,
                       SystemFailure* failure)
{
    if (!mState->listener.isOpen()) return fail(failure, "serve, without a name", ENOTCONN);
    const WaitLimit limit(timeoutMs, cancel);
    do {
        const int pauseMs = limit.getPauseMs(mState->getLongestPauseMs());
        if (!mState->serveOnce(pauseMs, failure)) return false;
    } while (limit.getError() == 0);
    return true;
}

std::vector<PipeServer::Peer*> PipeServer::getPeers() const
{
    std::vector<Peer*> open;
    for (const auto& peer : mState->peers) {
        if (peer->isOpen()) open.push_back(peer.get());
    }
    return open;
}

void PipeServer::close()
{
    mState->peers.clear();
    // In a forked child there is no listener, and the file is that of the parent.
    if (mState->listener.isOpen()) ::unlink(mState->localPath.c_str());
    mState->listener.close();
    mState->nameLock.unlock();
}

}  // namespace qz::ext
