// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <qz/qzExport.h>

namespace qz {

/// A program that this one starts and watches, or a view of this process or of its parent.
///
/// The child inherits the standard input and outputs, and the actions of ignored signals; nothing
/// is captured. An object is for one thread, but any number of threads may each start children.
/// No operation throws, but for lack of memory.
///
/// A child whose program can't be run ends by SIGUSR1, and is recognised by that within the first
/// 10 ms only: a child program that itself ends by SIGUSR1 so early counts as not started, and one
/// whose start takes longer to fail counts as crashed, with the exit code 10. The time in which the
/// child waits for a processor, before its program, doesn't count.
///
/// A start may share this process's memory with the child until the program runs, so that its cost
/// doesn't grow with the memory in use. Handlers of `pthread_atfork` don't run then.
class QZ_API qzProcess {
public:
    /// What is known of the process.
    enum ProcessState : int {
        NotStarted = 0,
        Running = 1,
        Finished = 2,  ///< Also after a start that failed.
    };

    /// How much of the processor the child gets, compared to others.
    enum ProcessPriority : int {
        PriorityLow = 0,      ///< Nice value 1.
        PriorityNormal = 1,   ///< Nice value 0.
        PriorityHigh = 2,     ///< Nice value -1; without the right to it, nothing changes.
        PriorityInherit = 3,  ///< The nice value of this process.
    };

    /// Makes an object without a process, whose child would get this process's environment and
    /// working folder.
    qzProcess();
    /// Waits for the end of a child that `startProcess` started, for up to 24 days.
    virtual ~qzProcess();
    qzProcess(const qzProcess&) = delete;
    qzProcess& operator=(const qzProcess&) = delete;

    /// Sets the folder in which the child will run, in UTF-8; empty for that of this process. If
    /// the child can't enter it, it reports a WARNING and runs in this process's folder.
    /// @return false, without a change, while the process is running.
    bool setWorkingDirectory(const std::string& path);
    /// Sets variables for the child, each as "NAME=value" in UTF-8.
    ///
    /// A name that is in the list and in the environment is passed on twice, and the program
    /// usually finds the inherited value.
    /// @param inherit whether the child gets this process's environment as well, before these.
    ///     Compatibility: an empty list always inherits it.
    /// @return false, without a change, while the process is running.
    bool setProcessEnvironmentUtf8(const std::vector<std::string>& variables, bool inherit);

    /// Starts a program and returns after 10 ms, or earlier if the child has ended; on a busy
    /// machine not before the child has come to its program, for up to 5 s.
    ///
    /// The standard streams of C and C++ are flushed before a `fork`, as a child that can't run its
    /// program ends by `exit`.
    /// @param program a path, or a name that is searched for in the PATH.
    /// @param arguments those after the program's name, which is argument 0.
    /// @param absoluteProgram true runs the file at the absolute path of `program` if there is one;
    ///     if not, it is searched for as usual.
    /// @return whether there is a child. It is true also if the program can't be run: see
    ///     `hasFailedToStart`. False while the process is running, and if the system has no more
    ///     processes.
    bool startProcess(const std::string& program, const std::vector<std::string>& arguments,
                      bool absoluteProgram, ProcessPriority priority);

    /// Starts a program that is no child of this process, and leaves no zombie: nothing is known of
    /// it afterwards. The call takes some 10 ms, less if the program ends sooner, and up to 5 s if
    /// the exit of the process between the two hangs.
    /// @param workingDirectory see `setWorkingDirectory`.
    /// @return whether it was started. It is false if SIGCHLD is ignored, although the program may
    ///     run.
    static bool StartDetachedUtf8(const std::string& program,
                                  const std::vector<std::string>& arguments,
                                  const std::string& workingDirectory, bool absoluteProgram);
    /// Splits a command line and starts its program detached, in the program's own folder.
    /// @param commandLine see `SplitCommandLine`.
    static bool StartDetachedUtf8(const std::string& commandLine);

    /// Runs a program and waits for its end.
    ///
    /// Compatibility: a program that can't be run gives 0 without an error text; where that
    /// matters, use `startProcess`. A program that a signal ended gives the signal's number.
    /// @param timeoutMs after that time, the program is killed, and the call waits up to 5 s more
    ///     for its end.
    /// @param errorMsg receives the reason of a result other than 0, else stays as it is; may be
    ///     null.
    /// @return the exit code; -1 if there is no child, -2 after the timeout, -3 if the end of the
    ///     child is unknown, for example because something else has waited for it.
    static int ExecUtf8(const std::string& program, const std::vector<std::string>& arguments,
                        const std::string& workingDirectory, bool absoluteProgram,
                        unsigned int timeoutMs, std::string* errorMsg);

    /// Waits for the end of the process, polling at least every 100 ms.
    /// @param timeoutMs 0 only checks.
    /// @return whether the process is not running any more. False at once for an object that
    ///     describes this process.
    bool waitForFinished(unsigned int timeoutMs);
    /// Sends SIGTERM to the process, unless its end is known. An object that describes this process
    /// or its parent signals that one.
    void terminateProcess();
    /// Sends SIGKILL to the process, unless its end is known. An object that describes this process
    /// or its parent signals that one.
    void killProcess();

    /// Checks for the end of the process. A detached program and this process stay `Running`.
    ProcessState getState();
    /// True if the process ended without calling `exit`; also if something else has waited for it.
    bool hasCrashed();
    /// True if the last start failed, and before any start.
    bool hasFailedToStart();
    /// The exit code of the process, or the number of the signal that ended it.
    int exitCode();
    /// The process id; 0 before a start and for a detached program. It stays after the end, when
    /// another process may have it.
    int getPid() const;

    /// The program of the last start, as it was given.
    const std::string& getProgramUtf8() const;
    /// The arguments of the last start.
    const std::vector<std::string>& getArgumentsUtf8() const;
    /// The folder that was set for the child; empty for that of this process.
    const std::string& getWorkingDirectoryUtf8() const;
    /// Copies the variables that were set for the child.
    void getProcessEnvironmentUtf8(std::vector<std::string>& variables) const;

    /// Returns to `NotStarted`; program, arguments, folder and variables stay.
    /// @return false, without a change, while the process is running.
    bool resetState();
    /// Forgets everything but the process id, and the process itself if it is running: nothing
    /// waits for it any more.
    void clearProcess();

    /// Does nothing on this system.
    /// @return false.
    bool setWorkingSetMaxSize(unsigned long sizeBytes);

    /// Makes an object describe this process: its environment, arguments (argument 0 included, up
    /// to 10,240 bytes of them) and working folder. The object stays `Running`.
    ///
    /// Compatibility: the program is the head of the executable file up to its first zero byte, not
    /// a path; see `qzSystemUtils::GetProgramFullPath` for that.
    /// @return false, without a change, if the object's process is running, or if the system
    ///     doesn't show the folder or the executable.
    static bool GetCurrentProcess(qzProcess& process);
    /// Makes an object describe the parent of this process. It is `Running` until the parent ends.
    /// A child that the object described before is forgotten.
    ///
    /// Compatibility: the program is the head of the parent's executable file, as for
    /// `GetCurrentProcess`, and stays as it was if the file can't be read.
    static void GetParentProcess(qzProcess& process);
    /// Reads memory figures of the process, in bytes.
    ///
    /// Compatibility: reading ends at the first figure found, and the system lists the peak first.
    /// So `resident` is 0.
    /// @param resident receives the resident size.
    /// @param peak receives the largest size of the address space so far.
    /// @return whether there is a process whose status can be read; else both figures are 0.
    bool getMemoryStatistics(unsigned long& resident, unsigned long& peak) const;

    /// The name of a priority, for example "Low"; "Unknown" for any other value.
    static std::string ProcessPriorityToString(ProcessPriority priority);

    /// Takes a command line apart, as a user or a configuration file wrote it.
    ///
    /// Spaces and tabs separate the parts. A part that begins with a double quote goes up to the
    /// next one, or to the end of the text, blanks included; the quotes themselves don't show, and
    /// `""` is an empty part. This is no shell: a backslash, a single quote, a dollar sign and a
    /// line feed stand for themselves, so that `"C:\Program Files\x.exe"` needs no doubling, and
    /// nothing puts a double quote into a part.
    ///
    /// A text that is empty or isn't UTF-8, and one with a double quote in the midst of an unquoted
    /// part, as in `a"b`, is reported to the log as critical.
    /// Threads: any.
    /// @param commandLine the text, in UTF-8; no part of the outputs.
    /// @param program receives the first part, and is empty when there is none.
    /// @param arguments receives the other parts. What either held before is lost. After a failure
    ///     they hold the parts that were finished before it.
    /// @return whether there is a program. Without a report false stands for a text of blanks
    ///     alone, and for one that begins with `""`.
    static bool SplitCommandLine(const std::string& commandLine, std::string& program,
                                 std::vector<std::string>& arguments);

private:
    friend class qzProcessTestPeer;
    struct Impl;

    QZ_LOCAL void updateProcessState();
    QZ_LOCAL bool start(const std::string& program, const std::vector<std::string>& arguments,
                        bool absoluteProgram, ProcessPriority priority, bool isDetached);

    std::unique_ptr<Impl> mImpl;
};

}  // namespace qz
