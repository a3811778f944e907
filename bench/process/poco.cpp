// SPDX-License-Identifier: MIT
#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/Process.h>
#include <Poco/StreamCopier.h>

#include "parents.h"

namespace bench {

namespace {

Poco::Process::Args makeArguments(const Command& command)
{
    return {command.begin() + 1, command.end()};
}

bool run(const Command& command)
{
    return Poco::Process::launch(command[0], makeArguments(command)).wait() == 0;
}

std::string capture(const Command& command)
{
    Poco::Pipe output;
    const Poco::ProcessHandle child =
        Poco::Process::launch(command[0], makeArguments(command), nullptr, &output, nullptr);
    Poco::PipeInputStream stream(output);
    std::string text;
    Poco::StreamCopier::copyToString(stream, text, 65536);
    return child.wait() == 0 ? text : std::string();
}

const Peer<run, capture> kPoco("Poco");

}  // namespace

}  // namespace bench
