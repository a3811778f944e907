// SPDX-License-Identifier: MIT
#include <qz/qzProcess.h>

namespace qz {

namespace {

// A killed process may need a while to end, for example in a call of a file system that hangs.
constexpr unsigned int kReapTimeMs = 5000;

int fail(int result, const char* text, std::string* errorMsg)
{
    if (errorMsg != nullptr) *errorMsg = text;
    return result;
}

}  // namespace

int qzProcess::ExecUtf8(const std::string& program, const std::vector<std::string>& arguments,
                        const std::string& workingDirectory, bool absoluteProgram,
                        unsigned int timeoutMs, std::string* errorMsg)
{
    qzProcess process;
    process.setWorkingDirectory(workingDirectory);
    if (!process.startProcess(program, arguments, absoluteProgram, PriorityInherit))
        return fail(-1, "Fail to start process", errorMsg);
    if (!process.waitForFinished(timeoutMs)) {
        process.killProcess();
        process.waitForFinished(kReapTimeMs);
        process.clearProcess();
        return fail(-2, "timeout", errorMsg);
    }
    const int exitCode = process.exitCode();
    if (exitCode != 0) return fail(exitCode, "process return an error", errorMsg);
    if (process.hasCrashed()) return fail(-3, "process has crashed", errorMsg);
    return 0;
}

}  // namespace qz
