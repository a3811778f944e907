// SPDX-License-Identifier: MIT
#include <QProcess>
#include <QStringList>

#include "parents.h"

namespace bench {

namespace {

bool finish(QProcess& process, const Command& command)
{
    QStringList arguments;
    for (std::size_t i = 1; i < command.size(); ++i)
        arguments << QString::fromStdString(command[i]);
    process.start(QString::fromStdString(command[0]), arguments);
    return process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

bool run(const Command& command)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.setInputChannelMode(QProcess::ForwardedInputChannel);
    return finish(process, command);
}

std::string capture(const Command& command)
{
    QProcess process;
    return finish(process, command) ? process.readAllStandardOutput().toStdString() : std::string();
}

const Peer<run, capture> kQt("QProcess");

}  // namespace

}  // namespace bench
