// SPDX-License-Identifier: MIT
#include <iterator>

#include <boost/process.hpp>

#include "parents.h"

namespace bench {

namespace {

namespace process = boost::process;

Command getArguments(const Command& command)
{
    return {command.begin() + 1, command.end()};
}

bool run(const Command& command)
{
    return process::system(process::exe = command[0], process::args = getArguments(command)) == 0;
}

std::string capture(const Command& command)
{
    process::ipstream output;
    process::child child(process::exe = command[0], process::args = getArguments(command),
                         process::std_out > output);
    std::string text((std::istreambuf_iterator<char>(output)), std::istreambuf_iterator<char>());
    child.wait();
    return child.exit_code() == 0 ? text : std::string();
}

const Peer<run, capture> kBoost("Boost");

}  // namespace

}  // namespace bench
