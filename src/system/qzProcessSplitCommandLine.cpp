// SPDX-License-Identifier: MIT
#include <qz/qzLogObject.h>
#include <qz/qzProcess.h>

#include "CommandLineSplitter.h"

namespace qz {

bool qzProcess::SplitCommandLine(const std::string& commandLine, std::string& program,
                                 std::vector<std::string>& arguments)
{
    program.clear();
    arguments.clear();
    const system::SplitEnd end = system::splitCommandLine(commandLine, program, arguments);
    if (end == system::SplitEnd::EndOfText) return !program.empty();
    if (end == system::SplitEnd::QuoteInToken)
        logDebug() << "Fail to split command line : '" << commandLine << "'";
    logCritical() << "Invalid command line : " << commandLine;
    return false;
}

}  // namespace qz
