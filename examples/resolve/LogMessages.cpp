// SPDX-License-Identifier: MIT
#include "LogMessages.h"

#include <iostream>

#include <qz/ext/PrintableText.h>

namespace resolve {

LogMessages::LogMessages()
{
    qz::qzLog::msInstance->setEchoToConsole(false);
    qz::qzLog::msInstance->installCustomHandler(Print, nullptr);
}

LogMessages::~LogMessages()
{
    qz::qzLog::msInstance->installCustomHandler(nullptr, nullptr);
    qz::qzLog::msInstance->setEchoToConsole(true);
}

void LogMessages::Print(std::list<qz::qzLog::LogEntry>& batch, void* /*data*/)
{
    for (const qz::qzLog::LogEntry& entry : batch)
        if (entry.type >= qz::qzLog::Warning)
            std::cerr << "resolve: " << qz::ext::escaped(entry.message) << '\n';
}

}  // namespace resolve
