// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <qz/ext/ChildProcess.h>

namespace qz::ext {

/// What starts a shell with a script, whose outputs go to memory.
inline ChildOptions shell(const std::string& script, const std::vector<std::string>& arguments = {})
{
    ChildOptions options;
    options.programs = {{"/bin/sh", {"-c", script, "sh"}}};
    std::vector<std::string>& all = options.programs[0].arguments;
    all.insert(all.end(), arguments.begin(), arguments.end());
    options.output = ChildOutput::Memory();
    options.error = ChildOutput::Memory();
    return options;
}

/// What starts a program, whose outputs go to memory.
inline ChildOptions program(const std::string& path, const std::vector<std::string>& arguments = {})
{
    ChildOptions options;
    options.programs = {{path, arguments}};
    options.output = ChildOutput::Memory();
    options.error = ChildOutput::Memory();
    return options;
}

/// The end of the last program and the first failure as a text.
inline std::string describe(const ChildResult& result)
{
    if (result.failure)
        return result.failure.step + ", errno " + std::to_string(result.failure.error);
    if (result.ends.empty()) return "nothing";
    const ChildEnd& end = result.ends.back();
    return end.signal != 0 ? "signal " + std::to_string(end.signal)
                           : "exit " + std::to_string(end.exitStatus);
}

}  // namespace qz::ext
