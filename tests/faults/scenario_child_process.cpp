// SPDX-License-Identifier: MIT
// A program is run with input, output and a time limit, and so is a pipeline that ends with its
// parent.

#include <stdlib.h>
#include <sys/wait.h>

#include <string>
#include <vector>

#include <qz/ext/ChildProcess.h>

#include "faults/Scenario.h"
#include "support/Children.h"
#include "support/LibraryStart.h"

namespace {

using namespace qz::ext;

// A clock that fails once makes any shorter time run out.
constexpr int kLongTimeMs = 0x7FFFFFFF;

std::string describe(const ChildResult& result)
{
    if (result.failure) {
        const std::string call = result.failure.step.substr(0, result.failure.step.find(' '));
        return call + " failed" + (result.ends.empty() ? "" : ", ended");
    }
    return std::to_string(result.ends.back().exitStatus) + " '" + result.output + "'";
}

std::string runOne()
{
    ChildOptions options;
    options.programs = {{"/bin/sh", {"-c", "cat; exit 3"}, "/"}};
    options.input = ChildInput::Memory("text");
    options.output = ChildOutput::Memory();
    options.error = ChildOutput::SameAsOutput();
    ChildWait wait;
    wait.timeoutMs = kLongTimeMs;
    return describe(ChildProcess::Run(options, wait));
}

std::string runPipeline(const std::string& folder)
{
    ChildOptions options;
    options.programs = {{"/usr/bin/printf", {"text"}}, {"/bin/cat"}};
    options.output = ChildOutput::Memory();
    options.error = ChildOutput::File(folder + "/errors");
    options.endsWithParent = true;
    return describe(ChildProcess::Run(options));
}

std::string work(const std::string& folder)
{
    std::string outcome;
    {
        const qz::faults::Watch watch;
        outcome = runOne();
        outcome += "; " + runPipeline(folder);
    }
    if (qz::support::hasChildren()) outcome += "; a child is left";
    return outcome;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    ::unsetenv("LD_PRELOAD");  // faults are for this program, not for its children
    const qz::support::LibraryStart library;
    return qz::faults::runScenario(argumentCount, arguments, &work);
}
