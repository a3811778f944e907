// SPDX-License-Identifier: MIT
#pragma once

#include <list>
#include <memory>
#include <string>
#include <vector>

#include <qz/qzExport.h>

namespace qz {

/// One end of a stream of bytes between two processes of a machine, which meet by a name.
///
/// The stream has no messages: what one side writes in two pieces may reach the other as one or as
/// five. Nothing happens outside `processNamedPipeEvents`: it moves received bytes to the end of
/// the read queue and sends bytes from the start of the write queue. No operation throws, but for
/// lack of memory, and no write raises SIGPIPE.
///
/// Both sides must have the same TMPDIR, in which the name is a socket.
/// Threads: an object is for one thread.
class QZ_API qzNamedPipe {
public:
    /// Makes a pipe that isn't connected.
    qzNamedPipe();
    /// Closes the pipe.
    virtual ~qzNamedPipe();
    qzNamedPipe(const qzNamedPipe&) = delete;
    qzNamedPipe& operator=(const qzNamedPipe&) = delete;

    /// Connects to a server that listens on a name, in UTF-8.
    /// @return false if the pipe is connected, the name is empty or too long (which is reported as
    ///     critical), or there is no such server, or its backlog is full.
    bool connectToNamedPipeServerUtf8(const std::string& name);

    /// Receives once and sends once, as far as possible without waiting.
    ///
    /// Nothing is received while the read queue holds 10,240 bytes or more. Compatibility: when the
    /// system reports bytes but has none, the read queue grows to that size by zero bytes.
    /// @param timeoutMs how long to wait for bytes when both queues are empty; a negative time has
    ///     no limit. There is no wait once `isReadChannelClosed`: a loop should end then. If the
    ///     socket can't be waited for, the pipe is closed.
    /// @param waitWhenIdle false never waits.
    void processNamedPipeEvents(int timeoutMs, bool waitWhenIdle);

    /// Closes the pipe, empties both queues and clears what was known of the channels. Bytes that
    /// were sent still reach the other side.
    void closeNamedPipe();

    /// True from the connection to the close. A broken channel doesn't end it.
    bool isConnected() const;
    /// True when the other side has closed the pipe or has ended, or receiving failed. What came
    /// before is in the read queue.
    bool isReadChannelClosed() const;
    /// True after a failed send.
    bool isWriteChannelClosed() const;
    /// True after a failed send; the write queue was emptied then.
    bool hasWriteFailed() const;
    /// Whether there are bytes to send.
    bool hasPendingWrite() const;

    /// The bytes that were received; the caller takes them off.
    std::vector<char>& editReadQueue() { return mReadQueue; }
    /// The bytes to send; the caller appends to it. Each send moves the rest to the start, so keep
    /// it short.
    std::vector<char>& editWriteQueue() { return mWriteQueue; }

    /// The descriptor of the socket; -1 for none.
    int getSocket() const;
    /// Sets the descriptor of a connected socket that doesn't block, which the pipe owns from now
    /// on. The descriptor before is not closed: it is the caller's.
    void setSocket(int socket);

private:
    friend class qzNamedPipeTestPeer;
    struct Native;

    QZ_LOCAL void receive(int timeoutMs);
    QZ_LOCAL void receiveAvailable();
    QZ_LOCAL void send();

    std::unique_ptr<Native> mNative;
    unsigned long mReadLimit;
    unsigned long mWriteReserve;
    std::string mName;
    std::vector<char> mReadQueue;
    std::vector<char> mWriteQueue;
};

/// Accepts the connections of a name. Nothing happens outside its `wait...` and `process...` calls.
/// Threads: an object is for one thread.
class QZ_API qzNamedPipeServer {
public:
    /// Makes a server that doesn't listen.
    qzNamedPipeServer();
    /// Closes the server.
    virtual ~qzNamedPipeServer();
    qzNamedPipeServer(const qzNamedPipeServer&) = delete;
    qzNamedPipeServer& operator=(const qzNamedPipeServer&) = delete;

    /// Listens on a name, in UTF-8. A failure is reported as critical.
    ///
    /// Another server on that name, dead or alive, gets no more connections.
    /// @return false if the server listens already, or the name can't be used: the path of the
    ///     temporary folder, "/" and the name may have 106 bytes in the local character set.
    bool listenUtf8(const std::string& name);

    /// Waits until a connection is pending, and accepts one if none is.
    ///
    /// If the socket fails, the server is closed.
    /// @param timeoutMs a negative time has no limit.
    /// @param timedOut receives whether the time ran out; may be null.
    /// @return whether a connection is pending.
    bool waitForNewConnection(int timeoutMs, bool* timedOut);
    /// Waits for a connection and accepts it, unless 8 are pending. One call accepts one at most.
    /// @param timeoutMs a negative time has no limit.
    void processPipeServerEvents(int timeoutMs);

    /// The accepted connections that nobody has taken yet. Whoever takes a pointer off the list
    /// owns the pipe, and deletes it; the server deletes the others when it closes.
    std::list<qzNamedPipe*>& editPendingConnections() { return mPending; }

    /// Stops listening, and closes the pending connections. The socket's file stays.
    void closeNamedPipeServer();

private:
    friend class qzNamedPipeTestPeer;
    struct Native;

    QZ_LOCAL bool openSocket(const std::string& localPath);
    QZ_LOCAL bool waitAndAccept(int timeoutMs);
    QZ_LOCAL void acceptOne();

    std::unique_ptr<Native> mNative;
    std::list<qzNamedPipe*> mPending;
    std::string mName;
    int mMaxPending;
};

}  // namespace qz
