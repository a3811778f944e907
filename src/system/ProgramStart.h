// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <signal.h>
#include <sys/types.h>

namespace qz::system {

/// All that a child needs from its creation to the start of its program, made before it exists:
/// another thread may hold the memory's or a conversion's lock when the process forks.
class ProgramStart {
public:
    /// What is to be started; the texts are UTF-8.
    struct Request {
        const std::string& program;
        const std::vector<std::string>& arguments;
        const std::string& workingDirectory;
        const std::vector<std::string>& environment;
        bool inheritEnvironment;
        bool absoluteProgram;
        int niceValue;
    };

    explicit ProgramStart(const Request& request);
    ProgramStart(const ProgramStart&) = delete;
    ProgramStart& operator=(const ProgramStart&) = delete;

    /// Starts the program in a child that shares this process's memory until then.
    /// @return negative if that is impossible, or the program can't be run: a `fork` then shows how
    ///     the start fails.
    pid_t spawn() const;
    /// Forks a child that runs the program.
    /// @return negative if there is no child.
    pid_t fork() const;
    /// Forks a child that forks another one, which runs the program, and that
    /// ends once the start has succeeded or failed.
    /// @return the first child; negative if there is none.
    pid_t forkDetached() const;

private:
    void setEnvironment(const Request& request);
    pid_t forkChild(void (ProgramStart::*body)() const noexcept) const;
    [[noreturn]] void leaveParent(void (ProgramStart::*body)() const noexcept) const noexcept;
    void prepareChild() const;
    [[noreturn]] void runChild() const noexcept;
    [[noreturn]] void runIntermediate() const noexcept;
    [[noreturn]] static void leaveIntermediate(pid_t program);

    std::string mFile;  // in the local character set, as all texts without a suffix
    std::string mFolderUtf8;
    std::string mFolder;
    std::vector<std::string> mArguments;    // with the file as argument 0
    std::vector<std::string> mEnvironment;  // empty for that of this process
    std::vector<char*> mArgumentPointers;
    std::vector<char*> mEnvironmentPointers;
    int mNiceValue;
    sigset_t mSignalMask;  // the program's, whatever is blocked during the start
};

}  // namespace qz::system
