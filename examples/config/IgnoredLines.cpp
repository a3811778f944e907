// SPDX-License-Identifier: MIT
#include "IgnoredLines.h"

#include <iostream>

#include <qz/ext/PrintableText.h>

namespace config {

IgnoredLines::IgnoredLines()
{
    qz::qzLog::msInstance->setEchoToConsole(false);
    qz::qzLog::msInstance->installCustomHandler(Print, nullptr);
}

IgnoredLines::~IgnoredLines()
{
    qz::qzLog::msInstance->installCustomHandler(nullptr, nullptr);
    qz::qzLog::msInstance->setEchoToConsole(true);
}

void IgnoredLines::Print(std::list<qz::qzLog::LogEntry>& batch, void* /*data*/)
{
    for (const qz::qzLog::LogEntry& entry : batch)
        if (entry.type >= qz::qzLog::Warning)
            std::cerr << "config: " << qz::ext::escaped(entry.message) << '\n';
}

}  // namespace config
