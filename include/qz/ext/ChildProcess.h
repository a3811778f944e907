// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <qz/ext/ChildStreams.h>
#include <qz/ext/SystemFailure.h>
#include <qz/qzExport.h>

namespace qz {
class qzCancelInterfaceReadOnly;
}  // namespace qz

namespace qz::ext {

/// A program and what it is started with. The texts reach the system byte by byte; one with an
/// embedded zero byte makes the start fail.
struct ChildProgram {
    /// A path, or a name that is searched for in the folders of this process's PATH. A path that
    /// isn't absolute is relative to the working folder of the child. No shell reads it, and a
    /// script needs an interpreter line.
    std::string program;
    /// The arguments after the program's own name.
    std::vector<std::string> arguments = {};
    /// The child's working folder; empty for that of this process.
    std::string workingFolder = {};
    /// Variables to set, or to remove with `std::nullopt`. To set a name that is empty or has a '='
    /// makes the start fail.
    std::map<std::string, std::optional<std::string>> environment = {};
    /// Whether the child also has the other variables of this process.
    bool inheritsEnvironment = true;
};

/// What `ChildProcess` starts: one program, or a pipeline of several, in which the output of each
/// is the input of the next.
struct ChildOptions {
    /// The programs, in the order in which the bytes pass through them; at least one.
    std::vector<ChildProgram> programs;
    /// The input of the first program.
    ChildInput input = {};
    /// The output of the last program.
    ChildOutput output = {};
    /// The standard error stream of all programs.
    ChildOutput error = {};
    /// Whether the programs are a process group of their own, so that signals also reach the
    /// processes that they start. The keys of a terminal then don't reach them.
    bool isOwnGroup = true;
    /// Whether the system kills the programs when this process ends, even by SIGKILL, or executes
    /// another program. A thread waits beside them meanwhile. The processes that they have started
    /// are not killed, and the system doesn't do it for programs that change their user.
    bool endsWithParent = false;
};

/// How long `communicate` waits.
struct ChildWait {
    /// Milliseconds until the programs are stopped; negative for no limit.
    int timeoutMs = -1;
    /// Milliseconds from SIGTERM to SIGKILL for programs that are stopped.
    int graceMs = 2000;
    /// A request to stop them, polled each 20 ms; may be null.
    const qzCancelInterfaceReadOnly* cancel = nullptr;
};

/// How a program ended, and what it used.
struct ChildEnd {
    int exitStatus = -1;         ///< 0 to 255; -1 if a signal ended it, or if nothing is known.
    int signal = 0;              ///< The signal that ended it, or 0.
    bool hasDumpedCore = false;  ///< Whether there is an image of its memory.
    double userSec = 0;          ///< Processor time in the program, with its waited-for children.
    double systemSec = 0;        ///< Processor time in the system.
    /// The most memory that it had. The system also counts that of this process at the start: a
    /// program that needs less shows the peak of this process.
    long peakResidentBytes = 0;
};

/// What became of a start.
struct ChildResult {
    /// The first step that failed: of the start, or of the passing of bytes.
    SystemFailure failure = {};
    /// An end for each program, in their order; none if the start failed.
    std::vector<ChildEnd> ends = {};
    bool hasTimedOut = false;  ///< Whether the time ran out.
    bool isCancelled = false;  ///< Whether a request stopped it.
    bool isOutputCut = false;  ///< Whether the output exceeded its limit.
    bool isErrorCut = false;   ///< Whether the error stream exceeded its limit.
    std::string output = {};   ///< The output, if it goes to memory.
    std::string error = {};    ///< The error stream, if it goes to memory.

    /// Whether nothing failed and each program ended with status 0. False for an empty result.
    bool isSuccess() const
    {
        const auto isGood = [](const ChildEnd& end) { return end.exitStatus == 0; };
        return !failure && !ends.empty() && std::all_of(ends.begin(), ends.end(), isGood);
    }
};

/// Starts programs, passes bytes to and from them, and knows how they ended.
///
/// @code
/// using namespace qz::ext;
/// ChildOptions options;
/// options.programs = {{"sort", {"-r"}}, {"head", {"-n", "1"}}};
/// options.input = ChildInput::Memory("a\nc\nb\n");
/// options.output = ChildOutput::Memory();
/// options.error = ChildOutput::Log(qz::qzLog::Warning, "sort");
/// ChildWait wait;
/// wait.timeoutMs = 10'000;
/// const ChildResult result = ChildProcess::Run(options, wait);
/// if (result.failure) qz::logWarning() << result.failure.toString();
/// else if (result.isSuccess()) qz::logInfo() << result.output;  // "c\n"
/// @endcode
///
/// A child has the descriptors 0, 1 and 2 and no others, default actions for all signals, and an
/// empty signal mask. The start takes no copy of this process's memory, and runs no handler of
/// `pthread_atfork`. Nothing here raises SIGPIPE. The library need not be started, unless an output
/// goes to the log. SIGCHLD must not be ignored, and nobody else may wait for the children.
///
/// The programs belong to the process that has started them: in one that is forked from it, the
/// object is without programs.
///
/// Threads: one thread uses an object at a time; any number of objects may be used at once.
class QZ_API ChildProcess {
public:
    /// Makes an object without programs.
    ChildProcess();
    /// Kills and reaps programs that still run, by SIGKILL.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Starts the programs. When it returns, all have been executed.
    /// @param failure receives the step that failed, with its `errno`: EBUSY while programs of an
    ///     earlier start have not been waited for, EINVAL without a program; may be null. Steps
    ///     such as "chdir FOLDER" and "execve PROGRAM" are the child's own.
    /// @return false if a program could not be executed; those before it have then been killed.
    bool start(ChildOptions options, SystemFailure* failure = nullptr);

    /// Passes all bytes, waits for the ends of the programs and of both outputs, and reaps the
    /// programs. An output ends when nobody has it open any more, which includes processes that the
    /// programs have started.
    ///
    /// When the time runs out, or on request, the group receives SIGTERM, and so does a program
    /// that has left it. They receive SIGKILL after the grace time, or when the programs and both
    /// outputs have ended before. A program of another user, which this process may not signal, is
    /// waited for without limit.
    /// @return the result; an empty one without a start, and in a handler of lines.
    ChildResult communicate(const ChildWait& wait = {});

    /// Whether a program of the last start still runs.
    bool isRunning() const;
    /// The process ids of the programs in their order, until they are reaped.
    std::vector<int> getPids() const;
    /// Sends a signal to the group and to programs that have left it, or to each program without an
    /// own group. @return false if there is nothing to send it to.
    bool sendSignal(int number);

    /// Starts programs and waits for them. A failed start is in the result.
    static ChildResult Run(ChildOptions options, const ChildWait& wait = {});

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;  // null without programs
};

}  // namespace qz::ext
