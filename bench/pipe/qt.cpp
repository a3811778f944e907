// SPDX-License-Identifier: MIT
// Messages are a length and the bytes; there is no checksum.

#include <QByteArray>
#include <QCoreApplication>
#include <QLocalServer>
#include <QLocalSocket>

#include "pipe.h"

namespace bench {

namespace {

constexpr int kNoLimit = -1;

// Without it, the sockets have no notifiers, and say so.
void startApplication()
{
    static int argc = 1;
    static char name[] = "bench_pipe";
    static char* argv[] = {name, nullptr};
    static const QCoreApplication application(argc, argv);
}

QString makeName()
{
    return QStringLiteral("bench_pipe_qt.%1").arg(::getpid());
}

void sendMessage(QLocalSocket& socket, const QByteArray& message)
{
    const quint32 size = static_cast<quint32>(message.size());
    socket.write(reinterpret_cast<const char*>(&size), sizeof size);
    socket.write(message);
    while (socket.bytesToWrite() > 0 && socket.waitForBytesWritten(kNoLimit)) {
    }
}

bool receiveBytes(QLocalSocket& socket, char* bytes, qint64 size)
{
    while (socket.bytesAvailable() < size) {
        if (!socket.waitForReadyRead(kNoLimit)) return false;
    }
    return socket.read(bytes, size) == size;
}

bool receiveMessage(QLocalSocket& socket, QByteArray& message)
{
    quint32 size = 0;
    if (!receiveBytes(socket, reinterpret_cast<char*>(&size), sizeof size)) return false;
    message.resize(static_cast<qsizetype>(size));
    return receiveBytes(socket, message.data(), size);
}

void answer(const QString& name)
{
    QLocalSocket socket;
    do {
        socket.connectToServer(name);
    } while (!socket.waitForConnected(kNoLimit));
    QByteArray message;
    while (receiveMessage(socket, message))
        sendMessage(socket, message);
}

template <std::size_t Bytes>
void measureRoundTrip(benchmark::State& state)
{
    startApplication();
    const QString name = makeName();
    const OtherProcess client([&] { answer(name); });
    QLocalServer server;
    QLocalServer::removeServer(name);
    server.listen(name);
    server.waitForNewConnection(kNoLimit);
    QLocalSocket& socket = *server.nextPendingConnection();
    const QByteArray message(static_cast<qsizetype>(Bytes), 'x');
    QByteArray received;
    for (auto _ : state) {
        sendMessage(socket, message);
        if (!receiveMessage(socket, received)) state.SkipWithError("no answer");
    }
    socket.close();
}

const Case kSmall(kSmallRoundTrip, "QLocalSocket", measureRoundTrip<kSmallBytes>, Clock::Wall);
const Case kLarge(kLargeRoundTrip, "QLocalSocket", measureRoundTrip<kLargeBytes>, Clock::Wall);

}  // namespace

}  // namespace bench
