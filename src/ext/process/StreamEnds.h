// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include <qz/ext/ChildProcess.h>
#include <qz/ext/SystemFailure.h>

#include "base/OwnDescriptor.h"

namespace qz::ext {

/// The descriptors of a start: those that the programs get, and the other ends of the pipes, which
/// this process passes bytes through.
///
/// A child of `fork` has none of them. Otherwise one that another thread of this process makes
/// would keep the pipes open: a program would wait for the end of its input, or this process for
/// that of an output, as long as that child lives.
class StreamEnds {
public:
    /// Opens files and makes pipes. @return false after a failure.
    bool open(const ChildOptions& options, SystemFailure& failure);

    /// The descriptor of a program that becomes `place` (0 to 2).
    int getSource(std::size_t program, int place) const;
    /// Closes what the programs have now.
    void closeSources();

    OwnDescriptor input;   ///< Where this process writes the input; non-blocking.
    OwnDescriptor output;  ///< Where it reads the output; non-blocking.
    OwnDescriptor error;   ///< The same for the standard error stream.

private:
    bool openInput(const ChildInput& from, SystemFailure& failure);
    static bool OpenOutput(const ChildOutput& to, int place, OwnDescriptor& source,
                           OwnDescriptor& own, SystemFailure& failure);
    bool openBetween(std::size_t programs, SystemFailure& failure);

    OwnDescriptor mInput;
    OwnDescriptor mOutput;
    OwnDescriptor mError;
    bool mIsErrorOutput = false;
    std::vector<OwnDescriptor> mReads;   // of the pipes between the programs
    std::vector<OwnDescriptor> mWrites;  // the same
};

}  // namespace qz::ext
