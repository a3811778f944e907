#pragma once

#include <vector>

#include <qz/ext/ChildProcess.h>
#include <qz/ext/SystemFailure.h>

#include "base/FileDescriptor.h"

namespace qz::ext {

/// The descriptors of a start: those that the programs get, and the other ends of the pipes, which
/// this process passes bytes through. All are close-on-exec and above 2.
class StreamEnds {
public:
    /// Opens files and makes pipes. @return false after a failure.
    bool open(const ChildOptions& options, SystemFailure& failure);

    /// The descriptor of a program that becomes `place` (0 to 2).
    int getSource(std::size_t program, int place) const;
    /// Closes what the programs have now.
    void closeSources();

    FileDescriptor input;   ///< Where this process writes the input; non-blocking.
    FileDescriptor output;  ///< Where it reads the output; non-blocking.
    FileDescriptor error;   ///< The same for the standard error stream.

private:
    bool openInput(const ChildInput& from, SystemFailure& failure);
    static bool OpenOutput(const ChildOutput& to, int place, FileDescriptor& source,
                           FileDescriptor& own, SystemFailure& failure);
    bool openBetween(std::size_t programs, SystemFailure& failure);

    FileDescriptor mInput;
    FileDescriptor mOutput;
    FileDescriptor mError;
    bool mIsErrorOutput = false;
    std::vector<FileDescriptor> mReads;   // of the pipes between the programs
    std::vector<FileDescriptor> mWrites;  // the same
};

}  // namespace qz::ext
