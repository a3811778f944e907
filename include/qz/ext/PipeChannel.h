// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <qz/ext/SystemFailure.h>
#include <qz/qzExport.h>

namespace qz {
class qzCancelInterfaceReadOnly;
}

namespace qz::ext {

/// The client's end of a connection that carries whole messages between two processes of a user.
///
/// A message is any sequence of bytes up to a limit, and may be empty. It arrives whole and once,
/// or the connection ends with an error: a checksum (CRC-32C) goes with it. Server and client meet
/// by a name, in a folder that only the user may enter: XDG_RUNTIME_DIR if it is an absolute path,
/// and otherwise one below /tmp with the name and the user's number, such as /tmp/orders-1000. Both
/// must have the same value of that variable. The path of the socket, "FOLDER/NAME.pipe", may have
/// 107 bytes; a longer one is refused with ENAMETOOLONG. The library must be started.
///
/// @code
/// qz::ext::PipeChannel channel;
/// qz::ext::SystemFailure failure;
/// std::string answer;
/// const int timeoutMs = 5000;
/// if (!channel.connect("orders", timeoutMs, /*cancel=*/nullptr, &failure) ||
///     !channel.send("count", timeoutMs, /*cancel=*/nullptr, &failure) ||
///     !channel.receive(answer, timeoutMs, /*cancel=*/nullptr, &failure)) {
///     qz::logWarning() << failure.toString();
/// }
/// @endcode
///
/// In the functions that may wait, a negative timeout has no limit, and 0 doesn't wait; `cancel`
/// ends the wait, and may be null; the failure receives the reason if the result is false, with
/// ETIMEDOUT and ECANCELED for an end of the wait, and may be null. No call raises SIGPIPE, and any
/// number of descriptors may be open. A child of `fork` doesn't have the connection; there, the
/// object reads as closed.
/// Threads: an object is for one thread.
class QZ_API PipeChannel {
public:
    /// The limit of both ends, unless they agree on another one.
    static constexpr unsigned long msMessageLimit = 1024UL * 1024;

    /// Makes a channel that isn't connected.
    /// @param messageLimit the longest message in bytes that is sent or accepted, below 4 GiB.
    explicit PipeChannel(unsigned long messageLimit = msMessageLimit) noexcept;
    /// Closes the connection.
    ~PipeChannel();
    /// Takes over the connection of the other channel, which has none then.
    PipeChannel(PipeChannel&& other) noexcept;
    /// Closes the connection and takes over that of the other channel, which has none then.
    PipeChannel& operator=(PipeChannel&& other) noexcept;

    /// Connects to the server of a name, whose process must have the same effective user. A channel
    /// that is connected is closed first.
    /// @param name in UTF-8; of 1 to 100 bytes, without a slash, and it begins with no dot.
    /// @param timeoutMs for a server that has too many connections waiting. Without a server the
    ///     call fails at once, with ENOENT or ECONNREFUSED.
    bool connect(const std::string& name, int timeoutMs, const qzCancelInterfaceReadOnly* cancel,
                 SystemFailure* failure = nullptr);

    /// Hands a message over to the system. What arrives meanwhile is buffered, up to a message of
    /// the longest size.
    ///
    /// A message beyond the limit is refused with EMSGSIZE, and the connection stays. Any other
    /// failure closes it, because the other side may have a part of the message.
    bool send(std::string_view message, int timeoutMs, const qzCancelInterfaceReadOnly* cancel,
              SystemFailure* failure = nullptr);

    /// Receives the next message. The end of a wait leaves the connection as it is; any other
    /// failure closes it: ENOTCONN if the server has closed it or has ended, ECONNRESET if that
    /// was inside a message, EMSGSIZE and EBADMSG for a message that is too long or damaged.
    /// @param message keeps its content if the result is false.
    bool receive(std::string& message, int timeoutMs, const qzCancelInterfaceReadOnly* cancel,
                 SystemFailure* failure = nullptr);

    /// Closes the connection. Messages that were sent still arrive.
    void close();

    /// Whether there is a connection. That the server has gone shows when it is used.
    bool isConnected() const;
    /// The process id of the server when it began to listen; 0 without a connection.
    long getPeerPid() const;

private:
    struct Connection;

    unsigned long mMessageLimit;
    std::unique_ptr<Connection> mConnection;
};

/// Serves the clients of a name from one thread, by callbacks. The library must be started.
///
/// A client must have the same effective user as the server, as the system knows it. A client that
/// lies about a length or a checksum, stops inside a message or doesn't read its answers loses its
/// own connection only; the memory for each is bounded.
///
/// @code
/// qz::ext::PipeServer server;
/// server.onMessage([&](qz::ext::PipeServer::Peer& peer, const std::string& message) {
///     peer.send(message == "count" ? std::to_string(countOrders()) : "what?");
/// });
/// server.onClosed([](qz::ext::PipeServer::Peer& peer, const qz::ext::SystemFailure& reason) {
///     qz::logInfo() << "process " << peer.getPid() << ": " << reason.toString();
/// });
/// qz::ext::SystemFailure failure;
/// const int noLimitMs = -1;
/// if (!server.listen("orders", &failure) || !server.serve(noLimitMs, &cancel, &failure))
///     qz::logCritical() << failure.toString();
/// @endcode
///
/// Threads: an object is for one thread, which makes the callbacks inside `serve`. They may use the
/// server's functions, except `listen`, `serve` and `close`; a callback may set another one in its
/// place.
class QZ_API PipeServer {
public:
    /// What one connection, and all of them, may use.
    struct Limits {
        /// The longest message in bytes that is sent or accepted, below 4 GiB.
        unsigned long messageBytes = PipeChannel::msMessageLimit;
        /// The most bytes that may be queued for a client; more would close its connection. While
        /// half of it is queued, nothing is read from this client. At least two of the longest
        /// messages fit, whatever is set here.
        unsigned long queuedBytes = 4 * PipeChannel::msMessageLimit;
        /// The most connections; further ones wait.
        unsigned int connections = 1000;
        /// How long a message may take from its first byte to its last, and how long queued bytes
        /// may wait for a client that doesn't read.
        int stallMs = 10'000;
    };

    /// A client. The object lives until `onClosed` was called for it.
    class QZ_API Peer {
    public:
        Peer(const Peer&) = delete;
        Peer& operator=(const Peer&) = delete;

        /// The effective user of the client when it connected.
        virtual unsigned int getUid() const = 0;
        /// Its process id when it connected.
        virtual long getPid() const = 0;
        /// Whether the connection is in use. If not, `onClosed` follows.
        virtual bool isOpen() const = 0;

        /// Queues a message; `serve` sends it.
        /// @return false if it is beyond the limit (and the connection stays), the connection is
        ///     closed, or too much is queued (which closes it, with ENOBUFS).
        virtual bool send(std::string_view message) = 0;
        /// Closes the connection, without what is queued; `onClosed` gets ECONNABORTED.
        virtual void close() = 0;

    protected:
        Peer();
        virtual ~Peer();
    };

    /// Called for a new client.
    using ConnectedCallback = std::function<void(Peer& peer)>;
    /// Called for each message, in the order of the client.
    using MessageCallback = std::function<void(Peer& peer, const std::string& message)>;
    /// Called once for each client that has gone, was closed or refused. The errors are those of
    /// `PipeChannel::receive`, ETIMEDOUT for a client that stalled, EACCES for another user, and
    /// EPIPE for a client that has gone before its answer.
    using ClosedCallback = std::function<void(Peer& peer, const SystemFailure& reason)>;

    /// Makes a server with the default limits that doesn't listen.
    PipeServer();
    /// Makes a server that doesn't listen.
    explicit PipeServer(const Limits& limits);
    /// Closes the server.
    ~PipeServer();
    PipeServer(const PipeServer&) = delete;
    PipeServer& operator=(const PipeServer&) = delete;

    /// Sets what is called for a new client.
    void onConnected(ConnectedCallback callback);
    /// Sets what is called for a message.
    void onMessage(MessageCallback callback);
    /// Sets what is called for a client that is gone.
    void onClosed(ClosedCallback callback);

    /// Listens on a name. A name has one server at most: a second one is refused with EAGAIN, and
    /// what a dead one has left is replaced.
    /// @param name as for `PipeChannel::connect`.
    /// @param failure receives the reason if the result is false; may be null.
    bool listen(const std::string& name, SystemFailure* failure = nullptr);

    /// Accepts, receives, makes the callbacks and sends, until the time is over or `cancel`, which
    /// may be null, requests an end. An exception of a callback passes through; the server can go
    /// on to serve after it.
    /// @param timeoutMs a negative time has no limit; 0 does what can be done at once.
    /// @param failure receives the reason if the result is false; may be null.
    /// @return false if the server doesn't listen, or the system fails to wait.
    bool serve(int timeoutMs, const qzCancelInterfaceReadOnly* cancel,
               SystemFailure* failure = nullptr);

    /// The clients that are connected, the oldest first.
    std::vector<Peer*> getPeers() const;

    /// Stops listening and closes all connections, without a callback.
    void close();

private:
    struct QZ_LOCAL State;

    std::unique_ptr<State> mState;
};

}  // namespace qz::ext
