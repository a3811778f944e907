// SPDX-License-Identifier: MIT
// Splits a text of chance, and compares tokens and log entries with those of the plain form.

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include <qz/qzLog.h>
#include <qz/qzProcess.h>

#include "../tests/support/LibraryStart.h"
#include "../tests/system/PlainCommandLine.h"
#include "support/FuzzInput.h"

namespace {

using qz::qzLog;
using qz::qzProcess;
using qz::fuzz::expectSame;

std::vector<std::string> gLogLines;

void collect(std::list<qzLog::LogEntry>& batch, void* /*data*/)
{
    for (const qzLog::LogEntry& entry : batch)
        gLogLines.push_back(entry.prefix.substr(0, entry.prefix.find(' ') + 1) + entry.message);
}

// The library, with all that it says handed to `collect` alone.
void startOnce()
{
    static const qz::support::LibraryStart start;
    static const bool isCollected = qzLog::msInstance->installCustomHandler(collect, nullptr);
    expectSame(isCollected, "the handler");
    qzLog::msInstance->setEchoToConsole(false);
    qzLog::msInstance->setLogLevel(qz::LogLevelDebug);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    startOnce();
    gLogLines.clear();
    const std::string text(reinterpret_cast<const char*>(data), size);
    const qz::plain::CommandLine expected = qz::plain::splitCommandLine(text);
    std::string program = "old";
    std::vector<std::string> arguments{"old"};
    const bool isAccepted = qzProcess::SplitCommandLine(text, program, arguments);
    expectSame(isAccepted == expected.isAccepted, "the result");
    expectSame(program == expected.program, "the program");
    expectSame(arguments == expected.arguments, "the arguments");
    expectSame(gLogLines == expected.logLines, "the log");
    return 0;
}
